// UTF-16 at random on both roads out of the agent: to the host and into the log.
#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/ImportHook.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/utilities/Utf8Model.h"
#include "utilities/IPCClient.h"
#include "utilities/Logger.h"

namespace
{
using support::Hook;
using support::hookImport;

/// The log and a host that acknowledges, both without a file or a pipe: what is written stands in `written`.
class Utf8FuzzTest : public testing::Test
{
protected:
    Utf8FuzzTest() { m_log.init(L"utf8.log"); }
    ~Utf8FuzzTest() override { m_log.finish(); }

    std::string m_written;
    utilities::Logger& m_log = utilities::Logger::instance();

private:
    static inline const HANDLE s_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7F000000});

    Hook<"CreateFileW", decltype(CreateFileW)> m_create = hookImport<"CreateFileW">(
        CreateFileW, [](auto, LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) { return s_handle; });
    Hook<"CloseHandle", decltype(CloseHandle)> m_close = hookImport<"CloseHandle">(
        CloseHandle, [](auto original, HANDLE handle) { return handle == s_handle ? TRUE : original(handle); });
    Hook<"SetFilePointer", decltype(SetFilePointer)> m_seek =
        hookImport<"SetFilePointer">(SetFilePointer, [](auto, HANDLE, LONG, PLONG, DWORD) { return DWORD{0}; });
    Hook<"GetFileAttributesExW", decltype(GetFileAttributesExW)> m_size = hookImport<"GetFileAttributesExW">(
        GetFileAttributesExW, [](auto, LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID) { return FALSE; });
    Hook<"MoveFileExW", decltype(MoveFileExW)> m_move =
        hookImport<"MoveFileExW">(MoveFileExW, [](auto, LPCWSTR, LPCWSTR, DWORD) { return TRUE; });
    Hook<"WaitNamedPipeW", decltype(WaitNamedPipeW)> m_wait =
        hookImport<"WaitNamedPipeW">(WaitNamedPipeW, [](auto, LPCWSTR, DWORD) { return TRUE; });
    Hook<"WriteFile", decltype(WriteFile)> m_write = hookImport<"WriteFile">(
        WriteFile,
        [this](auto original, HANDLE handle, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            if (handle != s_handle)
                return original(handle, bytes, size, written, overlapped);
            m_written.append(static_cast<const char*>(bytes), size);
            *written = size;
            return TRUE;
        });
    Hook<"ReadFile", decltype(ReadFile)> m_read =
        hookImport<"ReadFile">(ReadFile,
                               [](auto, HANDLE, LPVOID bytes, DWORD, LPDWORD read, LPOVERLAPPED)
                               {
                                   *read = 3;
                                   std::memcpy(bytes, "ack", 3);
                                   return TRUE;
                               });
};

TEST_F(Utf8FuzzTest, WritesWhatTheRuleForPairsSaysOnBothRoads)
{
    support::fuzz("UTF-16 to UTF-8",
                  [this](support::Choices& choices)
                  {
                      const std::wstring text =
                          L"x" + tests::randomUtf16(choices, choices.oneOf<std::size_t>({4, 30, 600}));
                      const std::string expected = tests::modelOfUtf8(text);

                      m_written.clear();
                      ASSERT_TRUE(IPCClient().send(text));
                      std::string framed;
                      for (const int shift : {24, 16, 8, 0})
                          framed += static_cast<char>(expected.size() >> shift);
                      ASSERT_EQ(m_written, framed + expected) << testing::PrintToString(text);

                      // Where a line break is owed, and what is rotated, is the matter of the log's own model.
                      std::string inLog;
                      for (const char byte : expected)
                          inLog.append(byte == '\n' ? "\r" : "").append(1, byte);
                      m_written.clear();
                      const std::size_t cut = choices.between(1, text.size());
                      const bool cutsPair = cut < text.size() && (text[cut] & 0xFC00) == 0xDC00;
                      if (cutsPair)
                          m_log.write(text);
                      else
                          m_log.write(std::wstring_view(text).substr(0, cut), std::wstring_view(text).substr(cut));
                      ASSERT_NE(m_written.find("  " + inLog), std::string::npos) << testing::PrintToString(text);
                  });
}
} // namespace

// The log at random, with calls of the system that fail in between: each call that it makes, and each byte, must be the one
// that a model makes which takes the outcomes as they came.
#include <cstring>
#include <deque>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ImportHook.h"
#include "tests/support/fuzz/Fuzz.h"
#include "tests/utilities/Utf8Model.h"
#include "utilities/Logger.h"

namespace
{
using support::Choices;
using support::Hook;
using support::hookImport;

constexpr std::uint64_t limit = 1'048'576;
constexpr std::uint64_t unknown = ~std::uint64_t{0}; // a size; and the handle of a file that can't be opened

/// A call of the system, with what came of it: a handle, a size, or how much was written.
struct Call
{
    std::string what; // with all arguments but the handle and the bytes
    std::uint64_t handle = 0;
    std::string bytes{};
    std::uint64_t outcome = 0;
};

/// The system as the log sees it: records what is called, and lets calls fail as the choices say.
class FakeSystem
{
public:
    /// What comes after this is drawn by these choices; null: each open fails, and all else is well.
    void beginCase(Choices* choices)
    {
        m_choices = choices;
        calls.clear();
        times.clear();
    }

    std::deque<Call> calls;
    std::deque<SYSTEMTIME> times; // that it was, at each look at the clock

private:
    static constexpr std::uint64_t firstHandle = 0x7F000000;

    static std::uint64_t numberOf(HANDLE handle) { return reinterpret_cast<std::uintptr_t>(handle); }
    static bool isFake(HANDLE handle) { return numberOf(handle) >= firstHandle && numberOf(handle) != unknown; }
    static std::string narrow(std::wstring_view text) { return tests::modelOfUtf8(text); }
    [[nodiscard]] bool fails(unsigned percent) const { return m_choices != nullptr && m_choices->chance(percent); }

    HANDLE create(LPCWSTR path, DWORD access, DWORD share, DWORD disposition, DWORD flags)
    {
        const bool isOpened = m_choices != nullptr && !fails(15);
        std::ostringstream what;
        what << "open " << narrow(path) << std::hex << ' ' << access << ' ' << share << ' ' << disposition << ' '
             << flags;
        calls.push_back({what.str(), 0, {}, isOpened ? m_nextHandle++ : unknown});
        return reinterpret_cast<HANDLE>(calls.back().outcome);
    }

    BOOL readSize(LPCWSTR path, WIN32_FILE_ATTRIBUTE_DATA& data)
    {
        std::uint64_t size = 0;
        if (m_choices != nullptr && m_choices->chance(60))
            size = m_choices->oneOf<std::uint64_t>({1, 100, limit - 400, limit - 200, limit - 100, limit - 50, limit,
                                                    std::uint64_t{1} << 32, (std::uint64_t{1} << 32) + limit - 100}) +
                   m_choices->below(60);
        const bool isFolder = fails(5);
        const bool isRead = !fails(10);
        if (isRead)
        {
            data = {};
            data.dwFileAttributes = isFolder ? FILE_ATTRIBUTE_DIRECTORY : FILE_ATTRIBUTE_NORMAL;
            data.nFileSizeHigh = static_cast<DWORD>(size >> 32);
            data.nFileSizeLow = static_cast<DWORD>(size);
        }
        calls.push_back({"size " + narrow(path), 0, {}, isRead && !isFolder ? size : unknown});
        return isRead ? TRUE : FALSE;
    }

    BOOL write(HANDLE handle, LPCVOID bytes, DWORD size, DWORD& written)
    {
        const bool isWhole = !fails(15);
        const bool isSuccess = isWhole || fails(50);
        written = isWhole ? size : static_cast<DWORD>(m_choices->below(2) * m_choices->below(size + 1));
        calls.push_back({"write", numberOf(handle), {static_cast<const char*>(bytes), size}, written});
        return isSuccess ? TRUE : FALSE;
    }

    Choices* m_choices = nullptr;
    std::uint64_t m_nextHandle = firstHandle;

    Hook<"CreateFileW", decltype(CreateFileW)> m_create = hookImport<"CreateFileW">(
        CreateFileW, [this](auto, LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES, DWORD disposition,
                            DWORD flags, HANDLE) { return create(path, access, share, disposition, flags); });
    Hook<"SetFilePointer", decltype(SetFilePointer)> m_seek = hookImport<"SetFilePointer">(
        SetFilePointer,
        [this](auto, HANDLE handle, LONG distance, PLONG, DWORD from)
        {
            calls.push_back({"seek " + std::to_string(distance) + ' ' + std::to_string(from), numberOf(handle)});
            return fails(10) ? INVALID_SET_FILE_POINTER : 0;
        });
    Hook<"GetFileAttributesExW", decltype(GetFileAttributesExW)> m_size = hookImport<"GetFileAttributesExW">(
        GetFileAttributesExW, [this](auto, LPCWSTR path, GET_FILEEX_INFO_LEVELS, LPVOID data)
        { return readSize(path, *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data)); });
    Hook<"WriteFile", decltype(WriteFile)> m_write = hookImport<"WriteFile">(
        WriteFile,
        [this](auto original, HANDLE handle, LPCVOID bytes, DWORD size, LPDWORD written, LPOVERLAPPED overlapped)
        {
            return isFake(handle) ? write(handle, bytes, size, *written)
                                  : original(handle, bytes, size, written, overlapped);
        });
    Hook<"CloseHandle", decltype(CloseHandle)> m_close =
        hookImport<"CloseHandle">(CloseHandle,
                                  [this](auto original, HANDLE handle)
                                  {
                                      if (!isFake(handle))
                                          return original(handle);
                                      calls.push_back({"close", numberOf(handle)});
                                      return fails(10) ? FALSE : TRUE;
                                  });
    Hook<"MoveFileExW", decltype(MoveFileExW)> m_move = hookImport<"MoveFileExW">(
        MoveFileExW,
        [this](auto, LPCWSTR from, LPCWSTR to, DWORD flags)
        {
            calls.push_back({"move " + narrow(from) + ' ' + narrow(to) + ' ' + std::to_string(flags)});
            return fails(30) ? FALSE : TRUE;
        });
    Hook<"GetLocalTime", decltype(GetLocalTime)> m_clock =
        hookImport<"GetLocalTime">(GetLocalTime,
                                   [this](auto, SYSTEMTIME* time)
                                   {
                                       *time = {};
                                       if (m_choices != nullptr)
                                       {
                                           time->wYear = static_cast<WORD>(m_choices->between(1601, 30827));
                                           time->wMonth = static_cast<WORD>(m_choices->between(1, 12));
                                           time->wDay = static_cast<WORD>(m_choices->between(1, 31));
                                           time->wHour = static_cast<WORD>(m_choices->below(24));
                                           time->wMinute = static_cast<WORD>(m_choices->below(60));
                                           time->wSecond = static_cast<WORD>(m_choices->below(60));
                                           time->wMilliseconds = static_cast<WORD>(m_choices->below(1000));
                                       }
                                       times.push_back(*time);
                                   });
};

/// The log by its rules, which takes the outcomes of calls from what the true one has called.
class Model
{
public:
    explicit Model(FakeSystem& system) : m_system(system) {}

    void init(const std::wstring& newPath)
    {
        if (newPath != m_path)
            close();
        m_path = newPath;
        open();
        if (m_size != 0 && m_size != unknown)
        {
            writeRaw(L"\n\n");
            m_lastChar = 0;
        }
        write(L"Logging started   --------------------------------");
    }

    void write(const std::wstring& text)
    {
        if (text.empty())
            return;
        writeRaw((m_lastChar == 0 || m_lastChar == L'\n' ? L"" : L"\n") + stamp() + text);
        if (m_size < limit)
            return;
        writeRaw(L"(continue to the next log file)");
        if (!m_path.empty())
        {
            close();
            take("move " + narrow(m_path) + ' ' + narrow(m_path) + ".bak 9", 0);
            open();
        }
        writeRaw(L"(continue logging)\n");
    }

    void finish()
    {
        write(L"Logging finished  --------------------------------");
        close();
    }

    /// That nothing has been done beyond what the model did.
    void expectNoMore() const
    {
        if (!m_system.calls.empty() || !m_system.times.empty())
            throw std::runtime_error("more is called: " +
                                     (m_system.calls.empty() ? "the clock" : m_system.calls.front().what));
    }

private:
    static std::string narrow(std::wstring_view text) { return tests::modelOfUtf8(text); }

    /// The next call must be this one; gives its outcome.
    std::uint64_t take(const std::string& what, std::uint64_t handle, const std::string& bytes = {})
    {
        if (m_system.calls.empty())
            throw std::runtime_error("nothing is called in place of: " + what);
        const Call call = m_system.calls.front();
        m_system.calls.pop_front();
        if (call.what != what || call.handle != handle)
            throw std::runtime_error("called is " + call.what + " in place of " + what);
        if (call.bytes != bytes)
            throw std::runtime_error("written is " + testing::PrintToString(call.bytes.substr(0, 1000)) +
                                     " in place of " + testing::PrintToString(bytes.substr(0, 1000)));
        return call.outcome;
    }

    std::wstring stamp()
    {
        if (m_system.times.empty())
            throw std::runtime_error("nobody has looked at the clock");
        const SYSTEMTIME now = m_system.times.front();
        m_system.times.pop_front();
        std::wostringstream text;
        text << std::setfill(L'0') << std::setw(2) << now.wDay << L'.' << std::setw(2) << now.wMonth << L'.'
             << now.wYear << L' ' << std::setw(2) << now.wHour << L':' << std::setw(2) << now.wMinute << L':'
             << std::setw(2) << now.wSecond << L'.' << std::setw(3) << now.wMilliseconds << L"  ";
        return text.str();
    }

    void writeRaw(const std::wstring& text)
    {
        m_lastChar = 0;
        if (m_file == unknown)
            return;
        if (!text.empty())
            m_lastChar = text.back();
        std::wstring withLineEnds;
        for (const wchar_t character : text)
            withLineEnds.append(character == L'\n' ? L"\r" : L"").append(1, character);
        m_size += take("write", m_file, narrow(withLineEnds));
    }

    void open()
    {
        if (m_file != unknown)
        {
            write(L"Logger::init called for initialized log. Log file is already opened, ignore the call.");
            return;
        }
        m_file = take("open " + narrow(m_path) + " 40000000 1 4 80000080", 0);
        if (m_file == unknown)
        {
            m_size = 0;
            return;
        }
        take("seek 0 2", m_file);
        m_size = take("size " + narrow(m_path), 0);
    }

    void close()
    {
        if (m_file != unknown)
            take("close", m_file);
        m_file = unknown;
        m_lastChar = 0;
    }

    FakeSystem& m_system;
    std::wstring m_path = L"none.log";
    std::uint64_t m_size = 0;
    std::uint64_t m_file = unknown;
    wchar_t m_lastChar = 0;
};

std::wstring randomText(Choices& choices)
{
    if (choices.below(1000) == 0)
        return std::wstring(choices.below(limit), choices.oneOf<wchar_t>({L'x', L'\n', 0x20AC}));
    return tests::randomUtf16(choices, choices.oneOf<std::size_t>({0, 3, 20, 200}));
}

TEST(LoggerFuzzTest, CallsAndWritesWhatItsRulesSayWhateverFails)
{
    FakeSystem system;
    utilities::Logger& log = utilities::Logger::instance();
    const std::vector<std::wstring> paths = {L"a.log", L"b.log", L"C:\\folder\\\u00e9.log", L""};
    support::fuzz("log",
                  [&](Choices& choices)
                  {
                      // A log that is closed, and whose size is known to be 0.
                      system.beginCase(nullptr);
                      log.finish();
                      log.init(L"none.log");
                      system.beginCase(&choices);
                      Model model(system);
                      const auto init = [&]
                      {
                          const std::wstring path = choices.oneOf(paths);
                          log.init(path);
                          model.init(path);
                      };
                      init();
                      for (std::size_t steps = choices.below(30); steps > 0; --steps)
                      {
                          const std::size_t kind = choices.below(20);
                          if (kind == 0)
                              init();
                          else if (kind == 1)
                          {
                              log.finish();
                              model.finish();
                          }
                          else
                          {
                              const std::wstring text = randomText(choices);
                              std::wstring rest = choices.chance(30) ? randomText(choices) : std::wstring();
                              if (!text.empty() && (text.back() & 0xFC00) == 0xD800)
                                  rest.clear(); // no pair lies across both
                              log.write(text, rest);
                              model.write(text.empty() ? text : text + rest);
                          }
                          model.expectNoMore();
                      }
                      log.finish();
                      model.finish();
                      model.expectNoMore();
                  });
}
} // namespace

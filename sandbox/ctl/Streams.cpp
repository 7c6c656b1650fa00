#include "sandbox/ctl/Streams.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <string_view>

#include "sandbox/control/LinePipe.h"

namespace sandboxctl
{
namespace
{
constexpr std::size_t mostAtOnce = 32 * 1024; // a console takes no more

void writeToConsole(HANDLE console, std::wstring_view text)
{
    while (!text.empty())
    {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(text.size(), mostAtOnce));
        if (!WriteConsoleW(console, text.data(), size, &count, nullptr) || count == 0)
            return;
        text.remove_prefix(count);
    }
}

[[nodiscard]] std::string readAll(HANDLE file, const std::string& name)
{
    std::string bytes;
    std::array<char, 4096> chunk;
    DWORD count = 0;
    while (ReadFile(file, chunk.data(), static_cast<DWORD>(chunk.size()), &count, nullptr))
    {
        if (count == 0)
            return bytes;
        bytes.append(chunk.data(), count);
    }
    if (GetLastError() == ERROR_BROKEN_PIPE) // how the input ends when it is a pipe
        return bytes;
    throw CLI::ValidationError("FILE", name + " can't be read");
}
} // namespace

std::wstring toWide(const std::string& utf8)
{
    const int size = static_cast<int>(utf8.size());
    std::wstring wide(static_cast<std::size_t>(MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8.data(), size, wide.data(), static_cast<int>(wide.size()));
    return wide;
}

std::string toUtf8(const std::wstring& wide)
{
    const int size = static_cast<int>(wide.size());
    const int needed = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), needed, nullptr, nullptr);
    return utf8;
}

std::string readInput(const std::string& name)
{
    if (name == "-")
        return readAll(GetStdHandle(STD_INPUT_HANDLE), "the standard input");
    const HANDLE file = CreateFileW(toWide(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        throw CLI::ValidationError("FILE", name + " can't be opened");
    const sandbox::KernelHandle owner(file);
    return readAll(file, name);
}

void writeTo(DWORD standardHandle, const std::string& text)
{
    const HANDLE output = GetStdHandle(standardHandle);
    if (output == nullptr || output == INVALID_HANDLE_VALUE)
        return;
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode))
    {
        writeToConsole(output, toWide(text));
        return;
    }
    std::string_view bytes = text;
    while (!bytes.empty())
    {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(bytes.size(), mostAtOnce));
        if (!WriteFile(output, bytes.data(), size, &count, nullptr) || count == 0)
            return;
        bytes.remove_prefix(count);
    }
}
} // namespace sandboxctl

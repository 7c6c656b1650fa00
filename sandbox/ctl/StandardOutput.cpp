#include "sandbox/ctl/StandardOutput.h"

#include <algorithm>
#include <string_view>

#include "sandbox/mailbox/model/Text.h"

namespace sandboxctl
{
namespace
{
constexpr std::size_t s_mostAtOnce = 32 * 1024; // a console takes no more

void writeToConsole(HANDLE console, std::wstring_view text)
{
    while (!text.empty())
    {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(text.size(), s_mostAtOnce));
        if (!WriteConsoleW(console, text.data(), size, &count, nullptr) || count == 0)
            return;
        text.remove_prefix(count);
    }
}
} // namespace

void writeTo(DWORD standardHandle, const std::string& text)
{
    const HANDLE output = GetStdHandle(standardHandle);
    if (output == nullptr || output == INVALID_HANDLE_VALUE)
        return;
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode))
    {
        writeToConsole(output, sandbox::toWide(text));
        return;
    }
    std::string_view bytes = text;
    while (!bytes.empty())
    {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(std::min(bytes.size(), s_mostAtOnce));
        if (!WriteFile(output, bytes.data(), size, &count, nullptr) || count == 0)
            return;
        bytes.remove_prefix(count);
    }
}
} // namespace sandboxctl

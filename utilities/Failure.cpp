#include "utilities/Failure.h"

#include <array>
#include <charconv>
#include <vector>

#include "utilities/Logger.h"

namespace utilities
{
namespace
{
constexpr std::wstring_view defaultResultText = L"MAPI call failed";

[[nodiscard]] std::wstring fromAscii(std::string_view text)
{
    return {text.begin(), text.end()};
}
} // namespace

std::wstring toHexNumber(std::uint64_t number)
{
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    return {digits.data(), end};
}

std::wstring toHexNumber(HRESULT result)
{
    return toHexNumber(std::uint64_t{static_cast<std::uint32_t>(result)});
}

std::wstring formatMessage(std::wstring_view function, std::wstring_view text)
{
    std::wstring message(function);
    message += L": ";
    message += text;
    return message;
}

std::wstring formatHresult(std::wstring_view function, std::uint_least32_t line, HRESULT result, std::wstring_view text)
{
    std::wstring message(function);
    message += L", line ";
    message += std::to_wstring(line);
    message += L": hr = 0x";
    message += toHexNumber(result);
    if (!text.empty())
    {
        message += L'('; // no blank before it: settled behaviour 65
        message += text;
        message += L')';
    }
    return message;
}

void checkHresult(std::wstring_view function, HRESULT result, std::wstring_view text, SourceLocation where)
{
    if (result < 0)
        throw exception(formatHresult(function, where.line(), result, text.empty() ? defaultResultText : text));
}

void logHresult(std::wstring_view function, HRESULT result, std::wstring_view text, SourceLocation where)
{
    Logger::instance().write(L"HRESULT logged: " + formatHresult(function, where.line(), result, text));
}

void logLine(std::wstring_view function, std::wstring_view text)
{
    Logger::instance().write(formatMessage(function, text));
}

void logRethrow(std::wstring_view function, const exception& caught)
{
    logLine(function, L"Exception has been caught and will be rethrown: " + caught.what());
}

std::wstring formatLocation(std::wstring_view function, const char* sourcePath, std::uint_least32_t line)
{
    std::string_view file(sourcePath);
    if (const auto backslash = file.rfind('\\'); backslash != std::string_view::npos)
        file.remove_prefix(backslash + 1);

    std::wstring location = L" (";
    location += function;
    location += L" in ";
    location += fromAscii(file);
    location += L", line ";
    location += std::to_wstring(line);
    location += L')';
    return location;
}

void checkCondition(bool holds, Condition condition, std::wstring_view function, SourceLocation where)
{
    if (holds)
        return;
    std::wstring message = L"condition \"";
    message += condition.text;
    message += L"\" failed";
    throw exception(message + formatLocation(function, where.file_name(), where.line()));
}

void checkCondition(bool holds, Precondition precondition, std::wstring_view function, SourceLocation where)
{
    if (!holds)
        throw exception(std::wstring(precondition.words) + formatLocation(function, where.file_name(), where.line()));
}

exception cancelled(std::wstring_view function)
{
    return exception(std::wstring(function) + L": cancelled by request");
}

void reportException(const exception& caught, std::wstring_view location)
{
    std::wstring message = L"An exception has been caught";
    if (!location.empty())
    {
        message += L" in ";
        message += location;
    }
    message += L" : ";
    message += caught.what();
    Logger::instance().write(message);
}

std::wstring toWide(const char* text)
{
    if (text == nullptr)
        return L"(null)";
    const int size = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, nullptr, 0);
    std::vector<wchar_t> buffer(static_cast<std::size_t>(size) + 1); // zeroed, so it ends also when nothing converts
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, buffer.data(), size);
    return buffer.data();
}

namespace impl
{
void throwNarrowCast(std::uint64_t value)
{
    const std::string message = "narrow_cast failed converting " + std::to_string(value) + " to unsigned long";
    throw exception(message.c_str());
}
} // namespace impl
} // namespace utilities

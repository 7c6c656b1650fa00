// Failure.h: the forms by which the system throws and logs its failures, and the words of each.
//
// Every text is composed at the place of failure. Function names in messages are written out by the caller, in a local
// constant `function`: they are the qualified names that readers of our logs know (settled behaviour 66). Result codes
// print as lower-case hexadecimal of the 32-bit pattern, without leading zeros.
#pragma once

#include <windows.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <source_location>
#include <string>
#include <string_view>

#include "utilities/Exception.h"

namespace utilities
{
using SourceLocation = std::source_location;

/// The source text of a condition, as written in the code.
struct Condition
{
    std::wstring_view text;
};

/// What was expected, in words, where the condition's own text would say nothing to a reader.
struct Precondition
{
    std::wstring_view words;
};

/// "<number>" in lower-case hexadecimal, without prefix and without leading zeros.
[[nodiscard]] std::wstring toHexNumber(std::uint64_t number);

/// The 32-bit pattern of a result, as `toHexNumber`.
[[nodiscard]] std::wstring toHexNumber(HRESULT result);

/// "<function>: <text>".
[[nodiscard]] std::wstring formatMessage(std::wstring_view function, std::wstring_view text);

/// "<function>, line <line>: hr = 0x<result>(<text>)"; without the parentheses when `text` is empty.
[[nodiscard]] std::wstring formatHresult(std::wstring_view function, std::uint_least32_t line, HRESULT result,
                                         std::wstring_view text);

/// Throws `exception` with the `formatHresult` when `result` is negative; an empty `text` reads "MAPI call failed".
/// Warnings pass.
void checkHresult(std::wstring_view function, HRESULT result, std::wstring_view text = {},
                  SourceLocation where = SourceLocation::current());

/// Logs "HRESULT logged: " and the `formatHresult`, whatever the result is: the caller tests first.
void logHresult(std::wstring_view function, HRESULT result, std::wstring_view text = {},
                SourceLocation where = SourceLocation::current());

/// Logs the `formatMessage`.
void logLine(std::wstring_view function, std::wstring_view text);

/// Logs "<function>: Exception has been caught and will be rethrown: <what>". The caller rethrows.
void logRethrow(std::wstring_view function, const exception& caught);

/// Throws `exception` with "condition "<text>" failed (<function> in <file>, line <line>)" unless the condition holds.
void checkCondition(bool holds, Condition condition, std::wstring_view function,
                    SourceLocation where = SourceLocation::current());

/// Throws `exception` with "<words> (<function> in <file>, line <line>)" unless the precondition holds.
void checkCondition(bool holds, Precondition precondition, std::wstring_view function,
                    SourceLocation where = SourceLocation::current());

/// " (<function> in <file>, line <line>)", where <file> is what follows the last backslash of the compile-time path, or
/// the whole path if it has none.
[[nodiscard]] std::wstring formatLocation(std::wstring_view function, const char* sourcePath, std::uint_least32_t line);

/// The failure of a long walk that found `stopRequested` set: "<function>: cancelled by request".
[[nodiscard]] exception cancelled(std::wstring_view function);

/// Logs "An exception has been caught in <location> : <what>"; " in <location>" only when `location` is not empty.
/// The caller goes on.
void reportException(const exception& caught, std::wstring_view location);

/// A narrow text of the system's code page as wide text; "(null)" for null. Rests on MultiByteToWideChar.
[[nodiscard]] std::wstring toWide(const char* text);

namespace impl
{
[[noreturn]] void throwNarrowCast(std::uint64_t value);
} // namespace impl

/// A byte or item count as the ULONG that MAPI counts have. Throws `exception` when it does not fit in 32 bits.
template <std::same_as<ULONG> Target>
[[nodiscard]] Target narrow_cast(std::uint64_t value)
{
    if (value > std::numeric_limits<Target>::max())
        impl::throwNarrowCast(value);
    return static_cast<Target>(value);
}
} // namespace utilities

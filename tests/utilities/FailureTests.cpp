#include "utilities/Failure.h"

#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Failures.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"

namespace
{
using namespace utilities;
using support::thrownBy;
using testing::ElementsAre;

constexpr HRESULT callFailed = static_cast<HRESULT>(0x80004005);
constexpr HRESULT errorsReturned = 0x00040380;

/// The line of the call.
std::wstring here(SourceLocation where = SourceLocation::current())
{
    return std::to_wstring(where.line());
}

std::string narrow(const std::wstring& text)
{
    return {text.begin(), text.end()};
}

TEST(FailureTest, JoinsFunctionAndText)
{
    EXPECT_EQ(formatMessage(L"ContactWatcher::onNewObject", L"text"), L"ContactWatcher::onNewObject: text");
    EXPECT_EQ(formatMessage(L"f", L""), L"f: ");
}

TEST(FailureTest, WritesResultsInLowerCaseWithoutLeadingZeros)
{
    const std::vector<std::pair<HRESULT, std::wstring>> cases = {
        {callFailed, L"80004005"},
        {errorsReturned, L"40380"},
        {0, L"0"},
        {1, L"1"},
        {static_cast<HRESULT>(0xFFFFFFFF), L"ffffffff"},
        {static_cast<HRESULT>(0x8004010F), L"8004010f"},
    };
    for (const auto& [result, digits] : cases)
        EXPECT_EQ(formatHresult(L"f", 7, result, L""), L"f, line 7: hr = 0x" + digits);
}

TEST(FailureTest, CheckedCallPassesSuccessAndWarnings)
{
    EXPECT_NO_THROW(checkHresult(L"f", 0, L"text"));
    EXPECT_NO_THROW(checkHresult(L"f", errorsReturned, L"text"));
    EXPECT_NO_THROW(checkHresult(L"f", 0x7FFFFFFF));
}

TEST(FailureTest, CheckedCallThrowsWithTheDefaultTextWhenNoneIsGiven)
{
    std::wstring line;
    const auto message = thrownBy([&] { line = here(), checkHresult(L"mapi::Session::openStore", callFailed); });
    EXPECT_EQ(message, L"mapi::Session::openStore, line " + line + L": hr = 0x80004005(MAPI call failed)");
}

TEST(FailureTest, CheckedCallThrowsWithTheGivenTextAlone)
{
    std::wstring line;
    const auto message = thrownBy([&] { line = here(), checkHresult(L"f", callFailed, L"Logon to MAPI"); });
    EXPECT_EQ(message, L"f, line " + line + L": hr = 0x80004005(Logon to MAPI)");
}

TEST(FailureTest, LoggedResultIsWrittenWhateverItIs)
{
    const support::ScopedLog log;
    std::wstring line;
    line = here(), logHresult(L"mapi::Session::shutdown", callFailed, L"Fast shutdown failed");
    const std::string first = narrow(line);
    line = here(), logHresult(L"f", 0, L"text");
    EXPECT_THAT(log.lines(), ElementsAre("HRESULT logged: mapi::Session::shutdown, line " + first +
                                             ": hr = 0x80004005(Fast shutdown failed)",
                                         "HRESULT logged: f, line " + narrow(line) + ": hr = 0x0(text)"));
}

TEST(FailureTest, FunctionNameLineIsTheMessageText)
{
    const support::ScopedLog log;
    logLine(L"AsyncMapiHelper::run", L"Unknown exception");
    EXPECT_THAT(log.lines(), ElementsAre("AsyncMapiHelper::run: Unknown exception"));
}

TEST(FailureTest, ConditionFailureNamesConditionAndPlace)
{
    std::wstring line;
    const auto message = thrownBy(
        [&] { line = here(), checkCondition(false, Condition{L"m_data->sink.isAdvised()"}, L"ContactWatcher::f"); });
    EXPECT_EQ(message, L"condition \"m_data->sink.isAdvised()\" failed (ContactWatcher::f in FailureTests.cpp, line " +
                           line + L")");
}

TEST(FailureTest, PreconditionFailureGivesWordsAndPlace)
{
    std::wstring line;
    const auto message =
        thrownBy([&] { line = here(), checkCondition(false, Precondition{L"no MAPI session is active"}, L"f"); });
    EXPECT_EQ(message, L"no MAPI session is active (f in FailureTests.cpp, line " + line + L")");
}

TEST(FailureTest, ConditionPassesWhenItHolds)
{
    EXPECT_NO_THROW(checkCondition(true, Condition{L"folder"}, L"f"));
    EXPECT_NO_THROW(checkCondition(true, Precondition{L"MAPI session is not active"}, L"f"));
}

TEST(FailureTest, LocationNamesWhatFollowsTheLastBackslash)
{
    EXPECT_EQ(formatLocation(L"f", "C:\\src\\agent\\ContactWatcher.cpp", 157), L" (f in ContactWatcher.cpp, line 157)");
    EXPECT_EQ(formatLocation(L"f", "a\\", 1), L" (f in , line 1)");
}

TEST(FailureTest, LocationNamesTheWholePathWhenItHasNoBackslash)
{
    EXPECT_EQ(formatLocation(L"f", "ContactWatcher.cpp", 3), L" (f in ContactWatcher.cpp, line 3)");
    EXPECT_EQ(formatLocation(L"f", "agent/ContactWatcher.cpp", 3), L" (f in agent/ContactWatcher.cpp, line 3)");
}

TEST(FailureTest, CancellationNamesTheFunction)
{
    EXPECT_EQ(cancelled(L"mapi::Rowset::enumerate").what(), L"mapi::Rowset::enumerate: cancelled by request");
}

TEST(FailureTest, ReportNamesLocationAndMessage)
{
    const support::ScopedLog log;
    reportException(exception(std::wstring(L"what went wrong")), L"main");
    EXPECT_THAT(log.lines(), ElementsAre("An exception has been caught in main : what went wrong"));
}

TEST(FailureTest, ReportHasNoGapWhenTheLocationIsEmpty)
{
    const support::ScopedLog log;
    reportException(exception(std::wstring(L"what went wrong")), L"");
    EXPECT_THAT(log.lines(), ElementsAre("An exception has been caught : what went wrong"));
}

TEST(FailureTest, ReportUsesWhatADerivedExceptionSays)
{
    struct Derived : exception
    {
        Derived() : exception(std::wstring(L"base")) {}
        std::wstring what() const override { return L"derived"; }
    };
    const support::ScopedLog log;
    reportException(Derived(), L"main");
    EXPECT_THAT(log.lines(), ElementsAre("An exception has been caught in main : derived"));
}

TEST(FailureTest, RethrowLineNamesFunctionAndMessage)
{
    const support::ScopedLog log;
    logRethrow(L"mapi::entryId", exception(std::wstring(L"what went wrong")));
    EXPECT_THAT(log.lines(),
                ElementsAre("mapi::entryId: Exception has been caught and will be rethrown: what went wrong"));
}

TEST(FailureTest, NarrowCastPassesWhatFits)
{
    EXPECT_EQ(narrow_cast<ULONG>(0), 0u);
    EXPECT_EQ(narrow_cast<ULONG>(4294967295u), 4294967295u);
}

TEST(FailureTest, NarrowCastThrowsWithTheNumberWhenItDoesNotFit)
{
    EXPECT_EQ(thrownBy([] { std::ignore = narrow_cast<ULONG>(4294967296u); }),
              L"narrow_cast failed converting 4294967296 to unsigned long");
    EXPECT_EQ(thrownBy([] { std::ignore = narrow_cast<ULONG>(18446744073709551615u); }),
              L"narrow_cast failed converting 18446744073709551615 to unsigned long");
}

TEST(FailureTest, ToWideNamesANullText)
{
    EXPECT_EQ(toWide(nullptr), L"(null)");
}

TEST(FailureTest, ToWideConvertsBySystemCodePage)
{
    const char* const text = "caf\xE9";
    wchar_t expected[10] = {};
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, expected, 10);
    EXPECT_EQ(toWide(text), expected);
    EXPECT_EQ(toWide("plain"), L"plain");
    EXPECT_EQ(toWide(""), L"");
}

TEST(FailureTest, ToWideAsksForTheSizeFirst)
{
    using Call = std::tuple<UINT, DWORD, int, bool, int>;
    std::vector<Call> calls;
    const auto hook = support::hookImport<"MultiByteToWideChar">(
        MultiByteToWideChar,
        [&](auto original, UINT codePage, DWORD flags, LPCCH text, int length, LPWSTR buffer, int size)
        {
            calls.emplace_back(codePage, flags, length, buffer != nullptr, size);
            return original(codePage, flags, text, length, buffer, size);
        });
    EXPECT_EQ(toWide("abc"), L"abc");
    EXPECT_THAT(calls, ElementsAre(Call(0, 1, -1, false, 0), Call(0, 1, -1, true, 4)));
}

TEST(FailureTest, ToWideIsEmptyWhenNothingCanBeConverted)
{
    const auto hook = support::hookImport<"MultiByteToWideChar">(
        MultiByteToWideChar, [](auto, UINT, DWORD, LPCCH, int, LPWSTR, int) { return 0; });
    EXPECT_EQ(toWide("abc"), L"");
}
} // namespace

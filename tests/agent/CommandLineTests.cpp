// How the command line is split; which log file is taken is tested end to end.
#include "agent/CommandLine.h"

#include <windows.h>

#include <shellapi.h>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"

namespace
{
using support::countImport;
using support::hookImport;
using testing::ElementsAre;
using testing::IsEmpty;

/// The command line as this process was given it, in place of the true one.
class CommandLineTest : public testing::Test
{
protected:
    [[nodiscard]] CommandLine parse(std::wstring commandLine)
    {
        const auto hook = hookImport<"GetCommandLineW">(GetCommandLineW, [&](auto) { return commandLine.data(); });
        return parseCommandLine();
    }
};

TEST_F(CommandLineTest, ReadsTheTrueCommandLine)
{
    EXPECT_EQ(parseCommandLine().programPath, splitCommandLine(GetCommandLineW()).front());
}

TEST_F(CommandLineTest, TakesTheValueAsThePlatformSplitsIt)
{
    EXPECT_EQ(parse(L"agent.exe \"/log=C:\\my logs\\a.log\"").logFile, L"C:\\my logs\\a.log");
    EXPECT_EQ(parse(L"agent.exe /log=\"C:\\my logs\\a.log\"").logFile, L"C:\\my logs\\a.log");
    EXPECT_EQ(parse(L"agent.exe /log=\\\"a\\\"").logFile, L"\"a\"");
    EXPECT_EQ(parse(L"agent.exe /log=\u00e9\u4e2d.log").logFile, L"\u00e9\u4e2d.log");
}

TEST_F(CommandLineTest, KeepsWhatIsNoLogOptionInOrder)
{
    const CommandLine result = parse(L"agent.exe first /LOG=a x/log=b /log=c -log=d /log second \"\" /log:e");
    EXPECT_EQ(result.logFile, L"c");
    EXPECT_THAT(result.arguments,
                ElementsAre(L"first", L"/LOG=a", L"x/log=b", L"-log=d", L"/log", L"second", L"", L"/log:e"));
}

TEST_F(CommandLineTest, TakesAnotherOptionInTheValueForItsText)
{
    EXPECT_EQ(parse(L"agent.exe /log=/log=a").logFile, L"/log=a");
}

TEST_F(CommandLineTest, TakesTheFirstElementForTheProgramWhateverItIs)
{
    const CommandLine result = parse(L"/log=a /log=b");
    EXPECT_EQ(result.programPath, L"/log=a");
    EXPECT_EQ(result.logFile, L"b");
}

TEST_F(CommandLineTest, IsEmptyWhenItCannotBeSplit)
{
    const auto hook =
        hookImport<"CommandLineToArgvW">(CommandLineToArgvW, [](auto, LPCWSTR, int*) -> LPWSTR* { return nullptr; });
    const auto freed = countImport<"LocalFree">(LocalFree);
    const CommandLine result = parse(L"agent.exe /log=a other");
    EXPECT_EQ(result.programPath, L"");
    EXPECT_EQ(result.logFile, L"");
    EXPECT_THAT(result.arguments, IsEmpty());
    EXPECT_EQ(freed.count(), 0u);
}

TEST_F(CommandLineTest, ReleasesTheArrayOfThePlatform)
{
    void* array = nullptr;
    void* freed = nullptr;
    const auto split = hookImport<"CommandLineToArgvW">(CommandLineToArgvW,
                                                        [&](auto original, LPCWSTR line, int* count)
                                                        {
                                                            LPWSTR* const result = original(line, count);
                                                            array = static_cast<void*>(result);
                                                            return result;
                                                        });
    const auto release = hookImport<"LocalFree">(LocalFree,
                                                 [&](auto original, HLOCAL block)
                                                 {
                                                     freed = block;
                                                     return original(block);
                                                 });
    EXPECT_THAT(splitCommandLine(L"agent.exe \"a b\" c"), ElementsAre(L"agent.exe", L"a b", L"c"));
    EXPECT_NE(array, nullptr);
    EXPECT_EQ(freed, array);
}
} // namespace

// The command line at random: how it is split, by the platform and by a model of what is published of that; and what is
// taken of the arguments.
#include "agent/CommandLine.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ImportHook.h"
#include "tests/support/fuzz/Fuzz.h"

namespace
{
using Arguments = std::vector<std::wstring>;

bool isBlank(wchar_t character)
{
    return character == L' ' || character == L'\t';
}

/// An argument behind the program's path, by the rules for backslashes and quotation marks. `at` goes behind it.
std::wstring nextArgument(const std::wstring& line, std::size_t& at)
{
    std::wstring argument;
    bool isQuoted = false;
    while (at < line.size() && (isQuoted || !isBlank(line[at])))
    {
        std::size_t backslashes = 0;
        for (; at < line.size() && line[at] == L'\\'; ++at)
            ++backslashes;
        const bool isMark = at < line.size() && line[at] == L'"';
        argument.append(isMark ? backslashes / 2 : backslashes, L'\\');
        if (isMark && backslashes % 2 != 0)
        {
            argument += line[at++];
        }
        else if (isMark)
        {
            // Two in a row inside a quoted part are one of the text, and end the part.
            if (isQuoted && line.substr(at + 1, 1) == L"\"")
                argument += line[at++];
            isQuoted = !isQuoted;
            ++at;
        }
        else if (backslashes == 0)
        {
            argument += line[at++];
        }
    }
    return argument;
}

Arguments modelOfSplitting(const std::wstring& line)
{
    std::size_t at = 0;
    Arguments arguments(1);
    if (line.starts_with(L'"')) // no backslash means anything in the program's path
    {
        const std::size_t end = std::min(line.find(L'"', 1), line.size());
        arguments[0] = line.substr(1, end - 1);
        at = std::min(end + 1, line.size());
    }
    else
    {
        at = std::min(line.find_first_of(L" \t"), line.size());
        arguments[0] = line.substr(0, at);
    }
    for (;;)
    {
        while (at < line.size() && isBlank(line[at]))
            ++at;
        if (at == line.size())
            return arguments;
        arguments.push_back(nextArgument(line, at));
    }
}

/// What the platform itself makes of it.
Arguments splitByThePlatform(const std::wstring& line)
{
    int count = 0;
    wchar_t** const parts = CommandLineToArgvW(line.c_str(), &count);
    Arguments arguments(parts, parts + count);
    LocalFree(static_cast<HLOCAL>(parts));
    return arguments;
}

CommandLine modelOfParsing(const Arguments& arguments)
{
    CommandLine expected;
    expected.programPath = arguments.at(0);
    for (std::size_t index = 1; index < arguments.size(); ++index)
    {
        const std::wstring& argument = arguments[index];
        if (argument.find(L"/log=") != 0)
            expected.arguments.push_back(argument);
        else if (argument.length() > 5)
            expected.logFile = argument.substr(5);
    }
    return expected;
}

TEST(CommandLineFuzzTest, SplitsAsThePlatformDoesAndTakesTheLastLogOption)
{
    const std::vector<std::wstring> pieces = {L"\"", L"\"", L"\"\"", L"\\", L"\\", L"\\\\", L" ", L" ", L"\t", L"/log=",
                                              L" /log=", L"\"/log=", L"/", L"=", L"a", L"b", L"/LOG=", L"x/log", L"log",
                                              L".txt", L":", L"C:\\a b\\", L"\u00e9", L"\U0001F600",
                                              // Half pairs go through like any other character.
                                              L"\xD83D"};
    support::fuzz("command line",
                  [&pieces](support::Choices& choices)
                  {
                      // None at all stands for the path of the running program.
                      std::wstring line = (choices.chance(50) ? L"agent.exe " : L"") + choices.textOf(pieces, 24);
                      if (line.empty())
                          line = L"a";
                      const Arguments expected = modelOfSplitting(line);
                      ASSERT_EQ(splitCommandLine(line), expected) << testing::PrintToString(line);
                      ASSERT_EQ(splitByThePlatform(line), expected) << testing::PrintToString(line);

                      const auto hook =
                          support::hookImport<"GetCommandLineW">(GetCommandLineW, [&](auto) { return line.data(); });
                      const CommandLine parsed = parseCommandLine();
                      const CommandLine model = modelOfParsing(expected);
                      ASSERT_EQ(parsed.programPath, model.programPath) << testing::PrintToString(line);
                      ASSERT_EQ(parsed.logFile, model.logFile) << testing::PrintToString(line);
                      ASSERT_EQ(parsed.arguments, model.arguments) << testing::PrintToString(line);
                  });
}
} // namespace

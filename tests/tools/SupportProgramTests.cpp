// linkwell-support as a program: exit values, what it says, and how much memory it takes.
#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include <gmock/gmock.h>

#include "tests/support/Handle.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/TempFolder.h"
#include "tests/tools/Samples.h"

namespace diagnosis
{
namespace
{
using testing::HasSubstr;
using testing::StartsWith;

std::wstring program()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return (std::filesystem::path(path).parent_path() / L"linkwell-support.exe").wstring();
}

support::ProgramRun runTool(const std::wstring& arguments)
{
    return support::runProgram(L'"' + program() + L"\" " + arguments);
}

TEST(SupportProgramTest, TellsItsVersion)
{
    const auto run = runTool(L"--version");
    EXPECT_EQ(run.status, 0U);
    EXPECT_EQ(run.output, "linkwell-support " LINKWELL_VERSION "\r\n");
}

TEST(SupportProgramTest, RefusesACommandLineInTwoLines)
{
    for (const wchar_t* const arguments : {L"", L"log", L"clean a.log", L"heal"})
    {
        const auto run = runTool(arguments);
        EXPECT_EQ(run.status, 2U);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.errors, StartsWith("linkwell-support: "));
        EXPECT_THAT(run.errors, testing::EndsWith("\r\nTry: linkwell-support --help\r\n"));
    }
}

TEST(SupportProgramTest, SaysWhatItCouldNotRead)
{
    const auto run = runTool(L"log C:\\nowhere\\agent.log --json");
    EXPECT_EQ(run.status, 3U);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, StartsWith("linkwell-support: C:\\nowhere\\agent.log: the log can't be opened"));
}

TEST(SupportProgramTest, TellsAndCleansALog)
{
    const support::TempFolder folder;
    const std::wstring log = folder.file(L"\u00C4gent.log");
    support::writeBytes(log, logOf({support::logHeader, started, "Start MAPI thread...", "subfolder found: Anna",
                                    "WM_CLOSE received", "Done", support::logFooter}));
    const auto told = runTool(L"log \"" + log + L'"');
    EXPECT_EQ(told.status, 0U);
    EXPECT_THAT(told.output, HasSubstr("closed in order, as it was asked to"));
    EXPECT_THAT(told.output, HasSubstr("\xC3\x84gent.log: 1 run, 0 with problems, 0 without an end."));

    const std::wstring clean = L"clean \"" + log + L"\" -o \"" + folder.file(L"copy.log") + L'"';
    EXPECT_EQ(runTool(clean).status, 0U);
    EXPECT_THAT(support::readBytes(folder.file(L"copy.log")), HasSubstr("subfolder found: text-"));
    const auto again = runTool(clean);
    EXPECT_EQ(again.status, 3U);
    EXPECT_THAT(again.errors, HasSubstr("copy.log: the copy is there already"));
}

TEST(SupportProgramTest, LooksAtTheMachine)
{
    const support::EnvironmentVariable sandbox(L"LINKWELL_SANDBOX_DLL", L"C:\\nowhere\\LinkwellSandbox.dll");
    const auto text = runTool(L"doctor");
    EXPECT_EQ(text.status, 1U);
    EXPECT_THAT(text.output, HasSubstr("PROBLEM  module-missing: DllPathEx = C:\\nowhere\\LinkwellSandbox.dll"));
    const auto json = runTool(L"doctor --json");
    EXPECT_EQ(json.status, 1U);
    EXPECT_THAT(json.output, HasSubstr("\"code\": \"module-missing\""));
}

// ---- Large logs --------------------------------------------------------------------------------------------------------------

/// Writes a log of so many bytes: runs of the agent, each with a contact whose one line has two million bytes.
void writeLargeLog(const std::wstring& path, std::uint64_t size)
{
    const std::string run = logOf({support::logHeader, started, "Start MAPI thread...", storeFound,
                                   "Sending data:", "| 2;snapshot;contact;0;1"}) +
                            "\r\n" + std::string(2'000'000, 'x') + "\r\n" +
                            logOf({noPipe, startRefused, "Done", support::logFooter}) + "\r\n\r\n";
    std::ofstream file(std::filesystem::path(path), std::ios::binary);
    for (std::uint64_t written = 0; written < size; written += run.size())
        file << run;
    ASSERT_TRUE(file.flush().good());
}

/// Runs the tool, and gives the most memory that it has had, in bytes.
std::size_t peakOf(const std::wstring& arguments, DWORD& status)
{
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES; // and none: what it says is dropped
    const PROCESS_INFORMATION started = support::startChild(nullptr, L'"' + program() + L"\" " + arguments, 0, startup);
    const support::Handle process(started.hProcess);
    const support::Handle thread(started.hThread);
    // Wine does not tell it of a process that has ended.
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    std::size_t peak = 0;
    while (WaitForSingleObject(process.get(), 5) == WAIT_TIMEOUT)
    {
        if (GetProcessMemoryInfo(process.get(), &counters, sizeof(counters))) // fails, or says 0, as it ends
            peak = std::max<std::size_t>(peak, counters.PeakWorkingSetSize);
    }
    GetExitCodeProcess(process.get(), &status);
    return peak;
}

// For 1 GB: LINKWELL_LOG_MEGABYTES=1024 scripts/test --only linkwell_tools_tests 'LargeLogTest.*'
TEST(LargeLogTest, IsReadAndCleanedInBoundedMemory)
{
    const char* const asked = std::getenv("LINKWELL_LOG_MEGABYTES");
    const std::uint64_t megabytes = asked != nullptr ? std::strtoull(asked, nullptr, 10) : 32;
    const support::TempFolder folder;
    const std::wstring log = folder.file(L"large.log");
    writeLargeLog(log, megabytes << 20);

    DWORD status = 0;
    const std::size_t ofLog = peakOf(L"log \"" + log + L'"', status);
    EXPECT_EQ(status, 1U);
    const std::size_t ofClean = peakOf(L"clean \"" + log + L"\" -o \"" + folder.file(L"copy.log") + L'"', status);
    EXPECT_EQ(status, 0U);
    std::cout << megabytes << " MB: log " << ofLog / 1024 << " KB, clean " << ofClean / 1024 << " KB at most\n";
    EXPECT_GT(std::min(ofLog, ofClean), 1U << 20) << "it can't be measured";
    EXPECT_LT(std::max(ofLog, ofClean), 24U << 20);
}
} // namespace
} // namespace diagnosis

// linkwell-cpphost as a program, and the example of hosts/cpp/README.md.
#include <chrono>
#include <filesystem>
#include <future>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/hosts/HostTest.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/TempFolder.h"

namespace hosts
{
namespace
{
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

std::wstring program(const wchar_t* name)
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return L'"' + (std::filesystem::path(path).parent_path() / name).wstring() + L"\" ";
}

/// Sends the texts one after the other, as soon as there is a host, and gives its answers.
std::vector<std::string> exchange(const std::wstring& pipe, const std::vector<std::string>& texts)
{
    const auto end = std::chrono::steady_clock::now() + support::deadline;
    while (!WaitNamedPipeW(pipe.c_str(), 100) && std::chrono::steady_clock::now() < end)
        Sleep(10); // nothing says that there is a pipe of this name
    std::vector<std::string> answers;
    for (const std::string& text : texts)
    {
        Client client(pipe);
        client.write(framed(text));
        answers.push_back(client.read(3));
    }
    return answers;
}

class ExampleTest : public testing::Test
{
protected:
    /// Runs linkwell-cpphost on these messages, which it must answer.
    support::ProgramRun run(const std::vector<std::string>& texts, const std::wstring& arguments)
    {
        const std::wstring pipe = L"\\\\.\\pipe\\" + support::uniqueName(L"LinkwellExample");
        auto answers = std::async(std::launch::async, [&] { return exchange(pipe, texts); });
        const auto ended = support::runProgram(program(L"linkwell-cpphost.exe") + L"--pipe " + pipe + L" --count " +
                                               std::to_wstring(texts.size()) + L' ' + arguments);
        EXPECT_EQ(answers.get(), std::vector<std::string>(texts.size(), "ack"));
        EXPECT_EQ(ended.status, 0U) << ended.errors;
        return ended;
    }

    support::TempFolder m_folder;
};

TEST_F(ExampleTest, PrintsAndRecordsTheSameLinesOfJson)
{
    const std::wstring record = m_folder.file(L"\u0437\u0430\u043F\u0438\u0441\u044C.json");
    const auto ended = run({std::string(contactText), "hello", "2;delete;folder;0;1\n00000000E5"},
                           L"--json --record \"" + record + L'"');
    EXPECT_EQ(support::readBytes(record), ended.output);
    std::vector<std::string> events;
    for (std::size_t at = 0; at < ended.output.size(); at = ended.output.find('\n', at) + 1)
        events.push_back(json::parse(ended.output.substr(at, ended.output.find('\n', at) - at)).at("event"));
    EXPECT_THAT(events, testing::ElementsAre("listening", "message", "error", "message", "closed"));
    EXPECT_THAT(ended.output, HasSubstr("{\"event\":\"closed\",\"answered\":3}\n"));
}

TEST_F(ExampleTest, PrintsWhatAMessageChanges)
{
    const auto ended = run({std::string(contactText), "2;delete;folder;0;1\n00000000E5"}, L"");
    EXPECT_THAT(ended.output, StartsWith("Listening on \\\\.\\pipe\\LinkwellExample"));
    EXPECT_THAT(ended.output, HasSubstr("=== snapshot contact, 64 bytes"));
    EXPECT_THAT(ended.output, HasSubstr("  + " + std::string(contactName)));
    EXPECT_THAT(ended.output, HasSubstr("  - " + std::string(contactName)));
}

TEST_F(ExampleTest, SaysWhatIsWrongWithItsOptions)
{
    for (const auto& [arguments, complaint] : {std::pair(L"--pipes x", "unknown option \"--pipes\""),
                                               {L"--pipe", "--pipe needs a value"},
                                               {L"--count 0", "--count needs a positive number, not \"0\""},
                                               {L"--max-bytes x1", "--max-bytes needs a positive number, not \"x1\""}})
    {
        const auto ended = support::runProgram(program(L"linkwell-cpphost.exe") + arguments);
        EXPECT_EQ(ended.status, 2U);
        EXPECT_EQ(ended.output, "");
        EXPECT_THAT(ended.errors, HasSubstr(complaint));
        EXPECT_THAT(ended.errors, HasSubstr("Try: linkwell-cpphost --help"));
    }
    const auto help = support::runProgram(program(L"linkwell-cpphost.exe") + L"--help");
    EXPECT_EQ(help.status, 0U);
    EXPECT_THAT(help.output, StartsWith("Usage: linkwell-cpphost"));
}

TEST_F(ExampleTest, EndsWhenThePipeOrTheRecordCannotBeHad)
{
    const auto pipe = support::runProgram(program(L"linkwell-cpphost.exe") + L"--pipe Z:\\no\\pipe");
    EXPECT_EQ(pipe.status, 1U);
    EXPECT_THAT(pipe.errors, HasSubstr("the pipe can't be served"));
    const auto record =
        support::runProgram(program(L"linkwell-cpphost.exe") + L"--record \"" + m_folder.file(L"no\\file") + L'"');
    EXPECT_EQ(record.status, 1U);
    EXPECT_THAT(record.errors, HasSubstr("the record can't be written"));
}

TEST(ReadmeExampleTest, ServesThePipeUntilItsInputEnds)
{
    const std::wstring example = program(L"linkwell_cpp_readme.exe");
    const auto ended = support::runProgram(example);
    EXPECT_EQ(ended.status, 0U) << ended.errors;

    linkwell::Host other([](const linkwell::Message&) {}, [](const linkwell::Error&) {});
    other.start();
    const auto refused = support::runProgram(example);
    EXPECT_EQ(refused.status, 1U);
    EXPECT_THAT(refused.errors, HasSubstr("the pipe can't be served"));
}
} // namespace
} // namespace hosts

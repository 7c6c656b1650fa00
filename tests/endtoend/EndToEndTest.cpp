#include "tests/endtoend/EndToEndTest.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace endtoend
{
namespace
{
constexpr std::size_t lengthSize = 4;

/// A text value of the machine's registry as it stands; empty when it isn't there.
std::wstring registeredText(const wchar_t* key, const wchar_t* name)
{
    wchar_t text[512] = {};
    DWORD size = sizeof(text);
    const LSTATUS result = RegGetValueW(HKEY_LOCAL_MACHINE, key, name,
                                        RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, text, &size);
    return result == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

/// The bytes of a message on the wire: the length in four bytes, the highest first, and the text.
std::string wireBytes(std::string_view text)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>((text.size() >> shift) & 0xFF);
    return bytes.append(text);
}

std::string messageText(const std::string& request)
{
    if (request.size() < lengthSize)
        throw std::runtime_error("a request without a length");
    const std::string text = request.substr(lengthSize);
    if (request != wireBytes(text))
        throw std::runtime_error("a request whose length is not that of its text: " + request);
    return text;
}

/// The sandbox's pipe: a name of this test program's own.
std::wstring controlPipe()
{
    return L"linkwell-endtoend-" + std::to_wstring(GetCurrentProcessId());
}

support::PipeServerOptions hostOptions()
{
    support::PipeServerOptions options;
    options.name = hostPipeName;
    options.defaultTimeout = busyMilliseconds; // the agent gives up then; on a busy machine the host may come late
    return options;
}

/// Leaves a run's log and mailbox, and what the test knows of the run, in the folder that LINKWELL_KEPT_RUNS names, where
/// linkwell-support is tried on them all.
void keepRun(const AgentRun& run, const std::filesystem::path& log, const std::filesystem::path& mailbox)
{
    const std::filesystem::path folder = support::environmentValue(L"LINKWELL_KEPT_RUNS");
    if (folder.empty() || !std::filesystem::exists(log))
        return;
    const auto& test = *testing::UnitTest::GetInstance()->current_test_info();
    static std::map<std::string, int> s_runs; // of each test
    std::string name = std::string(test.test_suite_name()) + '.' + test.name();
    std::ranges::replace(name, '/', '-');
    const std::filesystem::path stem = folder / (name + '-' + std::to_string(++s_runs[name]));
    const auto file = [&stem](const char* extension)
    {
        return std::filesystem::path(stem).concat(extension);
    };

    std::filesystem::create_directories(folder);
    for (const char* const backup : {"", ".bak"})
    {
        const std::filesystem::path from = std::filesystem::path(log).concat(backup);
        const std::filesystem::path to = file(".log").concat(backup);
        if (std::filesystem::exists(from))
            support::writeBytes(to, support::readBytes(from));
        else
            std::filesystem::remove(to);
    }
    support::writeBytes(file(".mailbox"), bytesOf(mailbox));
    const auto count = [&run](auto condition)
    {
        return std::ranges::count_if(run.log, condition);
    };
    const auto begins = [](std::string_view text)
    {
        return [text](const std::string& record)
        {
            return record.starts_with(text);
        };
    };
    const Json facts{{"ended", run.exitValue.has_value()},
                     {"received", run.messages.size()},
                     {"runs", count(begins(support::logHeader))},
                     {"ends", count(begins(support::logFooter))},
                     {"sent", sentIn(run.log).size()},
                     {"refused", count([](const std::string& record)
                                       { return record.ends_with("Unable to send data through ipc channel"); })},
                     {"stores", count(begins("Message Store found: "))},
                     {"unopened", count(begins("Ignore message store "))},
                     {"notifications", count(begins("Notification "))},
                     {"workerFailed", count(begins("An exception has been caught in AsyncMapiHelper::run : "))}};
    support::writeBytes(file(".json"), facts.dump());
}
} // namespace

std::string plansFor(std::initializer_list<std::pair<std::string_view, std::string_view>> plans)
{
    std::string text;
    for (const auto& [keys, result] : plans)
        text.append(text.empty() ? "" : ", ")
            .append("{")
            .append(keys)
            .append(R"(, "times": 0, "result": ")")
            .append(result)
            .append("\"}");
    return R"("plans": [)" + text + "]";
}

std::string bytesOf(const std::filesystem::path& file)
{
    return std::filesystem::exists(file) ? support::readBytes(file) : std::string();
}

void EndToEndTest::SetUp()
{
    ASSERT_TRUE(registeredText(L"Software\\Clients\\Mail", nullptr) == L"Linkwell Sandbox" &&
                registeredText(L"Software\\Clients\\Mail\\Linkwell Sandbox", L"DllPathEx") == L"%LINKWELL_SANDBOX_DLL%")
        << "These tests run the agent on the sandbox, which must be the machine's default mail client. They register "
           "nothing themselves: run them by scripts/lib/wine-run, in the project's private Wine prefix.";
    setVariable(L"LINKWELL_SANDBOX_DLL", (programFolder() / L"LinkwellSandbox.dll").wstring());
    setVariable(L"LINKWELL_SANDBOX_MAILBOX", file(L"mailbox.json"));
    setVariable(L"LINKWELL_SANDBOX_REPORT", file(L"report.txt"));
    setVariable(L"LINKWELL_SANDBOX_CONTROL", controlPipe());
}

void EndToEndTest::writeMailbox(std::string_view json) const
{
    support::writeBytes(file(L"mailbox.json"), json);
}

void EndToEndTest::serveHost(std::vector<support::PipeReply> replies)
{
    auto options = hostOptions();
    options.replies = std::move(replies);
    m_host = std::make_unique<support::PipeServer>(std::move(options));
}

void EndToEndTest::serveHostWithoutSpareInstance()
{
    auto options = hostOptions();
    options.spareInstance = false;
    options.defaultTimeout = 500; // what the agent waits for a second instance, and the host has to read the message
    m_host = std::make_unique<support::PipeServer>(std::move(options));
}

void EndToEndTest::startAgent(const std::wstring& arguments)
{
    m_agent = std::make_unique<AgentProcess>(arguments, file(L"stderr.txt"), agentProgram(), m_library);
    m_commandLine = m_agent->commandLine();
}

void EndToEndTest::startAgentOn(std::string_view json)
{
    writeMailbox(json);
    if (!m_host)
        serveHost();
    startAgent();
}

std::vector<std::string> EndToEndTest::takeMessages() const
{
    std::vector<std::string> texts;
    for (const std::string& request : m_host->takeRequests())
        texts.push_back(messageText(request));
    return texts;
}

bool EndToEndTest::waitForLog(std::string_view text, std::chrono::milliseconds limit) const
{
    return waitForRecord(m_logFile, text, m_agent->process(), limit);
}

std::vector<std::string> EndToEndTest::messages() const
{
    std::vector<std::string> texts;
    if (m_host)
    {
        for (const std::string& request : m_host->requests())
            texts.push_back(messageText(request));
    }
    return texts;
}

Json EndToEndTest::ask(Json request)
{
    if (request.at("do") == "wait")
        request.emplace("timeout", busyMilliseconds);
    if (!m_control)
        m_control = std::make_unique<sandbox::ControlClient>(controlPipe(), support::deadline);
    return m_control->request(request);
}

bool EndToEndTest::waitUntilSubscribed(std::string_view lastStore, std::chrono::milliseconds limit)
{
    if (!waitForLog("Subscribe to " + std::string(lastStore), limit))
        return false;
    constexpr std::chrono::milliseconds look{100};
    for (const auto end = std::chrono::steady_clock::now() + limit; std::chrono::steady_clock::now() < end;)
    {
        // Whether the last store refuses stands in the log a little later, so the number is taken anew each time.
        try
        {
            ask({{"do", "wait"},
                 {"for", "advised"},
                 {"count", advisedStores(readLog(m_logFile))},
                 {"timeout", look.count()}});
            ask({{"do", "wait"}, {"for", "idle"}, {"timeout", limit.count()}});
            return true;
        }
        catch (const sandbox::Refusal&)
        {
        }
    }
    return false;
}

AgentRun EndToEndTest::finish()
{
    AgentRun run;
    run.exitValue = m_agent->waitForExit();
    m_control.reset();
    m_agent.reset();
    run.log = readLog(m_logFile);
    run.messages = messages();
    run.report = bytesOf(file(L"report.txt"));
    run.standardError = bytesOf(file(L"stderr.txt"));
    keepRun(run, m_logFile, file(L"mailbox.json"));
    return run;
}

AgentRun EndToEndTest::runUntilSubscribed(std::string_view json, std::string_view lastStore,
                                          std::chrono::milliseconds limit)
{
    startAgentOn(json);
    EXPECT_TRUE(waitUntilSubscribed(lastStore, limit));
    EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
    AgentRun run = finish();
    eraseSubscribing(run.log);
    return run;
}

AgentRun EndToEndTest::runUntilWorkerEnds()
{
    AgentRun run = finish();
    orderEndOfWorker(run.log);
    return run;
}

void EndToEndTest::expectRun(const AgentRun& run, const Records& log, const std::vector<std::string>& messages,
                             std::string_view report) const
{
    EXPECT_EQ(run.exitValue, 0U);
    EXPECT_EQ(run.log, log);
    EXPECT_EQ(run.messages, messages);
    EXPECT_EQ(run.report, report);
    EXPECT_EQ(run.standardError, "");
}

void EndToEndTest::expectClosedRun(std::string_view json, std::string_view lastStore, const Records& records,
                                   std::string_view report)
{
    const AgentRun run = runUntilSubscribed(json, lastStore);
    expectRun(run, logOfClosedWindow(records), sentIn(records), report);
}

void EndToEndTest::expectEndedWorker(std::string_view json, const Records& records)
{
    startAgentOn(json);
    const AgentRun run = runUntilWorkerEnds();
    expectRun(run, logOfEndedWorker(records));
}

Records EndToEndTest::wholeLog(const Records& records) const
{
    return joined({{std::string(support::logHeader), startedRecord(), "Start MAPI thread..."}, records});
}

Records EndToEndTest::logOfClosedWindow(const Records& records) const
{
    const Records unadvised(static_cast<std::size_t>(advisedStores(records)), "Unadvise hr = 0");
    return wholeLog(
        joined({records, {"WM_CLOSE received", "Shutdown..."}, unadvised, {"MAPI thread finished"}, orderlyEnd}));
}

Records EndToEndTest::logOfEndedWorker(const Records& records) const
{
    return wholeLog(joined(
        {records, {"MAPI thread finished", "WM_CLOSE for thread received, will quit", "Shutdown..."}, orderlyEnd}));
}

std::string EndToEndTest::startedRecord() const
{
    const auto text = std::filesystem::path(m_commandLine).u8string();
    return "Started " + std::string(text.begin(), text.end());
}
} // namespace endtoend

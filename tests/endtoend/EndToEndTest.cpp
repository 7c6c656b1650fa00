#include "tests/endtoend/EndToEndTest.h"

#include <filesystem>
#include <stdexcept>

#include "tests/endtoend/Registration.h"
#include "tests/support/LogFile.h"

namespace endtoend
{
namespace
{
constexpr std::size_t lengthSize = 4;

std::string utf8(const std::wstring& text)
{
    const auto size = static_cast<int>(text.size());
    std::string bytes(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr)),
        '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), size, bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr);
    return bytes;
}

std::string bytesOf(const std::filesystem::path& file)
{
    return std::filesystem::exists(file) ? support::readBytes(file) : std::string();
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
    return options;
}
} // namespace

std::string wireBytes(std::string_view text)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(text.size() >> shift & 0xFF);
    return bytes.append(text);
}

std::string lines(std::initializer_list<std::string_view> texts)
{
    std::string joined;
    for (const std::string_view text : texts)
        joined.append(text).append(1, '\n');
    if (!joined.empty())
        joined.pop_back();
    return joined;
}

std::string contactLine(std::string_view tenFields, unsigned store, unsigned folder, unsigned message)
{
    return std::string(tenFields) + ";" + messageId(store, folder, message) + ";" + folderId(store, folder);
}

std::string namedLine(std::string_view name, unsigned store, unsigned folder, unsigned message)
{
    return contactLine(std::string(name) + ";;;;;;;;;", store, folder, message);
}

std::string storeFound(std::string_view name, unsigned store, bool isDefault, bool isPublic)
{
    return "Message Store found: " + std::string(name) +
           " (Sandbox Message Store), Default: " + (isDefault ? "true" : "false") +
           ", Public: " + (isPublic ? "true" : "false") + ", EntryId: " + storeId(store);
}

Records subscribed(std::string_view store, std::initializer_list<std::string_view> folders)
{
    const auto registered = [](std::string_view folder)
    {
        return "Maybe Contacts folder " + std::string(folder) + " registered as known notification source";
    };
    Records records = {"Subscribe to " + std::string(store), registered("IPM_SUBTREE")};
    for (const std::string_view folder : folders)
        records.push_back("subfolder found: " + std::string(folder));
    for (const std::string_view folder : folders)
        records.push_back(registered(folder));
    return records;
}

Records joined(std::initializer_list<Records> parts)
{
    Records all;
    for (const Records& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

void EndToEndTest::SetUp()
{
    const std::string wrong = wrongInRegistration();
    ASSERT_TRUE(wrong.empty()) << wrong;
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
    options.defaultTimeout = 100; // what the agent waits for a second instance
    m_host = std::make_unique<support::PipeServer>(std::move(options));
}

void EndToEndTest::startAgent()
{
    startAgent(L"/log=" + m_logFile);
}

void EndToEndTest::startAgent(const std::wstring& arguments)
{
    m_agent = std::make_unique<AgentProcess>(arguments, m_environment, file(L"stderr.txt"));
    m_commandLine = m_agent->commandLine();
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

Json EndToEndTest::ask(const Json& request)
{
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
    return run;
}

AgentRun EndToEndTest::runUntilSubscribed(std::string_view json, std::string_view lastStore,
                                          std::chrono::milliseconds limit)
{
    writeMailbox(json);
    if (!m_host)
        serveHost();
    startAgent();
    EXPECT_TRUE(waitUntilSubscribed(lastStore, limit));
    return closeAndFinish();
}

AgentRun EndToEndTest::closeAndFinish()
{
    EXPECT_TRUE(agent().postToWindow(WM_CLOSE));
    AgentRun run = finish();
    run.subscribing = takeSubscribing(run.log);
    EXPECT_EQ(run.standardError, "");
    return run;
}

AgentRun EndToEndTest::runUntilWorkerEnds(std::string_view json)
{
    writeMailbox(json);
    startAgent();
    AgentRun run = finish();
    orderEndOfWorker(run.log);
    EXPECT_EQ(run.standardError, "");
    return run;
}

Records EndToEndTest::logOfClosedWindow(const Records& records) const
{
    Records all = {std::string(support::logHeader), startedRecord(), "Start MAPI thread..."};
    all.insert(all.end(), records.begin(), records.end());
    all.insert(all.end(), {"WM_CLOSE received", "Shutdown..."});
    all.insert(all.end(), static_cast<std::size_t>(advisedStores(records)), "Unadvise hr = 0");
    all.insert(all.end(), {"MAPI thread finished", "Closing MAPI session...", "Logoff...", "MAPI session closed",
                           "Done", std::string(support::logFooter)});
    return all;
}

Records EndToEndTest::logOfEndedWorker(const Records& records) const
{
    Records all = {std::string(support::logHeader), startedRecord(), "Start MAPI thread..."};
    all.insert(all.end(), records.begin(), records.end());
    all.insert(all.end(), {"MAPI thread finished", "WM_CLOSE for thread received, will quit", "Shutdown...",
                           "Closing MAPI session...", "Logoff...", "MAPI session closed", "Done",
                           std::string(support::logFooter)});
    return all;
}

std::string EndToEndTest::startedRecord() const
{
    return "Started " + utf8(m_commandLine);
}
} // namespace endtoend

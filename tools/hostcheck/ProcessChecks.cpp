#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "sandbox/control/ControlClient.h"
#include "tools/hostcheck/Check.h"

namespace hostcheck
{
namespace
{
using Json = nlohmann::json;

/// A folder for one agent's files; removed with all that is in it.
class RunFolder
{
public:
    RunFolder()
        : m_path(std::filesystem::temp_directory_path() /
                 ("linkwell-hostcheck-" + std::to_string(GetCurrentProcessId())))
    {
        std::filesystem::create_directories(m_path);
    }
    ~RunFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    [[nodiscard]] std::filesystem::path file(const char* name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

/// Two stores whose contacts have semicolons, line feeds, and characters beyond 16 bits.
[[nodiscard]] Json mailbox()
{
    const auto store = [](const char* name, const Json& contacts)
    {
        return Json{{"name", name},
                    {"folders", {{{"name", "Contacts"}, {"class", "IPF.Contact"}, {"messages", contacts}}}}};
    };
    return {
        {"stores",
         {store("Mailbox", {{{"displayName", "Gr\xC3\xBCn; M\xC3\xBCller; Partner"}, {"company", "Hall 3\nStand 12"}},
                            {{"displayName", "\xF0\x9F\x8C\x8D"}, {"email", "world@example.com"}}}),
          store("Archive", {{{"displayName", "Ola Lind"}, {"mobilePhone", "+49 170 2222"}}})}}};
}

/// What is done to it while the agent runs: each is a message, the last one two.
[[nodiscard]] std::vector<Json> edits()
{
    return {{{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "Mia"}}}},
            {{"do", "editContact"}, {"contact", "Mailbox/Contacts/Mia"}, {"set", {{"company", "Roth; Partner"}}}},
            {{"do", "delete"}, {"object", "Archive/Contacts/Ola Lind"}},
            {{"do", "delete"}, {"object", "Archive/Contacts"}}};
}

/// The records of the agent's log, which other programs may still have open.
[[nodiscard]] std::string logOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

[[nodiscard]] std::size_t countOf(const std::string& text, std::string_view words)
{
    std::size_t times = 0;
    for (auto at = text.find(words); at != std::string::npos; at = text.find(words, at + 1))
        ++times;
    return times;
}

/// What the agent's code for the pipe has said last; empty if it has said nothing.
[[nodiscard]] std::string lastOfPipe(const std::string& log)
{
    const auto start = log.rfind("NamedPipe::");
    return start == std::string::npos ? std::string()
                                      : ": " + log.substr(start, log.find_first_of("\r\n", start) - start);
}

/// Asks the agent to close, once it has its window.
void close(const HostProcess& agent)
{
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, L"CorvenaLinkwellWindow", nullptr)) != nullptr)
    {
        DWORD id = 0;
        GetWindowThreadProcessId(window, &id);
        if (id == agent.id())
            PostMessageW(window, WM_CLOSE, 0, 0);
    }
}

/// Waits for the snapshot's end, then edits the mailbox; throws when the sandbox or the agent goes.
void editMailbox(const std::wstring& controlPipe, Milliseconds timeout)
{
    sandbox::ControlClient control(controlPipe, timeout);
    control.request({{"do", "wait"}, {"for", "advised"}, {"count", 2}, {"timeout", timeout.count()}});
    for (const Json& edit : edits())
    {
        control.request(edit);
        control.request({{"do", "wait"}, {"for", "idle"}, {"timeout", timeout.count()}});
    }
}
} // namespace

Outcome checkRestart(Subject& subject)
{
    if (!subject.isStarted())
        return {Result::NotTried, "the host was not started here; name it behind --"};
    {
        const auto client = subject.connect();
        client->startWrite(framed(oneContact).substr(0, 20));
        (void)client->isWritten(subject.options().timeout);
        subject.stop();
    }
    const auto start = Clock::now();
    subject.start();
    subject.exchange();
    return {Result::Right, "after " + std::to_string(since(start).count()) + " ms"};
}

Outcome checkAgent(Subject& subject)
{
    const SubjectOptions& options = subject.options();
    if (options.agent.empty())
        return {Result::NotTried, "no agent was named by --agent"};
    const RunFolder folder;
    const std::wstring controlPipe = L"linkwell-hostcheck-" + std::to_wstring(GetCurrentProcessId());
    std::ofstream(folder.file("mailbox.json")) << mailbox().dump();
    SetEnvironmentVariableW(L"LINKWELL_SANDBOX_MAILBOX", folder.file("mailbox.json").c_str());
    SetEnvironmentVariableW(L"LINKWELL_SANDBOX_CONTROL", controlPipe.c_str());
    const std::filesystem::path log = folder.file("agent.log");
    std::string problem;
    bool hasEnded = false;
    {
        const HostProcess agent({options.agent, L"/log=" + log.wstring()}, {});
        try
        {
            editMailbox(controlPipe, options.timeout);
        }
        catch (const std::exception& error)
        {
            problem = error.what();
        }
        close(agent);
        hasEnded = agent.ends(count(options.timeout));
    }
    const std::string text = logOf(log);
    const std::size_t sent = countOf(text, "Sending data:");
    if (text.find("Unable to send data through ipc channel") != std::string::npos)
        return {Result::Wrong, "message " + std::to_string(sent) + " was refused" + lastOfPipe(text)};
    if (!problem.empty())
        return {Result::Wrong, "the sandbox: " + problem};
    if (!hasEnded)
        return {Result::Wrong, "it was asked to close, and did not"};
    return {Result::Right, std::to_string(sent) + " messages"};
}
} // namespace hostcheck

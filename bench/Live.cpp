#include "bench/Live.h"

#include <iterator>
#include <stdexcept>

namespace bench
{
TimingHost::TimingHost()
    : m_host({.takes = [this](const std::string& text)
              {
                  const Clock::time_point time = Clock::now();
                  const std::lock_guard lock(m_mutex);
                  m_arrivals.push_back({time, text});
                  if (m_arrivals.size() >= m_wanted)
                      m_changed.notify_one();
                  return true;
              }})
{
}

std::vector<Arrival> TimingHost::take(std::size_t count, HANDLE sender)
{
    constexpr std::chrono::seconds look{1}; // whether the sender still lives
    const Clock::time_point latest = Clock::now() + patience;
    std::unique_lock lock(m_mutex);
    m_wanted = count;
    while (!m_changed.wait_for(lock, look, [&] { return m_arrivals.size() >= count; }))
    {
        if (Clock::now() > latest || WaitForSingleObject(sender, 0) == WAIT_OBJECT_0)
            throw std::runtime_error("only " + std::to_string(m_arrivals.size()) + " of " + std::to_string(count) +
                                     " messages have come");
    }
    const auto end = m_arrivals.begin() + static_cast<std::ptrdiff_t>(count);
    std::vector<Arrival> taken(std::make_move_iterator(m_arrivals.begin()), std::make_move_iterator(end));
    m_arrivals.erase(m_arrivals.begin(), end);
    return taken;
}

LiveProcess::LiveProcess(TimingHost& host, Party party, const std::string& mailbox)
    : m_host(host),
      m_party(party),
      m_environment(environment(mailbox)),
      m_process(L"/log=" + m_logFile, m_folder.file(L"errors.txt"),
                party == Party::Agent ? endtoend::agentProgram() : endtoend::programFolder() / L"linkwell_watcher.exe"),
      m_control(m_pipe, patience)
{
    wait({{"for", "advised"}, {"count", 1}});
    wait({{"for", "idle"}});
    if (party == Party::Agent)
        (void)take();
}

std::list<support::EnvironmentVariable> LiveProcess::environment(const std::string& mailbox) const
{
    support::writeBytes(m_folder.file(L"mailbox.json"), mailbox);
    std::list<support::EnvironmentVariable> variables;
    variables.emplace_back(L"LINKWELL_SANDBOX_DLL", (endtoend::programFolder() / L"LinkwellSandbox.dll").wstring());
    variables.emplace_back(L"LINKWELL_SANDBOX_MAILBOX", m_folder.file(L"mailbox.json"));
    variables.emplace_back(L"LINKWELL_SANDBOX_REPORT", m_folder.file(L"report.txt"));
    variables.emplace_back(L"LINKWELL_SANDBOX_CONTROL", m_pipe);
    return variables;
}

void LiveProcess::wait(Json request)
{
    request["do"] = "wait";
    request["timeout"] = std::chrono::milliseconds(patience).count();
    ask(request);
}

void LiveProcess::close()
{
    const bool isAsked =
        m_party == Party::Agent ? m_process.postToWindow(WM_CLOSE) : m_process.postToMainThread(WM_QUIT);
    const std::string name = nameOf(m_party);
    if (!isAsked || m_process.waitForExit() != DWORD{0})
        throw std::runtime_error(name + " does not end in order");
    if (const std::string errors = support::readBytes(m_folder.file(L"errors.txt")); !errors.empty())
        throw std::runtime_error(name + " has written to standard error: " + errors);
    if (const std::string report = support::readBytes(m_folder.file(L"report.txt")); report != "Nothing is held.\n")
        throw std::runtime_error("at the end of " + name + ": " + report);
}
} // namespace bench

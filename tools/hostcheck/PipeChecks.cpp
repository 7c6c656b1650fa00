#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <cstddef>
#include <future>
#include <memory>

#include "tools/hostcheck/Check.h"

namespace hostcheck
{
namespace
{
using namespace std::chrono_literals;

constexpr DWORD wantedInstances = 4;
constexpr Milliseconds wantedTimeout{500};
/// Within this time a host puts new instances in place of those that are taken, if it ever does.
constexpr Milliseconds replacementTime{500};
/// A host that has taken so many clients at once never runs out of instances.
constexpr std::size_t mostClients = 16;
constexpr DWORD writeRights =
    FILE_WRITE_DATA | FILE_APPEND_DATA | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;
constexpr DWORD readRights = FILE_READ_DATA | GENERIC_READ;

struct LocalFreer
{
    void operator()(void* memory) const noexcept { LocalFree(memory); }
};
template <class Type>
using LocalMemory = std::unique_ptr<Type, LocalFreer>;

using Clients = std::vector<std::unique_ptr<Client>>;

/// Connects until all instances are busy, or there are enough.
[[nodiscard]] Clients takeAllInstances(Subject& subject)
{
    Clients clients;
    do
    {
        clients.push_back(subject.connect());
    } while (clients.size() < mostClients && becomesFree(subject.path(), count(replacementTime)));
    return clients;
}

/// Sends something on all of them before any answer is waited for, as the host may serve them in any order.
void leaveAll(Subject& subject, Clients& clients)
{
    try
    {
        if (!subject.firstMessage().pieces.empty())
        {
            for (const auto& client : clients)
                client->startWrite(framed(oneContact));
            for (auto& client : clients)
            {
                subject.takeAnswer(*client);
                client.reset(); // a host that serves one client at a time waits for that
            }
        }
    }
    catch (const Problem&) // there are checks for that
    {
    }
    clients.clear();
}

[[nodiscard]] std::string text(PSID sid)
{
    char* result = nullptr;
    if (!ConvertSidToStringSidA(sid, &result))
        return "(unreadable SID)";
    return LocalMemory<char>(result).get();
}

/// The SID of the user of this process.
[[nodiscard]] std::string currentUser()
{
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
        sandbox::throwLastError("OpenProcessToken");
    const sandbox::KernelHandle owned(token);
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user;
    DWORD size = 0;
    if (!GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()), &size))
        sandbox::throwLastError("GetTokenInformation");
    return text(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
}

struct Rights
{
    bool userMayWrite = false;
    std::string othersMayWrite; // their SIDs; administrators and the system aren't counted, as they may take any right
    std::string othersMayRead;
};

[[nodiscard]] Rights rightsOf(ACL& list)
{
    Rights rights;
    const std::string user = currentUser();
    for (DWORD index = 0; index < list.AceCount; ++index)
    {
        void* entry = nullptr;
        if (!GetAce(&list, index, &entry) || static_cast<ACE_HEADER*>(entry)->AceType != ACCESS_ALLOWED_ACE_TYPE)
            continue;
        auto& allowed = *static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const PSID sid = &allowed.SidStart;
        const bool mayWrite = (allowed.Mask & writeRights) != 0;
        if (text(sid) == user)
            rights.userMayWrite = rights.userMayWrite || mayWrite;
        else if (!IsWellKnownSid(sid, WinLocalSystemSid) && !IsWellKnownSid(sid, WinBuiltinAdministratorsSid))
        {
            if (mayWrite)
                rights.othersMayWrite += ' ' + text(sid);
            else if ((allowed.Mask & readRights) != 0)
                rights.othersMayRead += ' ' + text(sid);
        }
    }
    return rights;
}

[[nodiscard]] Outcome judge(PSECURITY_DESCRIPTOR descriptor)
{
    BOOL isPresent = FALSE;
    BOOL isDefault = FALSE;
    ACL* list = nullptr;
    if (!GetSecurityDescriptorDacl(descriptor, &isPresent, &list, &isDefault))
        return {Result::Note, "not seen: GetSecurityDescriptorDacl failed, error " + std::to_string(GetLastError())};
    if (!isPresent)
        return {Result::Wrong, "it has no list of its own"};
    if (list == nullptr)
        return {Result::Wrong, "its list is empty of entries in the way that allows everybody everything"};
    const Rights rights = rightsOf(*list);
    if (!rights.othersMayWrite.empty())
        return {Result::Wrong, "these may write, too:" + rights.othersMayWrite};
    if (!rights.userMayWrite)
        return {Result::Wrong, "it does not name the user's own SID"};
    if (!rights.othersMayRead.empty())
        return {Result::Note, "these may open it for reading, and so keep instances busy:" + rights.othersMayRead};
    return {};
}
} // namespace

Outcome checkInstances(Subject& subject)
{
    const auto client = subject.connect();
    DWORD most = 0;
    DWORD there = 0;
    const auto start = Clock::now();
    do
    {
        if (!GetNamedPipeHandleStateW(client->handle(), nullptr, &there, nullptr, nullptr, nullptr, 0) ||
            !GetNamedPipeInfo(client->handle(), nullptr, nullptr, nullptr, &most))
            return {Result::Note, "not seen: error " + std::to_string(GetLastError())};
    } while (there < wantedInstances && since(start) < replacementTime && (Sleep(10), true));
    subject.leave(*client);
    return {there < wantedInstances ? Result::Wrong : Result::Right,
            std::to_string(there) + " with one client connected" +
                (most >= PIPE_UNLIMITED_INSTANCES ? ", no maximum" : ", at most " + std::to_string(most))};
}

Outcome checkDefaultTimeout(Subject& subject)
{
    Clients clients = takeAllInstances(subject);
    if (clients.size() == mostClients)
    {
        leaveAll(subject, clients);
        return {Result::Note, "not seen: the host has taken " + std::to_string(mostClients) + " clients at once"};
    }
    const auto start = Clock::now();
    bool waited = false;
    auto wait = std::async(std::launch::async,
                           [&]
                           {
                               waited = becomesFree(subject.path(), NMPWAIT_USE_DEFAULT_WAIT);
                               return since(start);
                           });
    const bool isOver = wait.wait_for(wantedTimeout) == std::future_status::ready;
    leaveAll(subject, clients); // so that the wait comes to its end
    const Milliseconds time = wait.get();
    if (isOver && !waited)
        return {Result::Wrong, "it is " + std::to_string(time.count()) + " ms"};
    return {Result::Right, "it is more than that"};
}

Outcome checkSquat(Subject& subject)
{
    const HANDLE pipe = CreateNamedPipeW(subject.path().c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                                         PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                                         PIPE_UNLIMITED_INSTANCES, 4096, 4096, 0, nullptr);
    if (pipe == INVALID_HANDLE_VALUE)
        return {Result::Right, "CreateNamedPipe was refused, error " + std::to_string(GetLastError())};
    CloseHandle(pipe);
    return {Result::Wrong, "CreateNamedPipe has made one: the agent's next message might have gone there"};
}

Outcome checkAccessList(Subject& subject)
{
    const auto client = subject.connect();
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD error = GetSecurityInfo(client->handle(), SE_KERNEL_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                                        nullptr, nullptr, &descriptor);
    const LocalMemory<void> owned(descriptor);
    subject.leave(*client);
    if (error != ERROR_SUCCESS)
        return {Result::Note, "not seen: GetSecurityInfo failed, error " + std::to_string(error)};
    return judge(descriptor);
}

Outcome checkRemote(Subject& subject)
{
    // Through the network, if only that of this machine.
    const std::wstring path = L"\\\\localhost\\pipe\\" + subject.options().pipeName;
    try
    {
        Client client(path, 0ms);
        subject.leave(client);
        return {Result::Wrong, "a client by way of \\\\localhost has come in"};
    }
    catch (const Problem& problem)
    {
        return {problem.error() == ERROR_ACCESS_DENIED ? Result::Right : Result::Note,
                "by way of \\\\localhost, " + std::string(problem.what())};
    }
}
} // namespace hostcheck

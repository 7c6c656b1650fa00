// Known folders: what it takes to register them, to search them and to find out which are gone, in this process on the
// sandbox: the agent's classes beside the calls that they can't do without.
#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/ContactWatcher.h"
#include "agent/KnownFolders.h"
#include "agent/mapi/MapiSession.h"
#include "bench/Observation.h"
#include "bench/Turns.h"
#include "bench/floor/Reading.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/Platform.h"
#include "tests/support/Pump.h"
#include "tests/support/sandbox/RegisteredSandbox.h"
#include "tests/support/sandbox/SandboxDll.h"
#include "utilities/Exception.h"

namespace bench
{
namespace
{
using Clock = std::chrono::steady_clock;
using Json = nlohmann::json;
using sandboxtest::RegisteredSandbox;

std::string identifier(unsigned number)
{
    char text[80];
    std::snprintf(text, sizeof(text), "00000000A1B2C3D4E5F60718293A4B5C6D7E8F900100%08X0000", number);
    return text;
}

/// The numbers of so many folders in no order, as that of the identifiers of real stores.
std::vector<unsigned> numbersOf(unsigned count)
{
    std::vector<unsigned> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 1U);
    std::ranges::shuffle(numbers, std::mt19937(count));
    return numbers;
}

void expectKnown(bool isKnown)
{
    if (!isKnown)
        throw std::runtime_error("a folder that is known is not found");
}

/// One folder with so many contact folders in it.
std::string mailboxOf(unsigned count)
{
    Json folders = Json::array();
    for (const unsigned number : numbersOf(count))
        folders.push_back({{"name", "Folder"}, {"class", "IPF.Contact"}, {"entryId", identifier(number)}});
    const Json all = {{"name", "All"}, {"class", "IPF.Note"}, {"folders", folders}};
    const Json store = {{"name", "Mailbox"}, {"ipmSubtree", {{"class", "IPF.Note"}}}, {"folders", {all}}};
    return Json{{"stores", {store}}}.dump();
}

/// The identifiers of those folders, in the order of the mailbox.
std::vector<EntryId> identifiersOf(unsigned count)
{
    std::vector<EntryId> ids;
    for (const unsigned number : numbersOf(count))
    {
        const std::string text = identifier(number);
        EntryId& id = ids.emplace_back();
        for (std::size_t at = 0; at < text.size(); at += 2)
            id.push_back(static_cast<BYTE>(std::stoi(text.substr(at, 2), nullptr, 16)));
    }
    return ids;
}

/// What the parties are asked to do, in this order, of folders of one number, and who did it.
class Report
{
public:
    Report(Party party, unsigned count) : m_party(party), m_count(count) {}

    template <class Action>
    void measure(const char* figure, Action action) const
    {
        const Clock::time_point start = Clock::now();
        action();
        const std::chrono::duration<double, std::milli> time = Clock::now() - start;
        observe(figure, nameOf(m_party), m_count, time.count(), "ms");
    }
    template <class Action>
    void registering(Action action) const
    {
        measure("folders registered", action);
    }
    template <class Action>
    void searching(Action action) const
    {
        measure("folders searched", action);
    }
    /// `gone` counts those that the action has found to be gone.
    template <class Action>
    void comparing(const RegisteredSandbox& sandbox, const std::size_t& gone, Action action) const
    {
        remove(sandbox, '#' + identifier(1));
        measure("one folder gone", action);
        expectGone(gone, 1);
        remove(sandbox, "Mailbox/All");
        measure("all folders gone", action);
        expectGone(gone, m_count);
    }

private:
    static void remove(const RegisteredSandbox& sandbox, const std::string& path)
    {
        sandbox.dll().request({{"do", "delete"}, {"object", path}});
    }
    static void expectGone(std::size_t actual, std::size_t expected)
    {
        if (actual != expected)
            throw std::runtime_error(std::to_string(actual) + " folders were found gone instead of " +
                                     std::to_string(expected));
    }

    const Party m_party;
    const unsigned m_count;
};

/// The session of the agent's code in this process.
class AgentSession
{
public:
    AgentSession() { mapi::Session::open(); }
    ~AgentSession()
    {
        mapi::Session::logoff();
        mapi::Session::s_session = nullptr;
    }
    [[nodiscard]] static mapi::MessageStore openStore()
    {
        EntryId id;
        mapi::Session::enumerateStores([&id](const mapi::MsgStoreInfo& info) { id = info.entryId; });
        return mapi::MessageStore(mapi::Session::openStore(mapi::entryIdSize(id), mapi::entryIdBytes(id)));
    }

private:
    mapi::Session m_initialized;
};

void takeAgent(const RegisteredSandbox& sandbox, const std::vector<EntryId>& ids)
{
    const Report report(Party::Agent, static_cast<unsigned>(ids.size()));
    const AgentSession session;
    std::size_t gone = 0;
    ContactWatcher watcher(AgentSession::openStore(), L"Mailbox");
    report.registering(
        [&] { watcher.subscribe([&gone](const Changes& changes) { gone += changes.deletedFolders.size(); }); });

    KnownFolders known; // the watcher's own can't be reached
    for (const EntryId& id : ids)
        known.insert(id);
    report.searching([&]
                     { expectKnown(std::ranges::all_of(ids, [&](const EntryId& id) { return known.contains(id); })); });
    report.comparing(sandbox, gone, support::pumpOnce); // the notification comes by the pump
}

/// A sorted list that asks MAPI as KnownFolders has to: at each member that is visited, and once more about the one found.
class BareFolders
{
public:
    explicit BareFolders(IMAPISession& session) : m_session(&session) {}

    void insert(EntryId id)
    {
        const auto [place, isFound] = find(id);
        if (!isFound)
            m_members.insert(m_members.begin() + place, std::move(id));
    }
    [[nodiscard]] bool contains(const EntryId& id) const { return find(id).second; }
    [[nodiscard]] std::size_t size() const noexcept { return m_members.size(); }
    template <class Condition>
    void eraseIf(Condition condition)
    {
        std::erase_if(m_members, condition);
    }

private:
    [[nodiscard]] std::pair<std::ptrdiff_t, bool> find(const EntryId& id) const
    {
        const auto bound = std::partition_point(m_members.begin(), m_members.end(), [&](const EntryId& member)
                                                { return !isSame(member, id) && member < id; });
        return {bound - m_members.begin(), bound != m_members.end() && (isSame(id, *bound) || !(id < *bound))};
    }
    [[nodiscard]] bool isSame(const EntryId& one, const EntryId& other) const
    {
        ULONG same = 0;
        check(m_session->CompareEntryIDs(static_cast<ULONG>(one.size()), mapi::entryIdBytes(one),
                                         static_cast<ULONG>(other.size()), mapi::entryIdBytes(other), 0, &same),
              "CompareEntryIDs");
        return same != 0;
    }

    IMAPISession* m_session;
    std::vector<EntryId> m_members;
};

[[nodiscard]] EntryId identifierOf(const Runtime& runtime, IMAPIFolder& folder)
{
    SPropValue* value = nullptr;
    check(runtime.getOneProp(&folder, PR_ENTRYID, &value), "HrGetOneProp");
    const EntryId id(value->Value.bin.lpb, value->Value.bin.lpb + value->Value.bin.cb);
    runtime.freeBuffer(value);
    return id;
}

void takeFloor(const RegisteredSandbox& sandbox, const std::vector<EntryId>& ids)
{
    const Report report(Party::Floor, static_cast<unsigned>(ids.size()));
    const Runtime runtime = Runtime::load();
    Reader reader(runtime);
    BareFolders known(reader.session());
    report.registering(
        [&]
        {
            reader.visitFolders(
                [&](IMAPIFolder& folder)
                {
                    if (reader.isContactFolder(folder))
                        known.insert(identifierOf(runtime, folder));
                });
        });
    report.searching([&]
                     { expectKnown(std::ranges::all_of(ids, [&](const EntryId& id) { return known.contains(id); })); });
    std::size_t gone = 0;
    report.comparing(sandbox, gone,
                     [&]
                     {
                         BareFolders present(reader.session());
                         reader.visitFolders([&](IMAPIFolder& folder)
                                             { present.insert(identifierOf(runtime, folder)); });
                         known.eraseIf([&](const EntryId& id) { return !present.contains(id); });
                         gone = ids.size() - known.size();
                     });
}

void measure()
{
    const RegisteredSandbox sandbox;
    const support::EnvironmentVariable dll(L"LINKWELL_SANDBOX_DLL",
                                           sandboxtest::besideThisProgram(L"LinkwellSandbox.dll"));
    for (const unsigned count : isQuick() ? std::vector{100U, 2'000U} : std::vector{1'000U, 20'000U})
    {
        const std::string mailbox = mailboxOf(count);
        const std::vector<EntryId> ids = identifiersOf(count);
        for (unsigned run = 0; run < runs(); ++run)
        {
            for (const Party party : inTurns(run))
            {
                sandbox.serve(mailbox);
                (party == Party::Agent ? takeAgent : takeFloor)(sandbox, ids);
            }
        }
    }
}

/// The agent's own failures, too, in the words of the others.
void measureOrThrow()
{
    try
    {
        measure();
    }
    catch (const utilities::exception& failure)
    {
        throw std::runtime_error(std::filesystem::path(failure.what()).string());
    }
}
} // namespace
} // namespace bench

int main()
{
    return bench::runBench(bench::measureOrThrow);
}

// Much at once: very many changes one by one, the same in one batch, and a folder that appears with all its contacts.
#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Edits.h"
#include "bench/Live.h"
#include "bench/Observation.h"

namespace bench
{
namespace
{
/// What came of one burst.
struct Burst
{
    double time = 0;   // milliseconds from the moment when the worker may begin to the last whole message
    double memory = 0; // bytes that the process had at most, beyond those before: what waits counts as before
    std::vector<Arrival> messages;
};

[[nodiscard]] PROCESS_MEMORY_COUNTERS memoryOf(HANDLE process)
{
    PROCESS_MEMORY_COUNTERS counters{};
    if (!GetProcessMemoryInfo(process, &counters, sizeof(counters)))
        support::throwLastError("GetProcessMemoryInfo");
    return counters;
}

/// Holds the worker in the first call that it makes for a change, has the sandbox do the requests, and lets go: so all of it
/// waits at that moment, and what the sandbox takes to do it does not count.
class Held
{
public:
    Held(TimingHost& host, Party party, const Edits& edits) : m_process(host, party, edits.mailbox())
    {
        ask({{"do", "plan"}, {"method", "IMsgStore::OpenEntry"}, {"hold", "burst"}});
    }

    void ask(const Json& request) { m_process.ask(request); }
    void waitUntilHeld() { m_process.waitUntilHeld("burst"); }
    [[nodiscard]] Burst release(std::size_t messages)
    {
        const PROCESS_MEMORY_COUNTERS before = memoryOf(m_process.process());
        const Clock::time_point start = Clock::now();
        ask({{"do", "release"}, {"hold", "burst"}});
        Burst burst;
        std::size_t most = before.WorkingSetSize;
        while (burst.messages.size() < messages)
        {
            constexpr std::size_t looks = 100;
            const std::size_t next = std::min(messages - burst.messages.size(), messages / looks + 1);
            std::ranges::move(m_process.take(next), std::back_inserter(burst.messages));
            most = std::max<std::size_t>(most, memoryOf(m_process.process()).WorkingSetSize);
        }
        burst.time = Milliseconds(burst.messages.back().time - start).count();
        // What the process has had at most may be of its start: the agent's snapshot has all contacts.
        if (const auto peak = memoryOf(m_process.process()).PeakWorkingSetSize; peak > before.PeakWorkingSetSize)
            most = peak;
        burst.memory = static_cast<double>(most - before.WorkingSetSize);
        m_process.close();
        return burst;
    }

private:
    LiveProcess m_process;
};

Burst oneByOne(TimingHost& host, Party party, std::size_t count)
{
    Edits edits(count); // each is edited once: what is read of it is what it has by then
    Held held(host, party, edits);
    std::vector<std::string> expected;
    for (std::size_t number = 0; number < count; ++number)
    {
        held.ask(edits.next());
        expected.push_back(edits.message());
        if (number == 0)
            held.waitUntilHeld();
    }
    Burst burst = held.release(count);
    for (std::size_t number = 0; number < count; ++number)
        expectMessage(burst.messages[number].text, expected[number]);
    return burst;
}

Burst inOneBatch(TimingHost& host, Party party, std::size_t count)
{
    Edits edits(count + 1);
    Held held(host, party, edits);
    held.ask(edits.next());
    held.waitUntilHeld();
    const std::string first = edits.message();
    Json requests = Json::array();
    std::vector<std::string> lines;
    for (std::size_t number = 0; number < count; ++number)
    {
        requests.push_back(edits.next());
        lines.push_back(edits.line());
    }
    held.ask({{"do", "batch"}, {"requests", requests}});
    Burst burst = held.release(2);
    expectMessage(burst.messages[0].text, first);
    expectMessage(burst.messages[1].text, endtoend::change("change", "contact", lines));
    return burst;
}

Burst newFolder(TimingHost& host, Party party, std::size_t count)
{
    Held held(host, party, Edits(1));
    held.ask({{"do", "addFolder"},
              {"parent", "Mailbox"},
              {"folder", {{"name", "New"}, {"class", "IPF.Contact"}, {"generate", {{"contacts", count}}}}}});
    held.waitUntilHeld();
    Burst burst = held.release(1);
    const std::string& text = burst.messages[0].text;
    if (static_cast<std::size_t>(std::ranges::count(text, '\n')) != count)
        throw std::runtime_error("not all contacts of the new folder have come");
    return burst;
}

void measure(const std::string& figure, Burst (*make)(TimingHost&, Party, std::size_t), std::size_t count)
{
    TimingHost host;
    for (unsigned run = 0; run < runs(); ++run)
    {
        std::array<std::string, 2> lasts;
        for (const Party party : inTurns(run))
        {
            Burst burst = make(host, party, count);
            observe(figure, nameOf(party), static_cast<double>(count), burst.time, "ms");
            observe(figure + " memory", nameOf(party), static_cast<double>(count), burst.memory / 1e6, "MB");
            lasts[static_cast<std::size_t>(party)] = std::move(burst.messages.back().text);
        }
        expectMessage(lasts[0], lasts[1]);
    }
}

void measureAll()
{
    const std::array<std::size_t, 2> counts =
        isQuick() ? std::array<std::size_t, 2>{200, 2'000} : std::array<std::size_t, 2>{2'000, 20'000};
    for (const std::size_t count : counts)
    {
        measure("burst", oneByOne, count);
        measure("batch", inOneBatch, count);
        measure("new folder", newFolder, count);
    }
}
} // namespace
} // namespace bench

int main()
{
    return bench::runBench(bench::measureAll);
}

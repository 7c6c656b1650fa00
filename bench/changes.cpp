// How long a change takes from the store to the host, beside the floor's watcher, the pump's period and a bare exchange.
#include <windows.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <thread>
#include <vector>

#include "bench/Edits.h"
#include "bench/Live.h"
#include "bench/Observation.h"
#include "bench/floor/Output.h"

namespace bench
{
namespace
{
using std::chrono::milliseconds;

/// In one run; seven of them are 10,000 and more.
std::size_t perRun()
{
    return isQuick() ? 250 : 1'430;
}

double quantile(std::vector<double> values, double share)
{
    std::ranges::sort(values);
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

/// Lets a time pass that has nothing to do with the pump's period: up to three milliseconds, also parts of one.
void pause()
{
    static std::mt19937 s_random(1);
    const auto end = Clock::now() + std::chrono::microseconds(s_random() % 3000);
    while (end - Clock::now() > milliseconds(1))
        std::this_thread::sleep_for(milliseconds(1));
    while (Clock::now() < end)
    {
    }
}

/// When the sandbox handed on the notification of an edit, by its answer.
Clock::time_point notifiedAt(const Json& answer)
{
    LARGE_INTEGER frequency{};
    LARGE_INTEGER now{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&now);
    const auto ticks = static_cast<double>(now.QuadPart - answer.at("notified").get<LONGLONG>());
    const std::chrono::duration<double> age(ticks / static_cast<double>(frequency.QuadPart));
    return Clock::now() - std::chrono::duration_cast<Clock::duration>(age);
}

/// In one run, each from its notification to the whole message. Milliseconds.
std::vector<double> measureChanges(TimingHost& host, Party party)
{
    Edits edits(500);
    LiveProcess process(host, party, edits.mailbox());
    std::vector<double> times;
    for (std::size_t number = 0; number < perRun(); ++number)
    {
        const Json request = edits.next();
        pause();
        const Clock::time_point start = notifiedAt(process.ask(request));
        const Arrival arrival = process.take();
        expectMessage(arrival.text, edits.message());
        times.push_back(Milliseconds(arrival.time - start).count());
    }
    process.close();
    return times;
}

std::vector<double> measureExchanges(TimingHost& host)
{
    Edits edits(1);
    (void)edits.next();
    const std::string text = edits.message();
    std::string message = std::string(4, '\0') + text;
    setLength(message);
    std::vector<double> times;
    for (std::size_t number = 0; number < perRun(); ++number)
    {
        pause();
        const Clock::time_point start = Clock::now();
        exchange(connect(), message);
        times.push_back(Milliseconds(Clock::now() - start).count());
        expectMessage(host.take(1).front().text, text);
    }
    return times;
}

/// Those of a loop that looks at its thread's messages, of which there are none, and sleeps as the agent's worker does.
std::vector<double> measurePeriods()
{
    std::vector<double> times;
    MSG message{};
    for (std::size_t number = 0; number < perRun(); ++number)
    {
        const Clock::time_point start = Clock::now();
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
        std::this_thread::sleep_for(milliseconds(1));
        times.push_back(Milliseconds(Clock::now() - start).count());
    }
    return times;
}

void measure()
{
    TimingHost host;
    const auto median = [](const char* figure, const char* of, const std::vector<double>& values)
    {
        observe(figure, of, 1, quantile(values, 0.5), "ms");
    };
    std::array<std::vector<double>, 2> all; // of each party
    for (unsigned number = 0; number < runs(); ++number)
    {
        for (const Party party : inTurns(number))
        {
            const std::vector<double> changes = measureChanges(host, party);
            median("change", nameOf(party), changes);
            std::ranges::copy(changes, std::back_inserter(all[static_cast<std::size_t>(party)]));
        }
        median("exchange", "bare", measureExchanges(host));
        median("pump period", "bare", measurePeriods());
    }
    for (const Party party : {Party::Agent, Party::Floor})
    {
        const std::vector<double>& changes = all[static_cast<std::size_t>(party)];
        observe("change 99th", nameOf(party), 1, quantile(changes, 0.99), "ms");
        observe("change slowest", nameOf(party), 1, quantile(changes, 1), "ms");
    }
}
} // namespace
} // namespace bench

int main()
{
    return bench::runBench(bench::measure);
}

// Messages of many megabytes, agent beside floor: time, and memory for each byte that is sent. Of contacts with a long text,
// on the runtime of bench/bare, which itself holds one of them.
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
constexpr unsigned megabyte = 1'000'000;
constexpr unsigned contactsOfMegabyte = 10;
constexpr unsigned otherLetters = 360; // of a contact's line, about

void measure()
{
    const bench::Pair least = bench::Turns::onBare(1).takeBoth(0, true);
    const std::vector sizes = bench::isQuick() ? std::vector{1U, 16U} : std::vector{1U, 16U, 64U, 200U};
    for (const unsigned megabytes : sizes)
    {
        bench::Turns turns =
            bench::Turns::onBare(megabytes * contactsOfMegabyte, megabyte / contactsOfMegabyte - otherLetters);
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            const bench::Pair pair = turns.takeBoth(run, true);
            bench::observe("message", "agent", megabytes, pair.agent.whole, "ms");
            bench::observe("message", "floor", megabytes, pair.floor.whole, "ms");
            observeMemory("message memory with a log", megabytes, pair, least);
            if (run == 0) // it does not vary
                observeMemory("message memory", megabytes, turns.takeBoth(run, false), least);
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

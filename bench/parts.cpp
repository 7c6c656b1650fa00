// The parts of a first snapshot, agent beside floor, on a runtime that costs next to nothing and so hides neither.
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
void observe(const char* of, unsigned contacts, const bench::Turn& turn, double calls)
{
    bench::observe("composing", of, contacts, turn.reading - calls, "ms");
    bench::observe("log", of, contacts, turn.log, "ms");
    bench::observe("pipe", of, contacts, turn.pipe, "ms");
    bench::observe("parts", of, contacts, turn.whole - calls, "ms");
}

void measure()
{
    const bench::Pair least = bench::Turns::onBare(1).takeBoth(0, true);
    const std::vector sizes =
        bench::isQuick() ? std::vector{10'000U} : std::vector{1'000U, 10'000U, 100'000U, 300'000U};
    for (const unsigned contacts : sizes)
    {
        bench::Turns turns = bench::Turns::onBare(contacts);
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            const bench::Pair pair = turns.takeBoth(run, true);
            const double calls = pair.floor.reading - pair.floor.composing;
            observe("agent", contacts, pair.agent, calls);
            observe("floor", contacts, pair.floor, calls);
            observeMemory("snapshot memory with a log", contacts, pair, least);
            if (run == 0) // it does not vary
                observeMemory("snapshot memory", contacts, turns.takeBoth(run, false), least);
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

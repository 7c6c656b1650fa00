// The parts of a first snapshot, agent beside floor and the floor with texts, on a runtime that costs next to nothing and so
// hides none.
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
void measure()
{
    const bench::Round least = bench::Turns::onBare(1).takeAll(0, true);
    const std::vector sizes =
        bench::isQuick() ? std::vector{10'000U} : std::vector{1'000U, 10'000U, 100'000U, 300'000U};
    for (const unsigned contacts : sizes)
    {
        bench::Turns turns = bench::Turns::onBare(contacts);
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            const bench::Round round = turns.takeAll(run, true);
            const double calls = round.floor.reading - round.floor.composing;
            observeTime("composing", contacts, round, &bench::Turn::reading, calls);
            observeTime("log", contacts, round, &bench::Turn::log);
            observeTime("pipe", contacts, round, &bench::Turn::pipe);
            observeTime("parts", contacts, round, &bench::Turn::whole, calls);
            observeMemory("snapshot memory with a log", contacts, round, least);
            if (run == 0) // it does not vary
                observeMemory("snapshot memory", contacts, turns.takeAll(run, false), least);
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

// Messages of many megabytes, agent beside both floors: time, and memory for each byte that is sent. Of contacts with a long text,
// on the runtime of bench/bare, which itself holds one of them.
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
constexpr unsigned megabyte = 1'000'000;
constexpr unsigned contactsOfMegabyte = 10;
constexpr unsigned otherLetters = 360; // of a contact's line, about
constexpr unsigned letters = megabyte / contactsOfMegabyte - otherLetters;

void measure()
{
    const bench::Round least = bench::Turns::onBare(1, letters).takeAll(0, true);
    const std::vector sizes = bench::isQuick() ? std::vector{1U, 16U} : std::vector{1U, 16U, 64U, 200U};
    for (const unsigned megabytes : sizes)
    {
        bench::Turns turns = bench::Turns::onBare(megabytes * contactsOfMegabyte, letters);
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            const bench::Round round = turns.takeAll(run, true);
            observeTime("message", megabytes, round, &bench::Turn::whole);
            observeMemory("message memory with a log", megabytes, round, least);
            if (run == 0) // it does not vary
                observeMemory("message memory", megabytes, turns.takeAll(run, false), least);
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

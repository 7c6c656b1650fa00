// The first snapshot of mailboxes of many sizes on the sandbox, agent beside both floors, and what the sandbox takes of them.
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
void measure()
{
    const std::vector sizes =
        bench::isQuick() ? std::vector{1'000U, 10'000U} : std::vector{1'000U, 10'000U, 100'000U, 300'000U};
    for (const unsigned contacts : sizes)
    {
        bench::Turns turns = bench::Turns::onSandbox(contacts);
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            const bench::Round round = turns.takeAll(run, true);
            const bench::Turn& floor = round.floor;
            observeTime("snapshot", contacts, round, &bench::Turn::whole);
            bench::observe("snapshot calls", "sandbox", contacts, floor.reading - floor.composing, "ms");
            bench::observe("mailbox memory", "sandbox", contacts, static_cast<double>(floor.mailbox) / 1e6, "MB");
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

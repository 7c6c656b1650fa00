// From the start of the process to its first connection, agent beside floor, for a mailbox of one contact; and the size of the
// program.
#include <filesystem>

#include "bench/Observation.h"
#include "bench/Turns.h"
#include "tests/endtoend/AgentProcess.h"

namespace
{
void measure()
{
    bench::Turns turns = bench::Turns::onSandbox(1);
    for (unsigned run = 0; run < bench::runs(); ++run)
    {
        for (const bench::Party party : bench::inTurns(run))
            bench::observe("start", bench::nameOf(party), 1, turns.take(party, true).toConnection, "ms");
    }
    const auto bytes = static_cast<double>(std::filesystem::file_size(endtoend::agentProgram()));
    bench::observe("program size", "agent", 1, bytes / 1000, "KB");
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

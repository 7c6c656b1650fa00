// The first snapshot of mailboxes of many sizes, agent beside floor.
#include <array>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Observation.h"
#include "bench/Turns.h"

namespace
{
using bench::Party;
using bench::Turn;

std::string mailboxOf(unsigned contacts)
{
    return R"({"stores": [{"name": "Mailbox", "default": true, "ipmSubtree": {"class": "IPF.Note"}, "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": )" +
           std::to_string(contacts) + "}}]}]}";
}

void report(unsigned contacts, Party party, const Turn& turn, const Turn& floor)
{
    const double calls = floor.reading - floor.composing;
    const auto bytes = static_cast<double>(turn.message.size());
    const char* const of = nameOf(party);
    bench::observe("snapshot", of, contacts, turn.whole, "ms");
    bench::observe("snapshot composing", of, contacts, turn.reading - calls, "ms");
    bench::observe("snapshot log", of, contacts, turn.log, "ms");
    bench::observe("snapshot pipe", of, contacts, turn.pipe, "ms");
    bench::observe("snapshot memory", of, contacts, static_cast<double>(turn.peak - floor.before) / bytes,
                   "bytes/byte");
}

void measure()
{
    const std::vector<unsigned> sizes =
        bench::isQuick() ? std::vector{1'000U, 10'000U} : std::vector{1'000U, 10'000U, 100'000U, 300'000U};
    for (const unsigned contacts : sizes)
    {
        bench::Turns turns(mailboxOf(contacts));
        for (unsigned run = 0; run < bench::runs(); ++run)
        {
            // Who comes first in a turn comes second in the next.
            const bool agentFirst = run % 2 == 0;
            std::array<Turn, 2> taken;
            for (const Party party :
                 {agentFirst ? Party::Agent : Party::Floor, agentFirst ? Party::Floor : Party::Agent})
                taken[static_cast<std::size_t>(party)] = turns.take(party, true);
            const auto& [agent, floor] = taken;
            if (agent.message != floor.message)
                throw std::runtime_error("agent and floor have sent different messages");
            report(contacts, Party::Agent, agent, floor);
            report(contacts, Party::Floor, floor, floor);
            bench::observe("snapshot calls", "sandbox", contacts, floor.reading - floor.composing, "ms");
            bench::observe("mailbox memory", "sandbox", contacts, static_cast<double>(floor.before) / 1e6, "MB");
        }
    }
}
} // namespace

int main()
{
    return bench::runBench(measure);
}

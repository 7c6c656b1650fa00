// A host misbehaves in each way at each message of the reference run.
#include <algorithm>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>

#include "tests/endtoend/sweep/Judge.h"
#include "tests/endtoend/sweep/ReferenceRun.h"
#include "tests/endtoend/sweep/Sweep.h"
#include "tests/support/Handle.h"
#include "tests/support/pipe/SequenceHost.h"

namespace endtoend::sweep
{
namespace
{
using support::SequenceHost;
using support::SequenceOptions;
using testing::IsEmpty;
using namespace std::chrono_literals;

constexpr int noStep = -1;

/// A message that the host has taken.
struct Taken
{
    std::string text;
    int step; // of the reference run; none for the snapshot

    bool operator==(const Taken&) const = default;
};

/// How a client is served wrongly, or slowly.
struct Manner
{
    const char* kind;
    void (*adapt)(SequenceOptions& options);
    bool isTaken = false; // the message counts as delivered all the same
};

bool refuse(const std::string& /*text*/)
{
    return false;
}

constexpr Manner manners[] = {
    {"goes at once",
     [](SequenceOptions& options)
     {
         options.readsLength = false;
     }},
    {"goes behind the length",
     [](SequenceOptions& options)
     {
         options.readsText = false;
     }},
    {"goes in the middle",
     [](SequenceOptions& options)
     {
         options.mostBytes = 10;
         options.takes = refuse;
     }},
    {"goes without an answer",
     [](SequenceOptions& options)
     {
         options.takes = refuse;
     }},
    {"is silent, and goes",
     [](SequenceOptions& options)
     {
         options.takes = [](const std::string&)
         {
             std::this_thread::sleep_for(100ms);
             return false;
         };
     }},
    {"answers with a part",
     [](SequenceOptions& options)
     {
         options.parts = {"ac"};
     }},
    {"answers with nothing",
     [](SequenceOptions& options)
     {
         options.parts = {""};
         options.waitsForClient = false;
     }},
    {"answers otherwise",
     [](SequenceOptions& options)
     {
         options.parts = {"nak"};
     }},
    {"answers at length",
     [](SequenceOptions& options)
     {
         options.parts = {"ack" + std::string(100, 'k')};
     }},
    {"reads by single bytes", [](SequenceOptions& options) { options.mostBytesAtOnce = 1; }, true},
    {"answers late",
     [](SequenceOptions& options)
     {
         options.takes = [take = options.takes](const std::string& text)
         {
             std::this_thread::sleep_for(100ms);
             return take(text);
         };
     },
     true},
};

/// How a host can't be reached.
struct Absence
{
    const char* kind;
    const char* error; // in the log
};
constexpr Absence notThere{"is not there", "0x2"};
constexpr Absence busy{"is busy", "0x3"}; // the error of the wait (settled behaviour 2)
constexpr Absence denying{"denies access", "0x5"};

/// The stores whose snapshots are messages, in their order.
constexpr const char* snapshotStores[] = {"Own", "Archive", "Public"};

class HostSweepTest : public ReferenceRunTest
{
protected:
    /// The reference run with a host that serves so.
    [[nodiscard]] AgentRun runWith(const SequenceOptions& options, const Json& plans = Json::array(),
                                   Interventions interventions = {})
    {
        m_options = options;
        m_options.takes = [this](const std::string& text)
        {
            const std::lock_guard lock(m_mutex);
            m_taken.push_back({text, m_step});
            return true;
        };
        m_taken.clear();
        m_step = noStep;
        interventions.beforeStep = [this, before = interventions.beforeStep](std::size_t step)
        {
            {
                const std::lock_guard lock(m_mutex);
                m_step = static_cast<int>(step);
            }
            if (before)
                before(step);
        };
        AgentRun made = run(plans, interventions);
        m_host.reset();
        for (const Taken& taken : m_taken)
            made.messages.push_back(taken.text);
        return made;
    }

    void serve() override
    {
        m_otherClient.reset();
        m_host.reset(); // the name of its pipe is needed
        m_host = std::make_unique<SequenceHost>(m_options);
    }

    void withdraw(const Absence& absence)
    {
        m_host.reset();
        if (absence.kind == busy.kind)
        {
            m_host = std::make_unique<SequenceHost>(SequenceOptions{.instances = 1});
            m_otherClient =
                support::checkedFile(CreateFileW((LR"(\\.\pipe\)" + std::wstring(hostPipeName)).c_str(),
                                                 GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr),
                                     "CreateFileW");
        }
        else if (absence.kind == denying.kind)
            m_host = std::make_unique<SequenceHost>(SequenceOptions{.isReadOnly = true});
    }

    /// A run whose host can't be reached by the first message of a step, or by one of the snapshot, and is back for the
    /// next step.
    [[nodiscard]] AgentRun runWithout(const Absence& absence, std::size_t message, int step)
    {
        Interventions interventions;
        if (step != noStep)
        {
            interventions.beforeStep = [this, absence, step](std::size_t next)
            {
                if (next == static_cast<std::size_t>(step))
                    withdraw(absence);
                else if (next == static_cast<std::size_t>(step) + 1)
                    serve();
            };
            return runWith({}, Json::array(), interventions);
        }
        interventions.started = [this, absence]
        {
            ask({{"do", "wait"}, {"for", "held"}, {"hold", "snapshot"}});
            withdraw(absence);
            ask({{"do", "release"}, {"hold", "snapshot"}});
        };
        // The first thing that is opened in a store is the top of the walk for its snapshot.
        return runWith({},
                       {{{"method", "IMsgStore::OpenEntry"}, {"on", snapshotStores[message]}, {"hold", "snapshot"}}},
                       interventions);
    }

    /// What is taken when this message, from 0 on, is refused.
    [[nodiscard]] static std::vector<Taken> without(std::size_t refused, const std::vector<Taken>& all)
    {
        const int step = all[refused].step;
        std::vector<Taken> left(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(refused));
        if (step != noStep)
            std::copy_if(all.begin(), all.end(), std::back_inserter(left),
                         [step](const Taken& taken) { return taken.step > step; });
        return left;
    }

    /// What is wrong with a run in which this message was refused, unless it counts as delivered.
    [[nodiscard]] Verdict verdictOn(const AgentRun& made, const Judge& judge, const std::vector<Taken>& all,
                                    std::size_t message, bool isTaken) const
    {
        Verdict verdict{judge.outcome(made), judge.complaints(made, {})};
        if (m_taken != (isTaken ? all : without(message, all)))
            verdict.complaints.push_back("other messages were taken");
        const std::string refusal =
            caught(all[message].step == noStep ? "AsyncMapiHelper::run" : "AdviseSinkImpl::OnNotify",
                   "Unable to send data through ipc channel");
        if (std::ranges::count(made.log, refusal) != (isTaken ? 0 : 1))
            verdict.complaints.push_back("the refusal does not stand in the log, or should not");
        return verdict;
    }

    std::mutex m_mutex;
    std::vector<Taken> m_taken;
    int m_step = noStep;
    SequenceOptions m_options;
    std::unique_ptr<SequenceHost> m_host;
    support::Handle m_otherClient; // of a busy host
};

TEST_F(HostSweepTest, LosesWhatIsRefusedAndNothingElse)
{
    const Judge judge(runWith({}));
    const std::vector<Taken> all = m_taken;
    ASSERT_THAT(judge.complaints(judge.reference(), {}), IsEmpty());
    ASSERT_GT(all.size(), 10U);
    Sweep sweep("fault sweep: hosts", 30);
    for (std::size_t message = 0; message < all.size(); ++message)
    {
        const std::string point = "message " + std::to_string(message + 1);
        for (const Manner& manner : manners)
            sweep.add(point, manner.kind,
                      [&, message, manner]
                      {
                          SequenceOptions options;
                          options.adapt = [message, manner](std::size_t number, SequenceOptions& its)
                          {
                              if (number != message + 1)
                                  return;
                              if (!manner.isTaken)
                                  its.takes = nullptr;
                              manner.adapt(its);
                          };
                          const AgentRun made = runWith(options);
                          return verdictOn(made, judge, all, message, manner.isTaken);
                      });
        const bool isFirst = all[message].step == noStep || all[message].step != all[message - 1].step;
        for (const Absence& absence : {notThere, busy, denying})
        {
            if (!isFirst)
                break; // a host can't go between two messages of a batch without having been there
            sweep.add(point, absence.kind,
                      [&, message, absence]
                      {
                          const AgentRun made = runWithout(absence, message, all[message].step);
                          Verdict verdict = verdictOn(made, judge, all, message, false);
                          const std::string record = "NamedPipe::NamedPipe: cannot create or open pipe: "
                                                     "pipeName=CorvenaLinkwell, createNew=0, error=";
                          if (std::ranges::count(made.log, record + absence.error) == 0)
                              verdict.complaints.push_back("the pipe's error does not stand in the log");
                          return verdict;
                      });
        }
        sweep.add(point, "is silent until the end",
                  [&, message]
                  {
                      SequenceOptions options;
                      options.adapt = [this, message](std::size_t number, SequenceOptions& its)
                      {
                          if (number == message + 1)
                              its.takes = [this](const std::string&)
                              {
                                  (void)agent().postToWindow(WM_CLOSE);
                                  (void)waitForLog("MAPI session closed");
                                  return false;
                              };
                      };
                      const AgentRun made = runWith(options);
                      Verdict verdict{judge.outcome(made), judge.complaints(made, {})};
                      const std::vector<Taken> before(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(message));
                      if (m_taken != before)
                          verdict.complaints.push_back("other messages were taken");
                      return verdict;
                  });
    }
    sweep.run();
}
} // namespace
} // namespace endtoend::sweep

#include "sandbox/requests/RunRequests.h"

#include <chrono>
#include <mutex>
#include <optional>
#include <utility>

#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/PlanReader.h"
#include "sandbox/requests/ServedMailbox.h"
#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/record/ArgumentTexts.h"
#include "sandbox/runtime/record/Journal.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
namespace
{
using std::chrono::milliseconds;

constexpr std::uint32_t usualTimeout = 10'000;

/// What is waited for: whether it came about, and the words for that it didn't.
struct Outcome
{
    bool reached;
    std::string missing;
};

[[nodiscard]] Outcome waitFor(const std::string& word, const JsonObject& request, milliseconds timeout, HANDLE stop)
{
    if (word == "idle")
    {
        return {Delivery::instance().waitUntilIdle(timeout, stop), "not every notification has been handled"};
    }
    if (word == "advised")
    {
        const std::uint32_t count = request.at("count").get<std::uint32_t>();
        return {Delivery::instance().waitUntilAdvised(count, timeout, stop),
                "there are fewer than " + std::to_string(count) + " subscriptions"};
    }
    const auto& hold = request.at("hold").get_ref<const std::string&>();
    return {plans::waitUntilHeld(hold, timeout, stop), "no call waits at '" + hold + "'"};
}

[[nodiscard]] Json itemOf(const JournalEntry& entry)
{
    Json item{{"call", entry.call},
              {"arguments", entry.arguments},
              {"result", hexText(entry.result)},
              {"thread", entry.thread}};
    if (!entry.on.empty())
        item["on"] = toHex(entry.on);
    return item;
}

[[nodiscard]] Json readJournal(bool clears)
{
    const journal::Reading reading = journal::read(clears);
    Json calls = Json::array();
    for (const JournalEntry& entry : reading.calls)
        calls.push_back(itemOf(entry));
    return Json{{"calls", std::move(calls)}, {"lost", reading.lost}};
}
} // namespace

Json answerPlan(const JsonObject& request, HANDLE)
{
    std::optional<Plan> plan;
    {
        const std::shared_ptr<Mailbox> mailbox = servedMailbox();
        const std::lock_guard lock(mailbox->mutex());
        plan = readPlan(request, *mailbox);
    }
    plans::add(*std::move(plan));
    return Json::object();
}

Json answerClearPlans(const JsonObject&, HANDLE)
{
    plans::clear();
    return Json::object();
}

Json answerRelease(const JsonObject& request, HANDLE)
{
    const std::string& hold = request.at("hold").get_ref<const std::string&>();
    if (!plans::release(hold))
        failAt(request.pathOf("hold"), "no plan has the hold '" + hold + "'");
    return Json::object();
}

Json answerWait(const JsonObject& request, HANDLE stop)
{
    const std::string& word = request.at("for").get_ref<const std::string&>();
    const auto timeout = request.value("timeout", usualTimeout);
    const Outcome outcome = waitFor(word, request, milliseconds(timeout), stop);
    if (!outcome.reached && stop != nullptr && WaitForSingleObject(stop, 0) == WAIT_OBJECT_0)
        throw MailboxError("the sandbox ends: " + outcome.missing);
    if (!outcome.reached)
        throw MailboxError("after " + std::to_string(timeout) + " ms " + outcome.missing);
    return Json::object();
}

Json answerSubscriptions(const JsonObject&, HANDLE)
{
    Json subscriptions = Json::array();
    for (const Subscription& subscription : Delivery::instance().subscriptions())
    {
        subscriptions.push_back({{"connection", hexText(subscription.connection)},
                                 {"store", toUtf8(subscription.store->name())},
                                 {"mask", hexText(subscription.mask)}});
    }
    return Json{{"subscriptions", std::move(subscriptions)}};
}

Json answerJournal(const JsonObject& request, HANDLE)
{
    const std::string& action = request.at("action").get_ref<const std::string&>();
    if (action == "start")
        journal::start();
    else if (action == "stop")
        journal::stop();
    else if (action == "clear")
        journal::clear();
    else
        return readJournal(request.value("clear", false));
    return Json::object();
}
} // namespace sandbox

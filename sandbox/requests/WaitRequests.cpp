#include "sandbox/requests/WaitRequests.h"

#include <chrono>
#include <utility>

#include "sandbox/requests/HexNumber.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
namespace
{
using std::chrono::milliseconds;

constexpr std::uint32_t s_usualTimeout = 10'000;
constexpr std::uint32_t s_longestTimeout = 3'600'000;

/// What is waited for: whether it came about, and in which words it is told that it didn't.
struct Outcome
{
    bool reached;
    std::string missing;
};

[[nodiscard]] Outcome waitFor(const std::string& word, JsonObject& request, milliseconds timeout, HANDLE stop)
{
    if (word == "idle")
    {
        request.finish();
        return {Delivery::instance().waitUntilIdle(timeout, stop), "not every notification has been handled"};
    }
    if (word == "advised")
    {
        const std::uint32_t count = readCount(request.require("count"), request.pathOf("count"), 1'000'000);
        request.finish();
        return {Delivery::instance().waitUntilAdvised(count, timeout, stop),
                "there are fewer than " + std::to_string(count) + " subscriptions"};
    }
    if (word == "held")
    {
        const std::string& hold = requireText(request.require("hold"), request.pathOf("hold"));
        request.finish();
        return {plans::waitUntilHeld(hold, timeout, stop), "no call waits at '" + hold + "'"};
    }
    failAt(request.pathOf("for"), "must be \"idle\", \"advised\" or \"held\"");
}
} // namespace

Json answerWait(JsonObject& request, HANDLE stop)
{
    const std::string& word = requireText(request.require("for"), request.pathOf("for"));
    std::uint32_t timeout = s_usualTimeout;
    if (const Json* said = request.find("timeout"))
        timeout = readCount(*said, request.pathOf("timeout"), s_longestTimeout);
    const Outcome outcome = waitFor(word, request, milliseconds(timeout), stop);
    if (!outcome.reached && stop != nullptr && WaitForSingleObject(stop, 0) == WAIT_OBJECT_0)
        throw MailboxError("the sandbox ends: " + outcome.missing);
    if (!outcome.reached)
        throw MailboxError("after " + std::to_string(timeout) + " ms " + outcome.missing);
    return Json::object();
}

Json answerSubscriptions(JsonObject& request, HANDLE)
{
    request.finish();
    Json subscriptions = Json::array();
    for (const Subscription& subscription : Delivery::instance().subscriptions())
    {
        Json item{{"connection", hexNumber(subscription.connection)},
                  {"store", toUtf8(subscription.store->name())},
                  {"mask", hexNumber(subscription.mask)}};
        if (!subscription.entryId.empty())
            item["entryId"] = toHex(subscription.entryId);
        subscriptions.push_back(std::move(item));
    }
    return Json{{"subscriptions", std::move(subscriptions)}};
}
} // namespace sandbox

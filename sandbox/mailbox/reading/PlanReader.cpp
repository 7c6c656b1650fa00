#include "sandbox/mailbox/reading/PlanReader.h"

#include <limits>
#include <string>

#include "sandbox/mailbox/reading/CallNames.h"
#include "sandbox/mailbox/reading/Places.h"
#include "sandbox/mailbox/reading/PropertyReader.h"

namespace sandbox
{
namespace
{
constexpr std::int64_t s_longestDelay = 3'600'000; // an hour

[[nodiscard]] std::string readMethod(JsonObject& object)
{
    const std::string path = object.pathOf("method");
    const std::string& name = requireText(object.require("method"), path);
    if (isCallName(name))
        return name;
    const std::string like = callNamesLike(name);
    failAt(path, "there is no call '" + name + "'; " +
                     (like.empty() ? "calls are like MAPIAllocateBuffer and IMAPIProp::GetProps" : "there is " + like));
}

[[nodiscard]] std::uint64_t readNumber(JsonObject& object, std::string_view key, std::int64_t least)
{
    const Json* value = object.find(key);
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max();
    return value != nullptr ? static_cast<std::uint64_t>(readInteger(*value, object.pathOf(key), least, most)) : 1;
}
} // namespace

Plan readPlan(JsonObject& object, const Mailbox& mailbox)
{
    Plan plan;
    plan.method = readMethod(object);
    if (const Json* on = object.find("on"))
        plan.on = objectAt(mailbox, *on, object.pathOf("on"))->entryId();
    plan.call = readNumber(object, "call", 1);
    plan.times = readNumber(object, "times", 0);
    if (const Json* result = object.find("result"))
        plan.result = readResult(*result, object.pathOf("result"));
    if (const Json* delay = object.find("delay"))
        plan.delay = std::chrono::milliseconds(readInteger(*delay, object.pathOf("delay"), 0, s_longestDelay));
    if (const Json* hold = object.find("hold"))
    {
        plan.hold = requireText(*hold, object.pathOf("hold"));
        if (plan.hold.empty())
            failAt(object.pathOf("hold"), "must be a name");
    }
    object.finish();
    if (!plan.result && plan.hold.empty() && plan.delay.count() == 0)
        failAt(object.path(), "a plan needs a 'result', a 'delay' or a 'hold'");
    return plan;
}
} // namespace sandbox

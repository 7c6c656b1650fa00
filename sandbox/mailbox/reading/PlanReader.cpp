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
    const Json* method = object.find("method");
    if (method == nullptr && object.find("opens") != nullptr)
        return {};
    const std::string path = object.pathOf("method");
    const std::string& name = requireText(object.require("method"), path);
    if (isCallName(name))
        return name;
    const std::string like = callNamesLike(name);
    failAt(path, "there is no call '" + name + "'; " +
                     (like.empty() ? "calls are like MAPIAllocateBuffer and IMAPIProp::GetProps" : "there is " + like));
}

/// The object that a method is called on; what its interface can't be on is refused.
[[nodiscard]] Bytes readOn(const Json& value, const std::string& path, std::string_view method, const Mailbox& mailbox)
{
    const std::string_view interfaceName = method.substr(0, method.find("::"));
    if (interfaceName == "IMsgStore")
        return storeAt(mailbox, value, path)->entryId();
    if (interfaceName == "IMAPIContainer" || interfaceName == "IMAPIFolder" || interfaceName == "IMAPITable")
        return folderAt(mailbox, value, path)->entryId();
    if (interfaceName == "IMessage")
        return messageAt(mailbox, value, path)->entryId();
    if (method.empty() || interfaceName == "IMAPIProp" || interfaceName == "IUnknown")
        return objectAt(mailbox, value, path)->entryId();
    failAt(path, std::string(method) + " is called on no object of the mailbox");
}

[[nodiscard]] Bytes readOpens(const Json& value, const std::string& path, std::string_view method,
                              const Mailbox& mailbox)
{
    if (method == "IMAPISession::OpenMsgStore")
        return storeAt(mailbox, value, path)->entryId();
    if (!method.empty() && !method.ends_with("::OpenEntry"))
        failAt(path, std::string(method) + " opens no object of the mailbox");
    return objectAt(mailbox, value, path)->entryId();
}

[[nodiscard]] TableKind readTable(const Json& value, const std::string& path, std::string_view method)
{
    if (!method.starts_with("IMAPITable::"))
        failAt(path, "is for methods of IMAPITable");
    const std::string& name = requireText(value, path);
    if (name == "stores")
        return TableKind::Stores;
    if (name == "contents")
        return TableKind::Contents;
    if (name == "hierarchy")
        return TableKind::Hierarchy;
    failAt(path, "must be \"stores\", \"contents\" or \"hierarchy\"");
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
        plan.target.on = readOn(*on, object.pathOf("on"), plan.method, mailbox);
    if (const Json* opens = object.find("opens"))
        plan.target.opens = readOpens(*opens, object.pathOf("opens"), plan.method, mailbox);
    if (const Json* table = object.find("table"))
        plan.target.table = readTable(*table, object.pathOf("table"), plan.method);
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

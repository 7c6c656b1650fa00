#include "sandbox/mailbox/reading/PlanReader.h"

#include <string>

#include "sandbox/mailbox/reading/CallNames.h"
#include "sandbox/mailbox/reading/ObjectPaths.h"
#include "sandbox/mailbox/reading/PropertyReader.h"

namespace sandbox
{
namespace
{
[[nodiscard]] std::string readMethod(const JsonObject& object)
{
    const auto name = object.value<std::string>("method", "");
    if (name.empty() || isCallName(name))
        return name;
    const std::string like = callNamesLike(name);
    failAt(object.pathOf("method"),
           "there is no call '" + name + "'; " +
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
    const std::string& kind = value.get_ref<const std::string&>();
    if (kind == "stores")
        return TableKind::Stores;
    return kind == "contents" ? TableKind::Contents : TableKind::Hierarchy;
}
} // namespace

Plan readPlan(const JsonObject& object, const Mailbox& mailbox)
{
    Plan plan;
    plan.method = readMethod(object);
    if (const Json* on = object.find("on"))
        plan.target.on = readOn(*on, object.pathOf("on"), plan.method, mailbox);
    if (const Json* opens = object.find("opens"))
        plan.target.opens = readOpens(*opens, object.pathOf("opens"), plan.method, mailbox);
    if (const Json* table = object.find("table"))
        plan.target.table = readTable(*table, object.pathOf("table"), plan.method);
    plan.call = object.value<std::uint64_t>("call", 1);
    plan.times = object.value<std::uint64_t>("times", 1);
    if (const Json* result = object.find("result"))
        plan.result = readResult(*result, object.pathOf("result"));
    plan.delay = std::chrono::milliseconds(object.value("delay", 0));
    plan.hold = object.value<std::string>("hold", "");
    plan.deliver = object.value("deliver", false);
    return plan;
}
} // namespace sandbox

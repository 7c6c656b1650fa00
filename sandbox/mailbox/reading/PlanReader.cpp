#include "sandbox/mailbox/reading/PlanReader.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

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

[[nodiscard]] Gives givesOf(std::string_view word)
{
    static constexpr std::pair<std::string_view, Gives> words[] = {
        {"nothing", Gives::Nothing},       {"empty", Gives::Empty},           {"fewer", Gives::Fewer},
        {"otherTypes", Gives::OtherTypes}, {"nullValues", Gives::NullValues}, {"huge", Gives::Huge}};
    return std::ranges::find(words, word, [](const auto& known) { return known.first; })
        ->second; // the schema allows no other
}

/// The words that a method knows, with a blank behind each; empty if it gives nothing that could differ.
[[nodiscard]] std::string_view wordsFor(std::string_view method)
{
    constexpr std::string_view object = "nothing ";
    static constexpr std::pair<std::string_view, std::string_view> methods[] = {
        {"HrGetOneProp", "nothing otherTypes nullValues "},
        {"HrThisThreadAdviseSink", object},
        {"IMAPIContainer::GetContentsTable", object},
        {"IMAPIContainer::GetHierarchyTable", object},
        {"IMAPIContainer::OpenEntry", object},
        {"IMAPIProp::GetIDsFromNames", "nothing empty fewer otherTypes "},
        {"IMAPIProp::GetPropList", "nothing empty fewer otherTypes "},
        {"IMAPIProp::GetProps", "nothing empty fewer otherTypes nullValues "},
        {"IMAPISession::CompareEntryIDs", "empty huge "},
        {"IMAPISession::GetMsgStoresTable", object},
        {"IMAPISession::OpenEntry", object},
        {"IMAPISession::OpenMsgStore", object},
        {"IMAPITable::GetRowCount", "empty fewer huge "},
        {"IMAPITable::QueryRows", "nothing empty fewer otherTypes nullValues "},
        {"IMsgStore::Advise", "empty "},
        {"IMsgStore::OpenEntry", object},
        {"IUnknown::QueryInterface", object},
        {"MAPIAllocateBuffer", object},
        {"MAPIAllocateMore", object},
        {"MAPILogonEx", object}};
    const auto* const found = std::ranges::find(methods, method, [](const auto& known) { return known.first; });
    return found != std::end(methods) ? found->second : std::string_view();
}

[[nodiscard]] Gives readGives(const Json& value, const std::string& path, const std::string& method)
{
    const std::string& word = value.get_ref<const std::string&>();
    if (method.empty())
        failAt(path, "is for a method");
    const std::string_view words = wordsFor(method);
    if (words.empty())
        failAt(path, method + " gives nothing that could differ");
    if (words.find(word + ' ') == std::string_view::npos)
        failAt(path,
               method + " does not know '" + word + "'; it knows: " + std::string(words.substr(0, words.size() - 1)));
    return givesOf(word);
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
    if (const Json* gives = object.find("gives"))
        plan.gives = readGives(*gives, object.pathOf("gives"), plan.method);
    plan.delay = std::chrono::milliseconds(object.value("delay", 0));
    plan.hold = object.value<std::string>("hold", "");
    plan.deliver = object.value("deliver", false);
    return plan;
}
} // namespace sandbox

#include "sandbox/mailbox/reading/ResultsReader.h"

#include <algorithm>
#include <span>

#include "sandbox/mailbox/reading/PropertyReader.h"

namespace sandbox
{
namespace
{
using Methods = std::span<const std::string_view>;

constexpr std::string_view s_tableMethods[] = {"SetColumns", "QueryColumns", "GetRowCount",    "SeekRow",
                                               "FindRow",    "Restrict",     "CreateBookmark", "FreeBookmark",
                                               "SortTable",  "QueryRows",    "QueryPosition"};
constexpr std::string_view s_storeMethods[] = {"GetProps",        "GetPropList", "GetIDsFromNames", "OpenEntry",
                                               "CompareEntryIDs", "Advise",      "Unadvise"};
constexpr std::string_view s_folderMethods[] = {"GetProps",  "GetPropList",      "GetIDsFromNames",
                                                "OpenEntry", "GetContentsTable", "GetHierarchyTable"};
constexpr std::string_view s_messageMethods[] = {"GetProps", "GetPropList", "GetIDsFromNames"};
constexpr std::string_view s_addressEntryMethods[] = {"GetProps", "GetPropList"};
constexpr std::string_view s_folderTables[] = {"ContentsTable", "HierarchyTable"};
constexpr std::string_view s_mailboxTables[] = {"StoresTable"};
constexpr std::string_view s_mailboxMethods[] = {"MAPIInitialize",        "MAPILogonEx",   "MAPIAllocateBuffer",
                                                 "MAPIAllocateMore",      "HrGetOneProp",  "HrThisThreadAdviseSink",
                                                 "GetMsgStoresTable",     "OpenMsgStore",  "OpenEntry",
                                                 "CompareEntryIDs",       "Logoff",        "QueryFastShutdown",
                                                 "NotifyProcessShutdown", "DoFastShutdown"};

[[nodiscard]] bool contains(Methods methods, std::string_view method)
{
    return std::ranges::find(methods, method) != methods.end();
}

struct Calls
{
    Methods methods;
    Methods tables;
};

[[nodiscard]] Calls callsOf(ResultsOf kind)
{
    switch (kind)
    {
    case ResultsOf::Mailbox:
        return {s_mailboxMethods, s_mailboxTables};
    case ResultsOf::Store:
        return {s_storeMethods, {}};
    case ResultsOf::Folder:
        return {s_folderMethods, s_folderTables};
    case ResultsOf::Message:
        return {s_messageMethods, {}};
    case ResultsOf::AddressEntry:
        return {s_addressEntryMethods, {}};
    }
    return {};
}

/// Whether `name` is one of the methods, or a table's name, a dot and a table method.
[[nodiscard]] bool isCall(std::string_view name, const Calls& calls)
{
    if (contains(calls.methods, name))
        return true;
    return std::ranges::any_of(calls.tables,
                               [name](std::string_view table)
                               {
                                   return name.starts_with(table) && name.size() > table.size() &&
                                          name[table.size()] == '.' &&
                                          contains(s_tableMethods, name.substr(table.size() + 1));
                               });
}
} // namespace

void readResults(JsonObject& object, ResultsOf kind, Nulls nulls, Results& into)
{
    const Json* value = object.find("results");
    if (value == nullptr)
        return;
    const std::string path = object.pathOf("results");
    if (value->is_null() && nulls == Nulls::TakeAway)
    {
        into = Results();
        return;
    }
    if (!value->is_object())
        failAt(path, "must be an object");
    for (const auto& [name, result] : value->items())
    {
        const std::string place = memberPath(path, name);
        if (!isCall(name, callsOf(kind)))
            failAt(place, "this object has no such call to plan an answer for");
        if (result.is_null() && nulls == Nulls::TakeAway)
            into.remove(name);
        else
            into.set(name, readResult(result, place));
    }
}
} // namespace sandbox

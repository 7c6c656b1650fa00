#include "sandbox/mailbox/reading/ChangeReader.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/reading/ContactReader.h"
#include "sandbox/mailbox/reading/PropertyReader.h"
#include "sandbox/mailbox/reading/ResultsReader.h"

namespace sandbox
{
namespace
{
/// Null also for a value that is taken away; `said` tells whether there is the key.
struct Change
{
    const Json* value = nullptr;
    bool said = false;
};

[[nodiscard]] Change changeOf(JsonObject& set, std::string_view key)
{
    const Json* value = set.find(key);
    return {value != nullptr && !value->is_null() ? value : nullptr, value != nullptr};
}

/// The keys that all objects have.
/// @param said  what the short forms say about properties; receives what "properties" says beside them.
void readCommon(JsonObject& set, NameMapping& names, ResultsOf kind, PropertySet& said, ObjectDescription& into)
{
    if (const Json* properties = set.find("properties"))
        readProperties(*properties, set.pathOf("properties"), &names, said);
    if (const Change row = changeOf(set, "row"); row.value != nullptr)
    {
        PropertySet saidOfRow;
        readProperties(*row.value, set.pathOf("row"), &names, saidOfRow);
        into.row.merge(saidOfRow);
    }
    else if (row.said)
    {
        into.row = PropertySet();
    }
    if (const Change result = changeOf(set, "openError"); result.said)
        into.openResult = result.value != nullptr ? readResult(*result.value, set.pathOf("openError")) : S_OK;
    readResults(set, kind, Nulls::TakeAway, into.results);
}

/// A short form that is said now goes before what "properties" said earlier, and can't stand beside what it says now.
void replaceProperty(JsonObject& set, std::string_view key, ULONG tag, const PropertySet& said, ObjectDescription& into)
{
    if (set.find(key) == nullptr)
        return;
    if (said.find(PROP_ID(tag)) != nullptr && key != "name")
        failAt(set.pathOf("properties"), "says what '" + std::string(key) + "' says already");
    into.properties.forget(PROP_ID(tag));
}

[[nodiscard]] bool flagOf(JsonObject& set, std::string_view key, bool before)
{
    const Change flag = changeOf(set, key);
    if (!flag.said)
        return before;
    return flag.value != nullptr && readBoolean(*flag.value, set.pathOf(key));
}
} // namespace

void readMessageChange(JsonObject set, NameMapping& names, const AddressBook& addressBook, ObjectDescription& into)
{
    PropertySet said = readContactKeys(set, names, addressBook, Nulls::TakeAway);
    readCommon(set, names, ResultsOf::Message, said, into);
    set.finish();
    into.properties.merge(said);
}

void readFolderChange(JsonObject set, NameMapping& names, FolderDescription& into)
{
    if (const Json* name = set.find("name"))
        into.name = readText(*name, set.pathOf("name"));
    if (const Change containerClass = changeOf(set, "class"); containerClass.value != nullptr)
        into.containerClass = readText(*containerClass.value, set.pathOf("class"));
    else if (containerClass.said)
        into.containerClass.reset();
    if (const Change hidden = changeOf(set, "hidden"); hidden.value != nullptr)
        into.hidden = readBoolean(*hidden.value, set.pathOf("hidden"));
    else if (hidden.said)
        into.hidden.reset();
    into.shortTermIds = flagOf(set, "shortTermIds", into.shortTermIds);

    PropertySet said;
    readCommon(set, names, ResultsOf::Folder, said, into.object);
    replaceProperty(set, "name", PR_DISPLAY_NAME_W, said, into.object);
    replaceProperty(set, "class", PR_CONTAINER_CLASS_W, said, into.object);
    replaceProperty(set, "hidden", PR_ATTR_HIDDEN, said, into.object);
    set.finish();
    into.object.properties.merge(said);
}

void readStoreChange(JsonObject set, StoreDescription& into)
{
    if (const Json* name = set.find("name"))
        into.name = readText(*name, set.pathOf("name"));
    into.isPublic = flagOf(set, "public", into.isPublic);

    PropertySet said;
    readCommon(set, *into.names, ResultsOf::Store, said, into.object);
    replaceProperty(set, "name", PR_DISPLAY_NAME_W, said, into.object);
    replaceProperty(set, "public", PR_MDB_PROVIDER, said, into.object);
    set.finish();
    into.object.properties.merge(said);
}
} // namespace sandbox

#include "sandbox/mailbox/reading/DescriptionReader.h"

#include <optional>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/reading/ContactReader.h"
#include "sandbox/mailbox/reading/PropertyReader.h"

namespace sandbox
{
namespace
{
/// The keys that all objects have.
/// @param said  what the short forms say about properties; receives what "properties" says beside them.
void readCommon(const JsonObject& set, NameMapping& names, PropertySet& said, ObjectDescription& into)
{
    if (const Json* properties = set.find("properties"))
        readProperties(*properties, set.pathOf("properties"), &names, said);
    const Json* row = set.find("row");
    if (row == nullptr)
        return;
    PropertySet saidOfRow;
    if (row->is_null())
        into.row = PropertySet();
    else
        readProperties(*row, set.pathOf("row"), &names, saidOfRow);
    into.row.merge(saidOfRow);
}

/// A short form that is said now goes before what "properties" said earlier, and can't stand beside what it says now.
void replaceProperty(const JsonObject& set, std::string_view key, ULONG tag, const PropertySet& said,
                     ObjectDescription& into)
{
    if (set.find(key) == nullptr)
        return;
    if (said.find(PROP_ID(tag)) != nullptr && key != "name")
        failAt(set.pathOf("properties"), "says what '" + std::string(key) + "' says already");
    into.properties.forget(PROP_ID(tag));
}

/// A null is false.
[[nodiscard]] bool flagOf(const JsonObject& set, std::string_view key, bool before)
{
    const Json* flag = set.find(key);
    return flag != nullptr ? !flag->is_null() && flag->get<bool>() : before;
}
} // namespace

void readMessageChange(const JsonObject& set, NameMapping& names, const AddressBook& addressBook,
                       ObjectDescription& into)
{
    PropertySet said = readContactKeys(set, names, addressBook, Saying::Change);
    readCommon(set, names, said, into);
    into.properties.merge(said);
}

void readFolderChange(const JsonObject& set, NameMapping& names, FolderDescription& into)
{
    if (const Json* name = set.find("name"))
        into.name = readText(*name, set.pathOf("name"));
    if (const Json* containerClass = set.find("class"))
    {
        into.containerClass.reset();
        if (!containerClass->is_null())
            into.containerClass = readText(*containerClass, set.pathOf("class"));
    }
    if (const Json* hidden = set.find("hidden"))
        into.hidden = hidden->is_null() ? std::nullopt : std::optional(hidden->get<bool>());
    into.shortTermIds = flagOf(set, "shortTermIds", into.shortTermIds);

    PropertySet said;
    readCommon(set, names, said, into.object);
    replaceProperty(set, "name", PR_DISPLAY_NAME_W, said, into.object);
    replaceProperty(set, "class", PR_CONTAINER_CLASS_W, said, into.object);
    replaceProperty(set, "hidden", PR_ATTR_HIDDEN, said, into.object);
    into.object.properties.merge(said);
}

void readStoreChange(const JsonObject& set, StoreDescription& into)
{
    if (const Json* name = set.find("name"))
        into.name = readText(*name, set.pathOf("name"));
    into.isPublic = flagOf(set, "public", into.isPublic);

    PropertySet said;
    readCommon(set, *into.names, said, into.object);
    replaceProperty(set, "name", PR_DISPLAY_NAME_W, said, into.object);
    replaceProperty(set, "public", PR_MDB_PROVIDER, said, into.object);
    into.object.properties.merge(said);
}
} // namespace sandbox

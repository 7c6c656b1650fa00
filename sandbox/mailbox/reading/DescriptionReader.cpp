#include "sandbox/mailbox/reading/DescriptionReader.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/ContactReader.h"
#include "sandbox/mailbox/reading/PropertyReader.h"

namespace sandbox
{
namespace
{
[[nodiscard]] Bytes readEntryId(const Json& value, const std::string& path)
{
    Bytes id = readHex(value, path);
    if (id.size() < minimumEntryIdSize)
        failAt(path, "an entry identifier has at least five bytes");
    return id;
}

/// The keys that all objects have. `shortForms` has what the short forms say.
[[nodiscard]] ObjectDescription readObject(const JsonObject& object, NameMapping* names, PropertySet shortForms)
{
    ObjectDescription description;
    description.properties = std::move(shortForms);
    if (const Json* id = object.find("entryId"))
    {
        description.entryId = readEntryId(*id, object.pathOf("entryId"));
        if (description.entryId.front() != 0)
            failAt(object.pathOf("entryId"), "a long-term entry identifier begins with 00; others can be aliases");
    }
    if (const Json* aliases = object.find("aliases"))
    {
        const std::string path = object.pathOf("aliases");
        for (const Json& alias : *aliases)
            description.aliases.push_back(readEntryId(alias, elementPath(path, description.aliases.size())));
    }
    if (const Json* properties = object.find("properties"))
        readProperties(*properties, object.pathOf("properties"), names, description.properties);
    return description;
}

void readRow(const JsonObject& object, NameMapping& names, PropertySet& row)
{
    if (const Json* value = object.find("row"))
        readProperties(*value, object.pathOf("row"), &names, row);
}

[[nodiscard]] std::wstring textOr(const JsonObject& object, std::string_view key, std::wstring otherwise)
{
    const Json* value = object.find(key);
    return value != nullptr ? readText(*value, object.pathOf(key)) : std::move(otherwise);
}
} // namespace

StoreDescription readStoreDescription(const JsonObject& object, std::shared_ptr<NameMapping> names)
{
    StoreDescription description;
    description.name = readText(object.at("name"), object.pathOf("name"));
    description.provider = textOr(object, "provider", L"Sandbox Message Store");
    description.isDefault = object.value("default", false);
    description.isPublic = object.value("public", false);
    description.object = readObject(object, names.get(), {});
    readRow(object, *names, description.object.row);

    constexpr std::pair<std::string_view, ULONG> shortForms[] = {{"name", PR_DISPLAY_NAME_W},
                                                                 {"provider", PR_PROVIDER_DISPLAY_W},
                                                                 {"default", PR_DEFAULT_STORE},
                                                                 {"public", PR_MDB_PROVIDER}};
    for (const auto& [key, tag] : shortForms)
    {
        // A store must have a name; the file may still take it from the opened store.
        if (key != "name" && object.find(key) != nullptr && description.object.properties.find(PROP_ID(tag)) != nullptr)
            failAt(object.pathOf("properties"), "says what '" + std::string(key) + "' says already");
    }
    description.names = std::move(names);
    return description;
}

FolderDescription readFolderDescription(const JsonObject& object, NameMapping& names, const wchar_t* defaultName)
{
    FolderDescription description;
    description.name = defaultName != nullptr ? textOr(object, "name", defaultName)
                                              : readText(object.at("name"), object.pathOf("name"));
    const Json* containerClass = object.find("class");
    if (containerClass != nullptr)
        description.containerClass = readText(*containerClass, object.pathOf("class"));
    const Json* hidden = object.find("hidden");
    if (hidden != nullptr)
        description.hidden = hidden->get<bool>();
    description.shortTermIds = object.value("shortTermIds", false);
    description.object = readObject(object, &names, {});
    readRow(object, names, description.object.row);

    const auto said = [&](ULONG tag)
    {
        return description.object.properties.find(PROP_ID(tag)) != nullptr;
    };
    if ((containerClass != nullptr && said(PR_CONTAINER_CLASS_W)) || (hidden != nullptr && said(PR_ATTR_HIDDEN)))
        failAt(object.pathOf("properties"), "says what 'class' or 'hidden' says already");
    return description;
}

ObjectDescription readMessageDescription(const JsonObject& object, NameMapping& names, const AddressBook& addressBook)
{
    ObjectDescription description =
        readObject(object, &names, readContactKeys(object, names, addressBook, Saying::Whole));
    readRow(object, names, description.row);
    return description;
}

AddressEntryDescription readAddressEntryDescription(const JsonObject& object, const std::string& key)
{
    AddressEntryDescription description;
    description.displayName = textOr(object, "displayName", toWide(key));
    description.address = textOr(object, "address", L"/o=Example/cn=Recipients/cn=" + toWide(key));
    if (const Json* smtpAddress = object.find("smtpAddress"))
        description.smtpAddress = readText(*smtpAddress, object.pathOf("smtpAddress"));
    description.object = readObject(object, nullptr, {});
    if (description.smtpAddress && description.object.properties.find(PROP_ID(PR_SMTP_ADDRESS_W)) != nullptr)
        failAt(object.pathOf("properties"), "says what 'smtpAddress' says already");
    return description;
}

} // namespace sandbox

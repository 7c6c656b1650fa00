#include "sandbox/mailbox/DescriptionReader.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

#include "agent/mapi/MapiTags.h"
#include "sandbox/mailbox/ContactNames.h"
#include "sandbox/mailbox/EntryIds.h"
#include "sandbox/mailbox/PropertyReader.h"
#include "sandbox/mailbox/Text.h"

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

/// Whether `name` is one of the methods, or a table's name, a dot and a table method.
[[nodiscard]] bool isMethod(std::string_view name, Methods methods, Methods tables)
{
    if (contains(methods, name))
        return true;
    return std::ranges::any_of(tables,
                               [name](std::string_view table)
                               {
                                   return name.starts_with(table) && name.size() > table.size() &&
                                          name[table.size()] == '.' &&
                                          contains(s_tableMethods, name.substr(table.size() + 1));
                               });
}

[[nodiscard]] Results readResults(JsonObject& object, Methods methods, Methods tables)
{
    Results results;
    const Json* value = object.find("results");
    if (value == nullptr)
        return results;
    const std::string path = object.pathOf("results");
    if (!value->is_object())
        failAt(path, "must be an object");
    for (const auto& [name, result] : value->items())
    {
        const std::string place = memberPath(path, name);
        if (!isMethod(name, methods, tables))
            failAt(place, "this object has no such call to plan an answer for");
        results.set(name, readResult(result, place));
    }
    return results;
}

[[nodiscard]] Bytes readEntryId(const Json& value, const std::string& path)
{
    Bytes id = readHex(value, path);
    if (id.size() < s_minimumEntryIdSize)
        failAt(path, "an entry identifier has at least five bytes");
    return id;
}

/// The keys that all objects have. `shortForms` has what the short forms say.
[[nodiscard]] ObjectDescription readObject(JsonObject& object, NameMapping* names, PropertySet shortForms,
                                           Methods methods, Methods tables)
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
        for (const Json& alias : requireList(*aliases, path))
            description.aliases.push_back(readEntryId(alias, elementPath(path, description.aliases.size())));
    }
    if (const Json* result = object.find("openError"))
        description.openResult = readResult(*result, object.pathOf("openError"));
    if (const Json* properties = object.find("properties"))
        readProperties(*properties, object.pathOf("properties"), names, description.properties);
    description.results = readResults(object, methods, tables);
    return description;
}

void readRow(JsonObject& object, NameMapping& names, PropertySet& row)
{
    if (const Json* value = object.find("row"))
        readProperties(*value, object.pathOf("row"), &names, row);
}

[[nodiscard]] std::wstring requiredText(JsonObject& object, std::string_view key)
{
    const Json* value = object.find(key);
    if (value == nullptr)
        failAt(object.path(), "'" + std::string(key) + "' is missing");
    return readText(*value, object.pathOf(key));
}

[[nodiscard]] std::wstring textOr(JsonObject& object, std::string_view key, std::wstring otherwise)
{
    const Json* value = object.find(key);
    return value != nullptr ? readText(*value, object.pathOf(key)) : std::move(otherwise);
}

[[nodiscard]] bool flag(JsonObject& object, std::string_view key)
{
    const Json* value = object.find(key);
    return value != nullptr && readBoolean(*value, object.pathOf(key));
}

void setNamed(PropertySet& properties, NameMapping& names, const std::string& path, LONG number, ULONG type,
              Value value)
{
    const std::optional<ULONG> id = names.findOrCreate(addressProperty(number));
    if (!id)
        failAt(path, "the store has no identifier left for a named property");
    properties.set({PROP_TAG(type, *id), std::move(value)});
}

/// The user named by "addressBook"; null if the key is absent.
[[nodiscard]] const AddressEntry* readAddressBookReference(JsonObject& object, const AddressBook& addressBook)
{
    const Json* value = object.find("addressBook");
    if (value == nullptr)
        return nullptr;
    const std::string path = object.pathOf("addressBook");
    const std::string& key = requireText(*value, path);
    const auto place = addressBook.find(key);
    if (place == addressBook.end())
        failAt(path, "the address book has no '" + key + "'");
    return place->second.get();
}

void readEmailObject(JsonObject object, NameMapping& names, const AddressBook& addressBook, PropertySet& properties)
{
    const AddressEntry* user = readAddressBookReference(object, addressBook);
    const auto set = [&](LONG number, ULONG type, Value value)
    {
        setNamed(properties, names, object.path(), number, type, std::move(value));
    };

    const Json* type = object.find("type");
    if (type == nullptr)
        set(PidLidEmail1AddressType, PT_UNICODE, std::wstring(user != nullptr ? L"EX" : L"SMTP"));
    else if (!type->is_null())
        set(PidLidEmail1AddressType, PT_UNICODE, readText(*type, object.pathOf("type")));

    if (const Json* address = object.find("address"))
        set(PidLidEmail1EmailAddress, PT_UNICODE, readText(*address, object.pathOf("address")));
    else if (user != nullptr)
        set(PidLidEmail1EmailAddress, PT_UNICODE, user->address());

    if (const Json* name = object.find("displayName"))
        set(PidLidEmail1DisplayName, PT_UNICODE, readText(*name, object.pathOf("displayName")));

    const Json* original = object.find("originalEntryId");
    if (original != nullptr && user != nullptr)
        failAt(object.path(), "'originalEntryId' and 'addressBook' contradict each other");
    if (original != nullptr)
        set(PidLidEmail1OriginalEntryId, PT_BINARY, readHex(*original, object.pathOf("originalEntryId")));
    else if (user != nullptr)
        set(PidLidEmail1OriginalEntryId, PT_BINARY, user->entryId());
    object.finish();
}

void readEmail(JsonObject& message, NameMapping& names, const AddressBook& addressBook, PropertySet& properties)
{
    const Json* email = message.find("email");
    if (email == nullptr)
        return;
    const std::string path = message.pathOf("email");
    if (!email->is_string())
    {
        readEmailObject(JsonObject(*email, path), names, addressBook, properties);
        return;
    }
    setNamed(properties, names, path, PidLidEmail1AddressType, PT_UNICODE, std::wstring(L"SMTP"));
    setNamed(properties, names, path, PidLidEmail1EmailAddress, PT_UNICODE, readText(*email, path));
}

struct ContactKey
{
    std::string_view key;
    ULONG tag;
};

constexpr ContactKey s_contactKeys[] = {
    {"displayName", PR_DISPLAY_NAME_W},
    {"givenName", PR_GIVEN_NAME_W},
    {"middleName", PR_MIDDLE_NAME_W},
    {"surname", PR_SURNAME_W},
    {"company", PR_COMPANY_NAME_W},
    {"businessPhone", PR_BUSINESS_TELEPHONE_NUMBER_W},
    {"homePhone", PR_HOME_TELEPHONE_NUMBER_W},
    {"mobilePhone", PR_MOBILE_TELEPHONE_NUMBER_W},
    {"businessFax", PR_BUSINESS_FAX_NUMBER_W},
};
} // namespace

StoreDescription readStoreDescription(JsonObject& object, std::shared_ptr<NameMapping> names)
{
    StoreDescription description;
    description.name = requiredText(object, "name");
    description.provider = textOr(object, "provider", L"Sandbox Message Store");
    description.isDefault = flag(object, "default");
    description.isPublic = flag(object, "public");
    description.object = readObject(object, names.get(), {}, s_storeMethods, {});
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

FolderDescription readFolderDescription(JsonObject& object, NameMapping& names, const wchar_t* defaultName)
{
    FolderDescription description;
    description.name = defaultName != nullptr ? textOr(object, "name", defaultName) : requiredText(object, "name");
    const Json* containerClass = object.find("class");
    if (containerClass != nullptr)
        description.containerClass = readText(*containerClass, object.pathOf("class"));
    const Json* hidden = object.find("hidden");
    if (hidden != nullptr)
        description.hidden = readBoolean(*hidden, object.pathOf("hidden"));
    description.shortTermIds = flag(object, "shortTermIds");
    description.object = readObject(object, &names, {}, s_folderMethods, s_folderTables);
    readRow(object, names, description.object.row);

    const auto said = [&](ULONG tag)
    {
        return description.object.properties.find(PROP_ID(tag)) != nullptr;
    };
    if ((containerClass != nullptr && said(PR_CONTAINER_CLASS_W)) || (hidden != nullptr && said(PR_ATTR_HIDDEN)))
        failAt(object.pathOf("properties"), "says what 'class' or 'hidden' says already");
    return description;
}

ObjectDescription readMessageDescription(JsonObject& object, NameMapping& names, const AddressBook& addressBook)
{
    PropertySet shortForms;
    const Json* messageClass = object.find("class");
    if (messageClass == nullptr)
        shortForms.set({PR_MESSAGE_CLASS_W, std::wstring(L"IPM.Contact")});
    else if (messageClass->is_null())
        shortForms.setAbsent(PROP_ID(PR_MESSAGE_CLASS_W));
    else
        shortForms.set({PR_MESSAGE_CLASS_W, readText(*messageClass, object.pathOf("class"))});
    for (const ContactKey& contactKey : s_contactKeys)
    {
        if (const Json* value = object.find(contactKey.key))
            shortForms.set({contactKey.tag, readText(*value, object.pathOf(contactKey.key))});
    }
    readEmail(object, names, addressBook, shortForms);

    ObjectDescription description = readObject(object, &names, std::move(shortForms), s_messageMethods, {});
    readRow(object, names, description.row);
    return description;
}

AddressEntryDescription readAddressEntryDescription(JsonObject& object, const std::string& key)
{
    AddressEntryDescription description;
    description.displayName = textOr(object, "displayName", toWide(key));
    description.address = textOr(object, "address", L"/o=Example/cn=Recipients/cn=" + toWide(key));
    if (const Json* smtpAddress = object.find("smtpAddress"))
        description.smtpAddress = readText(*smtpAddress, object.pathOf("smtpAddress"));
    description.object = readObject(object, nullptr, {}, s_addressEntryMethods, {});
    if (description.smtpAddress && description.object.properties.find(PROP_ID(PR_SMTP_ADDRESS_W)) != nullptr)
        failAt(object.pathOf("properties"), "says what 'smtpAddress' says already");
    return description;
}

Results readMailboxResults(JsonObject& object)
{
    return readResults(object, s_mailboxMethods, s_mailboxTables);
}
} // namespace sandbox

#include "sandbox/mailbox/reading/ContactReader.h"

#include <utility>

#include "mapiabi/MapiTags.h"

namespace sandbox
{
namespace
{
constexpr LONG PidLidEmail1DisplayName = 0x8080;

void setNamed(PropertySet& properties, NameMapping& names, const std::string& path, LONG number, ULONG type,
              Value value)
{
    const std::optional<ULONG> id = names.findOrCreate(addressProperty(number));
    if (!id)
        failAt(path, "the store has no identifier left for a named property");
    properties.set({PROP_TAG(type, *id), std::move(value)});
}

/// The user named by "addressBook"; null if the key is absent.
[[nodiscard]] const AddressEntry* readAddressBookReference(const JsonObject& object, const AddressBook& addressBook)
{
    const Json* key = object.find("addressBook");
    if (key == nullptr)
        return nullptr;
    const auto place = addressBook.find(key->get_ref<const std::string&>());
    if (place == addressBook.end())
        failAt(object.pathOf("addressBook"), "the address book has no '" + key->get<std::string>() + "'");
    return place->second.get();
}

void readEmailObject(const JsonObject& object, NameMapping& names, const AddressBook& addressBook,
                     PropertySet& properties)
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
}

/// Whatever is known of the slot is gone.
void takeEmailAway(const NameMapping& names, PropertySet& properties)
{
    for (const LONG number :
         {PidLidEmail1AddressType, PidLidEmail1EmailAddress, PidLidEmail1DisplayName, PidLidEmail1OriginalEntryId})
    {
        // What the store has no identifier for, no object of it has.
        if (const std::optional<ULONG> id = names.find(addressProperty(number)))
            properties.setAbsent(*id);
    }
}

void readEmail(const JsonObject& message, NameMapping& names, const AddressBook& addressBook, Saying saying,
               PropertySet& properties)
{
    const Json* email = message.find("email");
    if (email == nullptr)
        return;
    const std::string path = message.pathOf("email");
    if (saying == Saying::Change)
        takeEmailAway(names, properties);
    if (email->is_null())
        return;
    if (!email->is_string())
    {
        readEmailObject(JsonObject(*email, path), names, addressBook, properties);
        return;
    }
    setNamed(properties, names, path, PidLidEmail1AddressType, PT_UNICODE, std::wstring(L"SMTP"));
    setNamed(properties, names, path, PidLidEmail1EmailAddress, PT_UNICODE, readText(*email, path));
}

void readMessageClass(const JsonObject& message, Saying saying, PropertySet& properties)
{
    const Json* messageClass = message.find("class");
    if (messageClass == nullptr && saying == Saying::Change)
        return;
    if (messageClass == nullptr)
        properties.set({PR_MESSAGE_CLASS_W, std::wstring(L"IPM.Contact")});
    else if (messageClass->is_null())
        properties.setAbsent(PROP_ID(PR_MESSAGE_CLASS_W));
    else
        properties.set({PR_MESSAGE_CLASS_W, readText(*messageClass, message.pathOf("class"))});
}

struct ContactKey
{
    std::string_view key;
    ULONG tag;
};

constexpr ContactKey contactKeys[] = {
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

PropertySet readContactKeys(const JsonObject& message, NameMapping& names, const AddressBook& addressBook,
                            Saying saying)
{
    PropertySet properties;
    readMessageClass(message, saying, properties);
    for (const ContactKey& contactKey : contactKeys)
    {
        const Json* value = message.find(contactKey.key);
        if (value == nullptr)
            continue;
        if (value->is_null())
            properties.setAbsent(PROP_ID(contactKey.tag));
        else
            properties.set({contactKey.tag, readText(*value, message.pathOf(contactKey.key))});
    }
    readEmail(message, names, addressBook, saying, properties);
    return properties;
}
} // namespace sandbox

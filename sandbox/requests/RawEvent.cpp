#include "sandbox/requests/RawEvent.h"

#include <algorithm>
#include <span>

#include "sandbox/mailbox/reading/ObjectPaths.h"
#include "sandbox/mailbox/reading/PublishedNames.h"

namespace sandbox
{
namespace
{
struct NamedNumber
{
    std::string_view name;
    ULONG number;
};

constexpr NamedNumber eventTypes[] = {
    {"fnevCriticalError", fnevCriticalError},   {"fnevNewMail", fnevNewMail},
    {"fnevObjectCreated", fnevObjectCreated},   {"fnevObjectDeleted", fnevObjectDeleted},
    {"fnevObjectModified", fnevObjectModified}, {"fnevObjectMoved", fnevObjectMoved},
    {"fnevObjectCopied", fnevObjectCopied},     {"fnevSearchComplete", fnevSearchComplete},
    {"fnevTableModified", fnevTableModified},
};

constexpr NamedNumber objectTypes[] = {
    {"MAPI_STORE", MAPI_STORE},
    {"MAPI_ADDRBOOK", 2},
    {"MAPI_FOLDER", MAPI_FOLDER},
    {"MAPI_ABCONT", 4},
    {"MAPI_MESSAGE", MAPI_MESSAGE},
    {"MAPI_MAILUSER", MAPI_MAILUSER},
    {"MAPI_ATTACH", 7},
    {"MAPI_DISTLIST", MAPI_DISTLIST},
    {"MAPI_PROFSECT", 9},
    {"MAPI_STATUS", 10},
    {"MAPI_SESSION", MAPI_SESSION},
    {"MAPI_FORMINFO", 12},
};

/// A number, hexadecimal text, or one of the names.
[[nodiscard]] ULONG readNumber(const Json& value, const std::string& path, std::span<const NamedNumber> names)
{
    if (!value.is_string())
        return value.get<ULONG>();
    const auto& text = value.get_ref<const std::string&>();
    if (const auto named = std::ranges::find(names, text, &NamedNumber::name); named != names.end())
        return named->number;
    const std::optional<ULONG> number = hexNumberOf(text);
    if (!number)
        failAt(path, "there is no published name '" + text + "'; they are like \"" + std::string(names.front().name) +
                         "\", and others can be written as a number");
    return *number;
}

[[nodiscard]] EventId readOddId(const Json& value, const std::string& path)
{
    const JsonObject object(value, path);
    EventId id;
    if (const Json* bytes = object.find("bytes"))
        id.bytes = readHex(*bytes, object.pathOf("bytes"));
    if (const Json* size = object.find("size"))
        id.size = size->get<ULONG>();
    return id;
}

[[nodiscard]] EventId readId(const Mailbox& mailbox, const JsonObject& notification, std::string_view key)
{
    const Json* value = notification.find(key);
    if (value == nullptr)
        return {};
    const std::string path = notification.pathOf(key);
    if (value->is_object())
        return readOddId(*value, path);
    const auto& text = value->get_ref<const std::string&>();
    if (!text.starts_with('#'))
        return {objectAt(mailbox, *value, path)->entryId(), std::nullopt};
    std::optional<Bytes> bytes = fromHex(text.substr(1));
    if (!bytes)
        failAt(path, "behind '#' must be hexadecimal digits in pairs");
    return {*std::move(bytes), std::nullopt};
}

[[nodiscard]] ULONG readPropTag(const Json& value, const std::string& path)
{
    const std::optional<ULONG> tag =
        value.is_string() ? propertyTagOf(value.get_ref<const std::string&>()) : std::nullopt;
    constexpr NamedNumber example[] = {{"PR_ENTRYID", 0x0FFF0102}};
    return tag ? *tag : readNumber(value, path, example);
}
} // namespace

StoreEvent readRawEvent(const Mailbox& mailbox, const Json& json, const std::string& path)
{
    const JsonObject notification(json, path);
    StoreEvent event;
    event.type = readNumber(notification.at("event"), notification.pathOf("event"), eventTypes);
    event.objectType = readNumber(notification.at("objectType"), notification.pathOf("objectType"), objectTypes);
    event.entryId = readId(mailbox, notification, "entryId");
    event.parentId = readId(mailbox, notification, "parentId");
    event.oldId = readId(mailbox, notification, "oldId");
    event.oldParentId = readId(mailbox, notification, "oldParentId");
    if (const Json* tags = notification.find("propTags"))
    {
        const std::string tagsPath = notification.pathOf("propTags");
        for (const Json& tag : *tags)
            event.propTags.push_back(readPropTag(tag, elementPath(tagsPath, event.propTags.size())));
    }
    return event;
}
} // namespace sandbox

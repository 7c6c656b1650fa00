#include "sandbox/requests/RawEvent.h"

#include <algorithm>
#include <span>

#include "sandbox/mailbox/reading/Places.h"
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
        return readCount(value, path, std::numeric_limits<ULONG>::max());
    const std::string& text = value.get_ref<const std::string&>();
    if (const auto named = std::ranges::find(names, text, &NamedNumber::name); named != names.end())
        return named->number;
    const std::optional<ULONG> number = hexNumberOf(text);
    if (!number)
        failAt(path, "must be a number, 0x and up to eight digits, or a published name like \"" +
                         std::string(names.front().name) + "\"");
    return *number;
}

[[nodiscard]] EventId readOddId(const Json& value, const std::string& path)
{
    JsonObject object(value, path);
    const Json* bytes = object.find("bytes");
    const Json* size = object.find("size");
    object.finish();
    if (bytes == nullptr && size == nullptr)
        failAt(path, "must have 'bytes' or 'size'");
    EventId id;
    if (bytes != nullptr)
        id.bytes = readHex(*bytes, object.pathOf("bytes"));
    if (size != nullptr)
        id.size = readCount(*size, object.pathOf("size"), std::numeric_limits<ULONG>::max());
    return id;
}

[[nodiscard]] EventId readId(const Mailbox& mailbox, JsonObject& notification, std::string_view key)
{
    const Json* value = notification.find(key);
    if (value == nullptr)
        return {};
    const std::string path = notification.pathOf(key);
    if (value->is_object())
        return readOddId(*value, path);
    const std::string& text = requireText(*value, path);
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
    JsonObject notification(json, path);
    StoreEvent event;
    event.type = readNumber(notification.require("event"), notification.pathOf("event"), eventTypes);
    event.objectType = readNumber(notification.require("objectType"), notification.pathOf("objectType"), objectTypes);
    event.entryId = readId(mailbox, notification, "entryId");
    event.parentId = readId(mailbox, notification, "parentId");
    event.oldId = readId(mailbox, notification, "oldId");
    event.oldParentId = readId(mailbox, notification, "oldParentId");
    if (const Json* tags = notification.find("propTags"))
    {
        const std::string tagsPath = notification.pathOf("propTags");
        for (const Json& tag : requireList(*tags, tagsPath))
            event.propTags.push_back(readPropTag(tag, elementPath(tagsPath, event.propTags.size())));
    }
    notification.finish();
    return event;
}
} // namespace sandbox

#include "sandbox/runtime/record/ArgumentTexts.h"

#include <array>
#include <cstdio>
#include <type_traits>
#include <utility>

#include "sandbox/mailbox/model/Text.h"
#include "sandbox/runtime/record/PropertyMemory.h"

namespace sandbox
{
namespace
{
[[nodiscard]] std::string guidTextOf(const GUID& guid)
{
    std::array<wchar_t, 40> text{};
    StringFromGUID2(guid, text.data(), static_cast<int>(text.size()));
    return toUtf8(text.data());
}

[[nodiscard]] const char* nameOf(const IID& iid) noexcept
{
    struct Named
    {
        IID iid;
        const char* name;
    };
    static const Named all[] = {{IID_IUnknown, "IID_IUnknown"},
                                {IID_IMAPISession, "IID_IMAPISession"},
                                {IID_IMAPITable, "IID_IMAPITable"},
                                {IID_IMAPIAdviseSink, "IID_IMAPIAdviseSink"},
                                {IID_IMAPIProp, "IID_IMAPIProp"},
                                {IID_IMsgStore, "IID_IMsgStore"},
                                {IID_IMessage, "IID_IMessage"},
                                {IID_IMailUser, "IID_IMailUser"},
                                {IID_IMAPIContainer, "IID_IMAPIContainer"},
                                {IID_IMAPIFolder, "IID_IMAPIFolder"},
                                {IID_IMAPIClientShutdown, "IID_IMAPIClientShutdown"}};
    for (const Named& known : all)
    {
        if (IsEqualIID(known.iid, iid))
            return known.name;
    }
    return nullptr;
}

[[nodiscard]] Json jsonOf(const Value& value)
{
    return std::visit(
        [](const auto& held) -> Json
        {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::wstring>)
                return toUtf8(held);
            else if constexpr (std::is_same_v<Held, bool> || std::is_same_v<Held, double>)
                return held;
            else if constexpr (std::is_same_v<Held, std::int32_t> || std::is_same_v<Held, std::int64_t>)
                return hexText(held);
            else if constexpr (std::is_same_v<Held, Bytes>)
                return toHex(held);
            else if constexpr (std::is_same_v<Held, GUID>)
                return guidTextOf(held);
            else
                return nullptr; // a client's value is never any other
        },
        value);
}

[[nodiscard]] Json jsonOf(const SPropValue* property)
{
    if (property == nullptr)
        return nullptr;
    const std::optional<Value> value = fromMapiMemory(*property);
    return {{"ulPropTag", hexText(property->ulPropTag)}, {"Value", value ? jsonOf(*value) : Json()}};
}

[[nodiscard]] Json partsOf(ULONG count, const SRestriction* parts, int depth)
{
    Json list = Json::array();
    for (ULONG index = 0; parts != nullptr && index < count; ++index)
        list.push_back(restrictionText(&parts[index], depth));
    return list;
}
} // namespace

std::string unsignedHexText(std::uint64_t number)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%llX", static_cast<unsigned long long>(number));
    return text.data();
}

std::string entryIdText(ULONG size, const ENTRYID* entryId)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(entryId);
    return toHex(BytesView(bytes, bytes != nullptr ? size : 0));
}

Json interfaceText(const IID* iid)
{
    if (iid == nullptr)
        return nullptr;
    const char* name = nameOf(*iid);
    return name != nullptr ? name : guidTextOf(*iid);
}

Json textText(const void* text, ULONG flags)
{
    SPropValue value = {};
    value.ulPropTag = (flags & MAPI_UNICODE) != 0 ? PT_UNICODE : PT_STRING8;
    value.Value.lpszA = const_cast<char*>(static_cast<const char*>(text));
    const std::optional<Value> read = fromMapiMemory(value);
    return read ? jsonOf(*read) : Json();
}

Json tagsText(const SPropTagArray* tags)
{
    if (tags == nullptr)
        return nullptr;
    Json list = Json::array();
    for (ULONG index = 0; index < tags->cValues; ++index)
        list.push_back(hexText(tags->aulPropTag[index]));
    return list;
}

Json namesText(ULONG count, MAPINAMEID** names)
{
    if (names == nullptr)
        return nullptr;
    Json list = Json::array();
    for (ULONG index = 0; index < count; ++index)
    {
        const MAPINAMEID* name = names[index];
        Json& json = list.emplace_back();
        if (name == nullptr)
            continue;
        json["lpguid"] = name->lpguid != nullptr ? Json(guidTextOf(*name->lpguid)) : Json();
        if (name->ulKind == MNID_ID)
            json["lID"] = hexText(name->Kind.lID);
        else if (name->ulKind == MNID_STRING && name->Kind.lpwstrName != nullptr)
            json["lpwstrName"] = toUtf8(name->Kind.lpwstrName);
    }
    return list;
}

Json restrictionText(const SRestriction* restriction, int depth)
{
    if (restriction == nullptr || depth > deepestRestriction)
        return nullptr;
    const auto& res = restriction->res;
    switch (restriction->rt)
    {
    case RES_AND:
        return {{"rt", "RES_AND"}, {"lpRes", partsOf(res.resAnd.cRes, res.resAnd.lpRes, depth + 1)}};
    case RES_OR:
        return {{"rt", "RES_OR"}, {"lpRes", partsOf(res.resOr.cRes, res.resOr.lpRes, depth + 1)}};
    case RES_NOT:
        return {{"rt", "RES_NOT"}, {"lpRes", restrictionText(res.resNot.lpRes, depth + 1)}};
    case RES_PROPERTY:
        return {{"rt", "RES_PROPERTY"},
                {"relop", res.resProperty.relop == RELOP_EQ ? "RELOP_EQ" : hexText(res.resProperty.relop)},
                {"ulPropTag", hexText(res.resProperty.ulPropTag)},
                {"lpProp", jsonOf(res.resProperty.lpProp)}};
    case RES_EXIST:
        return {{"rt", "RES_EXIST"}, {"ulPropTag", hexText(res.resExist.ulPropTag)}};
    default: // refused, whatever is in it
        return {{"rt", hexText(restriction->rt)}};
    }
}
} // namespace sandbox

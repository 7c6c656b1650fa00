#include "sandbox/runtime/record/ArgumentTexts.h"

#include <array>
#include <cstdio>
#include <type_traits>
#include <utility>

#include "sandbox/mailbox/reading/JsonObject.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/runtime/delivery/AdviseSinkWrapper.h"
#include "sandbox/runtime/objects/PropertyAnswer.h"

namespace sandbox
{
namespace
{
constexpr int s_deepestNesting = 256; // of restrictions; the filter refuses deeper ones

[[nodiscard]] std::string hexOf(std::uint64_t number)
{
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "0x%llX", static_cast<unsigned long long>(number));
    return text.data();
}

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
    static const Named s_all[] = {{IID_IUnknown, "IID_IUnknown"},
                                  {IID_IMAPISession, "IID_IMAPISession"},
                                  {IID_IMAPITable, "IID_IMAPITable"},
                                  {IID_IMAPIAdviseSink, "IID_IMAPIAdviseSink"},
                                  {IID_IMAPIProp, "IID_IMAPIProp"},
                                  {mapiInterfaceId(0x04), "IID_IProfSect"},
                                  {mapiInterfaceId(0x05), "IID_IMAPIStatus"},
                                  {IID_IMsgStore, "IID_IMsgStore"},
                                  {IID_IMessage, "IID_IMessage"},
                                  {mapiInterfaceId(0x08), "IID_IAttachment"},
                                  {mapiInterfaceId(0x09), "IID_IAddrBook"},
                                  {IID_IMailUser, "IID_IMailUser"},
                                  {IID_IMAPIContainer, "IID_IMAPIContainer"},
                                  {IID_IMAPIFolder, "IID_IMAPIFolder"},
                                  {mapiInterfaceId(0x0D), "IID_IABContainer"},
                                  {mapiInterfaceId(0x0E), "IID_IDistList"},
                                  {IID_IMAPIClientShutdown, "IID_IMAPIClientShutdown"}};
    for (const Named& known : s_all)
    {
        if (IsEqualIID(known.iid, iid))
            return known.name;
    }
    return nullptr;
}

/// The number's name out of a list of them, or the number itself.
template <std::size_t Count>
[[nodiscard]] std::string nameOf(const std::array<const char*, Count>& names, ULONG number)
{
    return number < Count ? names[number] : hexOf(number);
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
            else if constexpr (std::is_same_v<Held, std::int32_t>)
                return hexOf(static_cast<std::uint32_t>(held));
            else if constexpr (std::is_same_v<Held, std::int64_t>)
                return hexOf(static_cast<std::uint64_t>(held));
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
    return {{"ulPropTag", hexOf(property->ulPropTag)}, {"Value", value ? jsonOf(*value) : Json()}};
}

[[nodiscard]] Json jsonOf(const SRestriction* restriction, int depth);

[[nodiscard]] Json partsOf(ULONG count, const SRestriction* parts, int depth)
{
    Json list = Json::array();
    for (ULONG index = 0; parts != nullptr && index < count; ++index)
        list.push_back(jsonOf(&parts[index], depth));
    return list;
}

[[nodiscard]] Json jsonOf(const SRestriction* restriction, int depth)
{
    static constexpr std::array<const char*, 11> s_kinds = {
        "RES_AND",     "RES_OR",   "RES_NOT",   "RES_CONTENT",        "RES_PROPERTY", "RES_COMPAREPROPS",
        "RES_BITMASK", "RES_SIZE", "RES_EXIST", "RES_SUBRESTRICTION", "RES_COMMENT"};
    static constexpr std::array<const char*, 7> s_relations = {"RELOP_LT", "RELOP_LE", "RELOP_GT", "RELOP_GE",
                                                               "RELOP_EQ", "RELOP_NE", "RELOP_RE"};
    static constexpr std::array<const char*, 2> s_bits = {"BMR_EQZ", "BMR_NEZ"};
    if (restriction == nullptr || depth > s_deepestNesting)
        return nullptr;
    const auto& res = restriction->res;
    Json json = {{"rt", nameOf(s_kinds, restriction->rt)}};
    const auto setTag = [&](ULONG tag)
    {
        json["ulPropTag"] = hexOf(tag);
    };
    const auto setRelation = [&](ULONG relation)
    {
        json["relop"] = nameOf(s_relations, relation);
    };
    switch (restriction->rt)
    {
    case RES_AND:
    case RES_OR: // the same fields
        json["lpRes"] = partsOf(res.resAnd.cRes, res.resAnd.lpRes, depth + 1);
        break;
    case RES_NOT:
        json["lpRes"] = jsonOf(res.resNot.lpRes, depth + 1);
        break;
    case RES_CONTENT:
        json["ulFuzzyLevel"] = hexOf(res.resContent.ulFuzzyLevel);
        setTag(res.resContent.ulPropTag);
        json["lpProp"] = jsonOf(res.resContent.lpProp);
        break;
    case RES_PROPERTY:
        setRelation(res.resProperty.relop);
        setTag(res.resProperty.ulPropTag);
        json["lpProp"] = jsonOf(res.resProperty.lpProp);
        break;
    case RES_COMPAREPROPS:
        setRelation(res.resCompareProps.relop);
        json["ulPropTag1"] = hexOf(res.resCompareProps.ulPropTag1);
        json["ulPropTag2"] = hexOf(res.resCompareProps.ulPropTag2);
        break;
    case RES_BITMASK:
        json["relBMR"] = nameOf(s_bits, res.resBitMask.relBMR);
        setTag(res.resBitMask.ulPropTag);
        json["ulMask"] = hexOf(res.resBitMask.ulMask);
        break;
    case RES_SIZE:
        setRelation(res.resSize.relop);
        setTag(res.resSize.ulPropTag);
        json["cb"] = hexOf(res.resSize.cb);
        break;
    case RES_EXIST:
        setTag(res.resExist.ulPropTag);
        break;
    case RES_SUBRESTRICTION:
        json["ulSubObject"] = hexOf(res.resSub.ulSubObject);
        json["lpRes"] = jsonOf(res.resSub.lpRes, depth + 1);
        break;
    case RES_COMMENT:
        json["lpRes"] = jsonOf(res.resComment.lpRes, depth + 1);
        break;
    default:
        break;
    }
    return json;
}
} // namespace

std::string unsignedHexText(std::uint64_t number)
{
    return Json(hexOf(number)).dump();
}

std::string entryIdText(ULONG size, const ENTRYID* entryId)
{
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(entryId);
    return Json(toHex(BytesView(bytes, bytes != nullptr ? size : 0))).dump();
}

std::string interfaceText(const IID* iid)
{
    if (iid == nullptr)
        return "null";
    const char* name = nameOf(*iid);
    return Json(name != nullptr ? name : guidTextOf(*iid)).dump();
}

std::string textText(const void* text, ULONG flags)
{
    SPropValue value = {};
    value.ulPropTag = (flags & MAPI_UNICODE) != 0 ? PT_UNICODE : PT_STRING8;
    value.Value.lpszA = const_cast<char*>(static_cast<const char*>(text));
    const std::optional<Value> read = fromMapiMemory(value);
    return read ? jsonOf(*read).dump() : "null";
}

std::string tagsText(const SPropTagArray* tags)
{
    if (tags == nullptr)
        return "null";
    Json list = Json::array();
    for (ULONG index = 0; index < tags->cValues; ++index)
        list.push_back(hexOf(tags->aulPropTag[index]));
    return list.dump();
}

std::string namesText(ULONG count, MAPINAMEID** names)
{
    if (names == nullptr)
        return "null";
    Json list = Json::array();
    for (ULONG index = 0; index < count; ++index)
    {
        const MAPINAMEID* name = names[index];
        Json& json = list.emplace_back();
        if (name == nullptr)
            continue;
        json["lpguid"] = name->lpguid != nullptr ? Json(guidTextOf(*name->lpguid)) : Json();
        if (name->ulKind == MNID_ID)
            json["lID"] = hexOf(static_cast<std::uint32_t>(name->Kind.lID));
        else if (name->ulKind == MNID_STRING && name->Kind.lpwstrName != nullptr)
            json["lpwstrName"] = toUtf8(name->Kind.lpwstrName);
    }
    return list.dump();
}

std::string sortOrderText(const SSortOrderSet* order)
{
    static constexpr std::array<const char*, 2> s_orders = {"TABLE_SORT_ASCEND", "TABLE_SORT_DESCEND"};
    if (order == nullptr)
        return "null";
    Json levels = Json::array();
    for (ULONG index = 0; index < order->cSorts; ++index)
        levels.push_back({{"ulPropTag", hexOf(order->aSort[index].ulPropTag)},
                          {"ulOrder", nameOf(s_orders, order->aSort[index].ulOrder)}});
    const Json json = {
        {"aSort", levels}, {"cCategories", hexOf(order->cCategories)}, {"cExpanded", hexOf(order->cExpanded)}};
    return json.dump();
}

std::string restrictionText(const SRestriction* restriction)
{
    return jsonOf(restriction, 0).dump();
}

std::string sinkText(const IMAPIAdviseSink* sink)
{
    if (sink == nullptr)
        return "null";
    return AdviseSinkWrapper::queueOf(sink) != nullptr ? "\"wrapped\"" : "\"unwrapped\"";
}
} // namespace sandbox

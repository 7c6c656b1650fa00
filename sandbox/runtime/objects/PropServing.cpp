#include "sandbox/runtime/objects/PropServing.h"

#include <algorithm>
#include <cstddef>

#include "sandbox/runtime/objects/MapiFailure.h"
#include "sandbox/runtime/record/Memory.h"
#include "sandbox/runtime/objects/PropertyAnswer.h"

namespace sandbox
{
namespace
{
/// PS_MAPI: the names in it are the property identifiers below 8000 themselves.
constexpr GUID s_mapiNames = {0x00020328, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
/// What an unresolved name gives.
constexpr ULONG s_unresolved = PROP_TAG(PT_ERROR, 0);

[[nodiscard]] ULONG tagOfName(NameMapping& mapping, const MAPINAMEID* name, bool create)
{
    require(name != nullptr && name->lpguid != nullptr);
    PropertyName wanted{*name->lpguid, {}};
    if (name->ulKind == MNID_ID)
    {
        if (IsEqualGUID(wanted.set, s_mapiNames))
            return PROP_TAG(PT_UNSPECIFIED, static_cast<ULONG>(name->Kind.lID) & 0xFFFF);
        wanted.name = name->Kind.lID;
    }
    else
    {
        require(name->ulKind == MNID_STRING && name->Kind.lpwstrName != nullptr);
        wanted.name = std::wstring(name->Kind.lpwstrName);
    }
    std::optional<ULONG> id = mapping.find(wanted);
    if (!id && create)
    {
        id = mapping.findOrCreate(wanted);
        require(id.has_value(), MAPI_E_NOT_ENOUGH_RESOURCES);
    }
    return id ? PROP_TAG(PT_UNSPECIFIED, *id) : s_unresolved;
}
} // namespace

HRESULT getProps(const MailboxObject& object, const SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values)
{
    require(count != nullptr && values != nullptr);
    *count = 0;
    *values = nullptr;
    requireFlags(flags, MAPI_UNICODE);
    const bool unicode = (flags & MAPI_UNICODE) != 0;

    std::vector<ULONG> wanted;
    if (tags != nullptr)
    {
        require(tags->cValues != 0);
        wanted.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
    }
    else
    {
        for (const ULONG tag : object.tags())
            wanted.push_back(tagInWidth(tag, unicode));
    }

    std::vector<Property> answers;
    answers.reserve(wanted.size());
    for (const ULONG tag : wanted)
        answers.push_back(answerFor(object.property(PROP_ID(tag)), tag, unicode));
    *values = toMapiMemory(answers);
    *count = static_cast<ULONG>(answers.size());
    return std::ranges::any_of(answers, isError) ? MAPI_W_ERRORS_RETURNED : S_OK;
}

HRESULT getPropList(const MailboxObject& object, ULONG flags, SPropTagArray** tags)
{
    require(tags != nullptr);
    *tags = nullptr;
    requireFlags(flags, MAPI_UNICODE);
    std::vector<ULONG> all = object.tags();
    for (ULONG& tag : all)
        tag = tagInWidth(tag, (flags & MAPI_UNICODE) != 0);
    *tags = toTagArray(all);
    return S_OK;
}

HRESULT getIDsFromNames(NameMapping& mapping, ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags)
{
    require(tags != nullptr && (count == 0) == (names == nullptr));
    *tags = nullptr;
    requireFlags(flags, MAPI_CREATE);
    std::vector<ULONG> found;
    if (names == nullptr) // all names of the store
    {
        require((flags & MAPI_CREATE) == 0);
        for (const ULONG id : mapping.ids())
            found.push_back(PROP_TAG(PT_UNSPECIFIED, id));
    }
    for (ULONG index = 0; index < count; ++index)
        found.push_back(tagOfName(mapping, names[index], (flags & MAPI_CREATE) != 0));
    *tags = toTagArray(found);
    return std::ranges::find(found, s_unresolved) != found.end() ? MAPI_W_ERRORS_RETURNED : S_OK;
}

SPropTagArray* toTagArray(const std::vector<ULONG>& tags)
{
    const std::size_t size = offsetof(SPropTagArray, aulPropTag) + tags.size() * sizeof(ULONG);
    auto* array = static_cast<SPropTagArray*>(memory::allocate(std::max(size, sizeof(SPropTagArray))));
    array->cValues = static_cast<ULONG>(tags.size());
    std::ranges::copy(tags, array->aulPropTag);
    return array;
}
} // namespace sandbox

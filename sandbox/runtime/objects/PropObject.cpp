#include "sandbox/runtime/objects/PropObject.h"

#include <algorithm>

#include "sandbox/runtime/record/PropertyMemory.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
namespace
{
[[nodiscard]] bool isText(ULONG type) noexcept
{
    return type == PT_UNICODE || type == PT_STRING8;
}

[[nodiscard]] std::string toAnsi(const std::wstring& text)
{
    const int size = static_cast<int>(text.size());
    const int needed = WideCharToMultiByte(CP_ACP, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string ansi(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.data(), size, ansi.data(), needed, nullptr, nullptr);
    return ansi;
}

[[nodiscard]] Property errorAnswer(ULONG requestedTag, HRESULT code)
{
    return {CHANGE_PROP_TYPE(requestedTag, PT_ERROR), PropertyError{code}};
}

/// The value in the width of the type; every value but a text is as it is.
[[nodiscard]] Value inWidthOf(ULONG type, const Value& value)
{
    const auto* text = std::get_if<std::wstring>(&value);
    return type == PT_STRING8 && text != nullptr ? Value(toAnsi(*text)) : value;
}

/// A property's own tag, with text in the width that `unicode` says.
[[nodiscard]] ULONG tagInWidth(ULONG tag, bool unicode) noexcept
{
    return isText(PROP_TYPE(tag)) ? CHANGE_PROP_TYPE(tag, unicode ? PT_UNICODE : PT_STRING8) : tag;
}

/// What an unresolved name gives.
constexpr ULONG unresolved = PROP_TAG(PT_ERROR, 0);

[[nodiscard]] ULONG tagOfName(NameMapping& mapping, const MAPINAMEID* name, bool create)
{
    require(name != nullptr && name->lpguid != nullptr);
    PropertyName wanted{*name->lpguid, {}};
    if (name->ulKind == MNID_ID)
        wanted.name = name->Kind.lID;
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
    return id ? PROP_TAG(PT_UNSPECIFIED, *id) : unresolved;
}
} // namespace

Property answerFor(const std::optional<Property>& found, ULONG requestedTag, bool unicode)
{
    if (!found)
        return errorAnswer(requestedTag, MAPI_E_NOT_FOUND);
    if (const auto* error = std::get_if<PropertyError>(&found->value))
        return errorAnswer(requestedTag, error->code);
    if (found->answersAs != 0)
        return {found->answersAs, inWidthOf(PROP_TYPE(found->answersAs), found->value)};

    const ULONG ownType = PROP_TYPE(found->tag);
    ULONG type = PROP_TYPE(requestedTag);
    if (type == PT_UNSPECIFIED)
        type = PROP_TYPE(tagInWidth(found->tag, unicode));
    const bool matches = type == ownType || (isText(type) && isText(ownType));
    if (!matches)
        return errorAnswer(requestedTag, MAPI_E_NOT_FOUND);
    return {CHANGE_PROP_TYPE(found->tag, type), inWidthOf(type, found->value)};
}

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
    spoilValues(values, *count);
    return std::ranges::any_of(answers, [](const Property& answer) { return PROP_TYPE(answer.tag) == PT_ERROR; })
               ? MAPI_W_ERRORS_RETURNED
               : S_OK;
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
    spoilTags(tags);
    return S_OK;
}

HRESULT getIDsFromNames(NameMapping& mapping, ULONG count, MAPINAMEID** names, ULONG flags, SPropTagArray** tags)
{
    require(tags != nullptr && names != nullptr);
    *tags = nullptr;
    requireFlags(flags, MAPI_CREATE);
    std::vector<ULONG> found;
    for (ULONG index = 0; index < count; ++index)
        found.push_back(tagOfName(mapping, names[index], (flags & MAPI_CREATE) != 0));
    *tags = toTagArray(found);
    spoilTags(tags);
    return std::ranges::find(found, unresolved) != found.end() ? MAPI_W_ERRORS_RETURNED : S_OK;
}
} // namespace sandbox

#include "tests/support/mapi/MapiValues.h"

#include <algorithm>
#include <stdexcept>

#include "agent/mapi/MapiRuntime.h"

namespace tests
{
namespace
{
template <class... Functions>
struct Overloaded : Functions...
{
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;
} // namespace

void* makeBlock(std::size_t size, void* root)
{
    void* block = nullptr;
    const auto bytes = static_cast<ULONG>(size);
    const SCODE result =
        root != nullptr ? mapi::MAPIAllocateMore(bytes, root, &block) : mapi::MAPIAllocateBuffer(bytes, &block);
    if (result != S_OK)
        throw std::logic_error("a provider has no memory");
    return block;
}

void Property::writeTo(SPropValue& value, void* root) const
{
    value = {};
    value.ulPropTag = m_tag;
    std::visit(
        Overloaded{
            [&value](std::nullopt_t) { value.Value.lpszW = nullptr; },
            [&value](LONG number) { value.Value.l = number; },
            [&value](bool flag) { value.Value.b = flag ? 1 : 0; },
            [&](const std::wstring& text)
            {
                value.Value.lpszW = static_cast<wchar_t*>(makeBlock((text.size() + 1) * sizeof(wchar_t), root));
                std::copy_n(text.c_str(), text.size() + 1, value.Value.lpszW);
            },
            [&](const EntryId& bytes)
            {
                value.Value.bin = {static_cast<ULONG>(bytes.size()), static_cast<BYTE*>(makeBlock(bytes.size(), root))};
                std::ranges::copy(bytes, value.Value.bin.lpb);
            },
            [&value](const Error& error)
            {
                value.ulPropTag = CHANGE_PROP_TYPE(value.ulPropTag, PT_ERROR);
                value.Value.err = error.code;
            },
        },
        m_content);
}

SPropValue* makeValues(const Properties& properties)
{
    if (properties.empty())
        return nullptr;
    const auto values = static_cast<SPropValue*>(makeBlock(properties.size() * sizeof(SPropValue)));
    for (std::size_t index = 0; index < properties.size(); ++index)
        properties[index].writeTo(values[index], values);
    return values;
}

SPropTagArray* makeTags(const std::vector<ULONG>& tags)
{
    const auto array = static_cast<SPropTagArray*>(makeBlock(sizeof(ULONG) * (1 + tags.size())));
    array->cValues = static_cast<ULONG>(tags.size());
    std::ranges::copy(tags, array->aulPropTag);
    return array;
}

SRowSet* makeRows(const std::vector<Properties>& rows)
{
    const auto set = static_cast<SRowSet*>(makeBlock(offsetof(SRowSet, aRow) + rows.size() * sizeof(SRow)));
    set->cRows = static_cast<ULONG>(rows.size());
    for (std::size_t index = 0; index < rows.size(); ++index)
        set->aRow[index] = {0, static_cast<ULONG>(rows[index].size()), makeValues(rows[index])};
    return set;
}

std::vector<ULONG> tagsOf(const SPropTagArray* tags)
{
    if (tags == nullptr)
        return {};
    return {tags->aulPropTag, tags->aulPropTag + tags->cValues};
}

HRESULT getProps(const Properties& properties, const SPropTagArray* tags, ULONG* count, SPropValue** values)
{
    Properties selected;
    HRESULT result = S_OK;
    for (const ULONG tag : tagsOf(tags))
    {
        const auto found = std::ranges::find(properties, tag, &Property::tag);
        if (found == properties.end() || found->isError())
            result = MAPI_W_ERRORS_RETURNED;
        selected.push_back(found != properties.end() ? *found : Property::error(tag));
    }
    *values = makeValues(selected);
    *count = static_cast<ULONG>(selected.size());
    return result;
}
} // namespace tests

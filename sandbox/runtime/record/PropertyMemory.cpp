#include "sandbox/runtime/record/PropertyMemory.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "sandbox/runtime/record/Memory.h"

namespace sandbox
{
namespace
{
[[nodiscard]] std::wstring fromAnsi(const char* text)
{
    const int size = static_cast<int>(std::strlen(text));
    const int needed = MultiByteToWideChar(CP_ACP, 0, text, size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, size, wide.data(), needed);
    return wide;
}

/// Lays out the bytes behind an array of SPropValue. Run once with no memory, it counts the bytes that are needed; run
/// again with memory, it writes them.
class Layout
{
public:
    Layout(unsigned char* memory, std::size_t used) noexcept : m_memory(memory), m_used(used) {}

    [[nodiscard]] std::size_t used() const noexcept { return m_used; }

    /// A place for this many bytes, aligned for any of the types; null in the first run.
    void* place(std::size_t size, const void* source = nullptr) noexcept
    {
        constexpr std::size_t alignment = 8;
        m_used = (m_used + alignment - 1) / alignment * alignment;
        unsigned char* target = m_memory != nullptr ? m_memory + m_used : nullptr;
        if (target != nullptr && source != nullptr)
            std::memcpy(target, source, size);
        m_used += size;
        return target;
    }

    /// As `place`, for elements of one type.
    template <class Element>
    Element* array(std::size_t count, const Element* source = nullptr) noexcept
    {
        return static_cast<Element*>(place(count * sizeof(Element), source));
    }

private:
    unsigned char* m_memory;
    std::size_t m_used;
};

[[nodiscard]] SBinary layOutBinary(Layout& layout, const Bytes& bytes) noexcept
{
    return {static_cast<ULONG>(bytes.size()), bytes.empty() ? nullptr : layout.array(bytes.size(), bytes.data())};
}

void layOut(Layout& layout, const Property& answer, SPropValue& target)
{
    target.ulPropTag = answer.tag;
    target.dwAlignPad = 0;
    target.Value.li.QuadPart = 0;
    std::visit(
        [&](const auto& value)
        {
            using Held = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Held, PropertyError>)
                target.Value.err = value.code;
            else if constexpr (std::is_same_v<Held, bool>)
                target.Value.b = value ? 1 : 0;
            else if constexpr (std::is_same_v<Held, std::int32_t>)
                target.Value.l = value;
            else if constexpr (std::is_same_v<Held, std::int64_t>)
                target.Value.li.QuadPart = value;
            else if constexpr (std::is_same_v<Held, double>)
                target.Value.dbl = value;
            else if constexpr (std::is_same_v<Held, std::wstring>)
                target.Value.lpszW = layout.array<WCHAR>(value.size() + 1, value.c_str());
            else if constexpr (std::is_same_v<Held, std::string>)
                target.Value.lpszA = layout.array<char>(value.size() + 1, value.c_str());
            else if constexpr (std::is_same_v<Held, Bytes>)
                target.Value.bin = layOutBinary(layout, value);
            else if constexpr (std::is_same_v<Held, GUID>)
                target.Value.lpguid = layout.array<GUID>(1, &value);
            else if constexpr (std::is_same_v<Held, std::vector<std::int32_t>>)
            {
                static_assert(sizeof(LONG) == sizeof(std::int32_t));
                target.Value.MVl.cValues = static_cast<ULONG>(value.size());
                target.Value.MVl.lpl = static_cast<LONG*>(layout.place(value.size() * sizeof(LONG), value.data()));
            }
            else if constexpr (std::is_same_v<Held, std::vector<std::wstring>>)
            {
                WCHAR** texts = layout.array<WCHAR*>(value.size());
                for (std::size_t index = 0; index < value.size(); ++index)
                {
                    WCHAR* text = layout.array<WCHAR>(value[index].size() + 1, value[index].c_str());
                    if (texts != nullptr)
                        texts[index] = text;
                }
                target.Value.MVszW = {static_cast<ULONG>(value.size()), texts};
            }
            else if constexpr (std::is_same_v<Held, std::vector<Bytes>>)
            {
                SBinary* binaries = layout.array<SBinary>(value.size());
                for (std::size_t index = 0; index < value.size(); ++index)
                {
                    const SBinary binary = layOutBinary(layout, value[index]);
                    if (binaries != nullptr)
                        binaries[index] = binary;
                }
                target.Value.MVbin = {static_cast<ULONG>(value.size()), binaries};
            }
        },
        answer.value);
}
} // namespace

SPropValue* toMapiMemory(std::span<const Property> answers)
{
    const std::size_t head = answers.size() * sizeof(SPropValue);
    Layout measuring(nullptr, head);
    for (const Property& answer : answers)
    {
        SPropValue ignored;
        layOut(measuring, answer, ignored);
    }
    void* block = memory::allocate(measuring.used());
    auto* values = static_cast<SPropValue*>(block);
    Layout writing(static_cast<unsigned char*>(block), head);
    for (std::size_t index = 0; index < answers.size(); ++index)
        layOut(writing, answers[index], values[index]);
    return values;
}

SPropTagArray* toTagArray(const std::vector<ULONG>& tags)
{
    const std::size_t size = offsetof(SPropTagArray, aulPropTag) + tags.size() * sizeof(ULONG);
    auto* array = static_cast<SPropTagArray*>(memory::allocate(std::max(size, sizeof(SPropTagArray))));
    array->cValues = static_cast<ULONG>(tags.size());
    std::ranges::copy(tags, array->aulPropTag);
    return array;
}

RowSet makeRowSet(std::size_t capacity)
{
    const std::size_t size = offsetof(SRowSet, aRow) + capacity * sizeof(SRow);
    auto* rows = static_cast<SRowSet*>(memory::allocate(std::max(size, sizeof(SRowSet))));
    rows->cRows = 0;
    return RowSet(rows);
}

HRESULT freeRows(SRowSet* rows) noexcept
{
    if (rows == nullptr)
        return S_OK;
    // Only of a block of our own can it be known that there are as many rows as it says.
    if (memory::isRoot(rows, sizeof(SRowSet)) &&
        memory::isRoot(rows, offsetof(SRowSet, aRow) + std::size_t(rows->cRows) * sizeof(SRow)))
    {
        for (ULONG index = 0; index < rows->cRows; ++index)
            (void)memory::free(rows->aRow[index].lpProps);
    }
    return memory::free(rows);
}

std::optional<Value> fromMapiMemory(const SPropValue& value)
{
    switch (PROP_TYPE(value.ulPropTag))
    {
    case PT_I2:
        return static_cast<std::int32_t>(value.Value.i);
    case PT_LONG:
        return static_cast<std::int32_t>(value.Value.l);
    case PT_DOUBLE:
        return value.Value.dbl;
    case PT_BOOLEAN:
        return value.Value.b != 0;
    case PT_I8:
    case PT_SYSTIME:
        return static_cast<std::int64_t>(value.Value.li.QuadPart);
    case PT_STRING8:
        return value.Value.lpszA != nullptr ? std::optional<Value>(fromAnsi(value.Value.lpszA)) : std::nullopt;
    case PT_UNICODE:
        return value.Value.lpszW != nullptr ? std::optional<Value>(std::wstring(value.Value.lpszW)) : std::nullopt;
    case PT_CLSID:
        return value.Value.lpguid != nullptr ? std::optional<Value>(*value.Value.lpguid) : std::nullopt;
    case PT_BINARY:
        if (value.Value.bin.cb != 0 && value.Value.bin.lpb == nullptr)
            return std::nullopt;
        return Bytes(value.Value.bin.lpb, value.Value.bin.lpb + value.Value.bin.cb);
    default:
        return std::nullopt;
    }
}
} // namespace sandbox

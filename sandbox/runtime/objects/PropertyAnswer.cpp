#include "sandbox/runtime/objects/PropertyAnswer.h"

#include <cstring>
#include <type_traits>

#include "sandbox/mailbox/model/Text.h"
#include "sandbox/runtime/record/Memory.h"

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

[[nodiscard]] std::wstring fromAnsi(const char* text)
{
    const int size = static_cast<int>(std::strlen(text));
    const int needed = MultiByteToWideChar(CP_ACP, 0, text, size, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, size, wide.data(), needed);
    return wide;
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

/// Lays out the bytes behind an array of SPropValue. Run once with no memory, it tells how many bytes are needed; run
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

ULONG tagInWidth(ULONG tag, bool unicode) noexcept
{
    return isText(PROP_TYPE(tag)) ? CHANGE_PROP_TYPE(tag, unicode ? PT_UNICODE : PT_STRING8) : tag;
}

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

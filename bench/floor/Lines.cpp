#include "bench/floor/Lines.h"

#include <string_view>

#include "bench/floor/Output.h"

namespace bench
{
namespace
{
// At which of the tags each field of the line stands. The e-mail address is no field of these.
constexpr std::size_t email = 5;
constexpr std::array<std::size_t, 10> textFields = {0, 1, 2, 3, 4, email, 6, 8, 7, 9};
constexpr std::size_t firstIdentifier = 10;

/// All but the identifiers. Valid up to the next one.
[[nodiscard]] std::wstring& textOf(const SPropValue* values, const SPropValue& address)
{
    static std::wstring s_text; // keeps its memory from contact to contact
    s_text.clear();
    for (const std::size_t field : textFields)
    {
        const SPropValue& value = field == email ? address : values[field];
        if (PROP_TYPE(value.ulPropTag) == PT_UNICODE)
            s_text += value.Value.lpszW;
        s_text += L';';
    }
    return s_text;
}

template <class Text>
void appendHex(Text& text, const SPropValue& value)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    if (PROP_TYPE(value.ulPropTag) != PT_BINARY)
        return;
    const std::size_t start = text.size();
    text.resize(start + std::size_t{value.Value.bin.cb} * 2);
    auto* to = text.data() + start;
    for (const BYTE* from = value.Value.bin.lpb; from != value.Value.bin.lpb + value.Value.bin.cb; ++from)
    {
        *to++ = digits[*from >> 4];
        *to++ = digits[*from & 0xF];
    }
}

template <class Text>
void appendIdentifiers(Text& text, const SPropValue* values)
{
    appendHex(text, values[firstIdentifier]);
    text += ';';
    appendHex(text, values[firstIdentifier + 1]);
}
} // namespace

void appendLine(std::string& bytes, const SPropValue* values, const SPropValue& address)
{
    appendUtf8(bytes, textOf(values, address));
    appendIdentifiers(bytes, values);
}

std::wstring lineOf(const SPropValue* values, const SPropValue& address)
{
    std::wstring& text = textOf(values, address);
    appendIdentifiers(text, values);
    return std::wstring(std::wstring_view(text));
}
} // namespace bench

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

[[nodiscard]] bool isText(const SPropValue& value)
{
    return PROP_TYPE(value.ulPropTag) == PT_UNICODE;
}

template <class Text>
void appendHex(Text& text, const SPropValue& value)
{
    using Character = typename Text::value_type;
    constexpr std::string_view digits = "0123456789ABCDEF";
    if (PROP_TYPE(value.ulPropTag) != PT_BINARY)
        return;
    const std::size_t start = text.size();
    text.resize(start + std::size_t{value.Value.bin.cb} * 2);
    auto* to = text.data() + start;
    for (const BYTE* from = value.Value.bin.lpb; from != value.Value.bin.lpb + value.Value.bin.cb; ++from)
    {
        *to++ = static_cast<Character>(digits[*from >> 4]);
        *to++ = static_cast<Character>(digits[*from & 0xF]);
    }
}
} // namespace

void appendLine(std::string& bytes, const SPropValue* values, const SPropValue& address)
{
    static std::wstring s_text; // keeps its memory from contact to contact
    s_text.clear();
    for (const std::size_t field : textFields)
    {
        const SPropValue& value = field == email ? address : values[field];
        if (isText(value))
            s_text += value.Value.lpszW;
        s_text += L';';
    }
    appendUtf8(bytes, s_text);
    appendHex(bytes, values[firstIdentifier]);
    bytes += ';';
    appendHex(bytes, values[firstIdentifier + 1]);
}

std::wstring lineOf(const SPropValue* values, const SPropValue& address)
{
    std::array<std::wstring, contactTags.size()> record;
    for (std::size_t field = 0; field < firstIdentifier; ++field)
    {
        const SPropValue& value = field == email ? address : values[field];
        if (isText(value))
            record[field] = value.Value.lpszW;
    }
    for (std::size_t field = firstIdentifier; field < record.size(); ++field)
        appendHex(record[field], values[field]);

    std::size_t size = record.size() - 1;
    for (const std::wstring& text : record)
        size += text.size();
    std::wstring line;
    line.reserve(size);
    for (const std::size_t field : textFields)
    {
        line += record[field];
        line += L';';
    }
    line += record[firstIdentifier];
    line += L';';
    line += record[firstIdentifier + 1];
    return line;
}
} // namespace bench

#include "sandbox/mailbox/reading/PropertyReader.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <utility>

#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/PublishedNames.h"

namespace sandbox
{
namespace
{
struct TypeWord
{
    std::string_view word;
    ULONG type;
};

// The words for types behind a named property.
constexpr TypeWord typeWords[] = {
    {"text", PT_UNICODE},    {"binary", PT_BINARY}, {"long", PT_LONG},
    {"boolean", PT_BOOLEAN}, {"time", PT_SYSTIME},  {"texts", MV_FLAG | PT_UNICODE},
};

[[nodiscard]] bool isServed(ULONG type) noexcept
{
    switch (type)
    {
    case PT_I2:
    case PT_LONG:
    case PT_DOUBLE:
    case PT_BOOLEAN:
    case PT_I8:
    case PT_STRING8:
    case PT_UNICODE:
    case PT_SYSTIME:
    case PT_CLSID:
    case PT_BINARY:
    case MV_FLAG | PT_LONG:
    case MV_FLAG | PT_UNICODE:
    case MV_FLAG | PT_BINARY:
        return true;
    default:
        return false;
    }
}

[[nodiscard]] ULONG mappedTag(const PropertyName& name, ULONG type, const std::string& path, NameMapping* names)
{
    if (names == nullptr)
        failAt(path, "this object can't have named properties");
    const std::optional<ULONG> id = names->findOrCreate(name);
    if (!id)
        failAt(path, "the store has no identifier left for a named property");
    return PROP_TAG(type, *id);
}

/// "<set>:<number or name>:<type>".
[[nodiscard]] ULONG readNamedKey(std::string_view key, const std::string& path, NameMapping* names)
{
    const std::size_t first = key.find(':');
    const std::size_t last = key.rfind(':');
    if (first == last)
        failAt(path, "a named property is written <set>:<number or name>:<type>");
    const std::optional<GUID> set = propertySetOf(key.substr(0, first));
    if (!set)
        failAt(path, "'" + std::string(key.substr(0, first)) + "' is no property set");
    const std::string_view word = key.substr(last + 1);
    const TypeWord* type = std::find_if(std::begin(typeWords), std::end(typeWords),
                                        [word](const TypeWord& known) { return known.word == word; });
    if (type == std::end(typeWords))
        failAt(path, "'" + std::string(word) + "' is no type; known are text, binary, long, boolean, time, texts");
    const std::string_view nameText = key.substr(first + 1, last - first - 1);
    if (nameText.empty())
        failAt(path, "a named property needs a number or a name");
    PropertyName name{*set, toWide(nameText)};
    if (const std::optional<ULONG> number = hexNumberOf(nameText))
        name.name = static_cast<LONG>(*number);
    return mappedTag(name, type->type, path, names);
}

[[nodiscard]] ULONG readKey(std::string_view key, const std::string& path, NameMapping* names)
{
    if (const std::optional<ULONG> tag = propertyTagOf(key))
        return *tag;
    if (const std::optional<KnownNamedProperty> named = namedPropertyOf(key))
        return mappedTag(named->name, named->type, path, names);
    if (key.find(':') != std::string_view::npos)
        return readNamedKey(key, path, names);
    if (!key.starts_with("0x"))
        failAt(path, "no property has this name; others can be written as a tag, 0x and eight digits");
    const ULONG tag = readTag(key, path);
    if (PROP_ID(tag) >= 0x8000)
        failAt(path, "properties from 8000 on are named ones, and are written by their names");
    return tag;
}

[[nodiscard]] std::wstring readUtf16(const Json& value, const std::string& path)
{
    const Bytes bytes = readHex(value, path);
    if (bytes.size() % 2 != 0)
        failAt(path, "must be four hexadecimal digits for each UTF-16 unit");
    std::wstring text;
    for (std::size_t at = 0; at < bytes.size(); at += 2)
        text += static_cast<wchar_t>((bytes[at] << 8) | bytes[at + 1]);
    if (text.find(L'\0') != std::wstring::npos)
        failAt(path, "a text can't hold the character U+0000");
    return text;
}

// Which form a value must have follows from the property's type, so the schema can't say it.

[[nodiscard]] const std::string& requireText(const Json& value, const std::string& path)
{
    if (!value.is_string())
        failAt(path, "must be a text");
    return value.get_ref<const std::string&>();
}

[[nodiscard]] std::wstring readAnyText(const Json& value, const std::string& path)
{
    if (value.is_object() && value.contains("utf16"))
        return readUtf16(value.at("utf16"), memberPath(path, "utf16"));
    (void)requireText(value, path);
    return readText(value, path);
}

[[nodiscard]] Bytes readBinary(const Json& value, const std::string& path)
{
    (void)requireText(value, path);
    return readHex(value, path);
}

[[nodiscard]] std::int64_t readInteger(const Json& value, const std::string& path, std::int64_t minimum,
                                       std::int64_t maximum)
{
    const bool isTooBig =
        value.is_number_unsigned() && value.get<std::uint64_t>() > static_cast<std::uint64_t>(maximum);
    if (!value.is_number_integer() || isTooBig || value.get<std::int64_t>() < minimum ||
        value.get<std::int64_t>() > maximum)
        failAt(path, "must be an integer from " + std::to_string(minimum) + " to " + std::to_string(maximum));
    return value.get<std::int64_t>();
}

[[nodiscard]] std::int32_t readLong(const Json& value, const std::string& path)
{
    if (value.is_string())
    {
        const std::optional<ULONG> number = hexNumberOf(value.get_ref<const std::string&>());
        if (!number)
            failAt(path, "must be an integer, or 0x and up to eight digits");
        return static_cast<std::int32_t>(*number);
    }
    constexpr std::int64_t minimum = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t maximum = std::numeric_limits<std::uint32_t>::max(); // flags are often written unsigned
    return static_cast<std::int32_t>(readInteger(value, path, minimum, maximum));
}

/// "2024-05-01T12:30:00Z" as 100-nanosecond steps since 1601.
[[nodiscard]] std::int64_t readTime(const Json& value, const std::string& path)
{
    namespace chrono = std::chrono;
    const std::string& text = requireText(value, path);
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, length = 0;
    const int fields =
        std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &year, &month, &day, &hour, &minute, &second, &length);
    const chrono::year_month_day date{chrono::year(year), chrono::month(static_cast<unsigned>(month)),
                                      chrono::day(static_cast<unsigned>(day))};
    if (fields != 6 || static_cast<std::size_t>(length) != text.size() || text.size() != 20 || !date.ok() ||
        year < 1601 || hour > 23 || minute > 59 || second > 59)
        failAt(path, "must be a time like \"2024-05-01T12:30:00Z\", 1601 or later");
    const auto days = chrono::sys_days(date) - chrono::sys_days(chrono::year(1601) / 1 / 1);
    const chrono::seconds seconds = days + chrono::hours(hour) + chrono::minutes(minute) + chrono::seconds(second);
    return seconds.count() * 10'000'000;
}

[[nodiscard]] GUID readGuid(const Json& value, const std::string& path)
{
    const std::optional<GUID> guid = guidOf(requireText(value, path));
    if (!guid)
        failAt(path, "must be like \"{00062004-0000-0000-C000-000000000046}\"");
    return *guid;
}

template <class Read>
[[nodiscard]] auto readElements(const Json& value, const std::string& path, Read read)
{
    if (!value.is_array())
        failAt(path, "must be a list");
    std::vector<decltype(read(value, path))> elements;
    for (const Json& element : value)
        elements.push_back(read(element, elementPath(path, elements.size())));
    return elements;
}

[[nodiscard]] Value readValue(const Json& value, ULONG type, const std::string& path)
{
    switch (type)
    {
    case PT_I2:
        return static_cast<std::int32_t>(readInteger(value, path, -0x8000, 0xFFFF));
    case PT_LONG:
        return readLong(value, path);
    case PT_DOUBLE:
        if (!value.is_number())
            failAt(path, "must be a number");
        return value.get<double>();
    case PT_BOOLEAN:
        if (!value.is_boolean())
            failAt(path, "must be true or false");
        return value.get<bool>();
    case PT_I8:
        return readInteger(value, path, std::numeric_limits<std::int64_t>::min(),
                           std::numeric_limits<std::int64_t>::max());
    case PT_STRING8:
    case PT_UNICODE:
        return readAnyText(value, path);
    case PT_SYSTIME:
        return readTime(value, path);
    case PT_CLSID:
        return readGuid(value, path);
    case PT_BINARY:
        return readBinary(value, path);
    case MV_FLAG | PT_LONG:
        return readElements(value, path, readLong);
    case MV_FLAG | PT_UNICODE:
        return readElements(value, path, readAnyText);
    case MV_FLAG | PT_BINARY:
        return readElements(value, path, readBinary);
    default:
        failAt(path, "the sandbox serves no property of this type");
    }
}

/// A value with its wrappings: an error, or an answer under another tag.
[[nodiscard]] Property readProperty(const Json& value, ULONG tag, const std::string& path)
{
    if (value.is_object() && value.contains("error"))
        return {tag, PropertyError{readResult(value.at("error"), memberPath(path, "error"))}};
    if (value.is_object() && value.contains("answersAs"))
    {
        const ULONG answered =
            readTag(value.at("answersAs").get_ref<const std::string&>(), memberPath(path, "answersAs"));
        return {tag, readValue(value.at("value"), PROP_TYPE(answered), memberPath(path, "value")), answered};
    }
    return {tag, readValue(value, PROP_TYPE(tag), path)};
}
} // namespace

void readProperties(const Json& value, const std::string& path, NameMapping* names, PropertySet& into)
{
    for (const auto& [key, said] : value.items())
    {
        const std::string place = memberPath(path, key);
        const ULONG tag = readKey(key, place, names);
        if (into.find(PROP_ID(tag)) != nullptr)
            failAt(place, "this property is given already, by another key of the same object");
        if (said.is_null())
            into.setAbsent(PROP_ID(tag));
        else
            into.set(readProperty(said, tag, place));
    }
}

ULONG readTag(std::string_view text, const std::string& path)
{
    const std::optional<ULONG> tag = hexNumberOf(text);
    if (!tag || text.size() != 10 || PROP_ID(*tag) == 0)
        failAt(path, "must be a property tag: 0x and eight digits");
    if (!isServed(PROP_TYPE(*tag)))
        failAt(path, "the sandbox serves no property of this type");
    return *tag;
}

HRESULT readResult(const Json& value, const std::string& path)
{
    const std::optional<HRESULT> result = resultOf(value.get_ref<const std::string&>());
    if (!result)
        failAt(path, "no result has this name; others can be written as 0x and up to eight digits");
    return *result;
}
} // namespace sandbox

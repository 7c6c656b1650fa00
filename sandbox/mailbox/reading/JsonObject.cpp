#include "sandbox/mailbox/reading/JsonObject.h"

#include <utility>

#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
void failAt(const std::string& path, const std::string& text)
{
    throw MailboxError((path.empty() ? "/" : path) + ": " + text);
}

std::string memberPath(const std::string& path, std::string_view key)
{
    std::string member = path + "/";
    for (const char character : key)
    {
        if (character == '~')
            member += "~0";
        else if (character == '/')
            member += "~1";
        else
            member += character;
    }
    return member;
}

std::string elementPath(const std::string& path, std::size_t index)
{
    return path + "/" + std::to_string(index);
}

const std::string& requireText(const Json& value, const std::string& path)
{
    if (!value.is_string())
        failAt(path, "must be a text");
    return value.get_ref<const std::string&>();
}

const Json& requireList(const Json& value, const std::string& path)
{
    if (!value.is_array())
        failAt(path, "must be a list");
    return value;
}

std::wstring readText(const Json& value, const std::string& path)
{
    const std::string& text = requireText(value, path);
    if (text.find('\0') != std::string::npos)
        failAt(path, "a text can't hold the character U+0000");
    return toWide(text);
}

bool readBoolean(const Json& value, const std::string& path)
{
    if (!value.is_boolean())
        failAt(path, "must be true or false");
    return value.get<bool>();
}

std::int64_t readInteger(const Json& value, const std::string& path, std::int64_t minimum, std::int64_t maximum)
{
    const auto refuse = [&]
    {
        failAt(path, "must be an integer from " + std::to_string(minimum) + " to " + std::to_string(maximum));
    };
    if (!value.is_number_integer())
        refuse();
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        refuse();
    const auto number = value.get<std::int64_t>();
    if (number < minimum || number > maximum)
        refuse();
    return number;
}

std::uint32_t readCount(const Json& value, const std::string& path, std::uint32_t maximum)
{
    return static_cast<std::uint32_t>(readInteger(value, path, 0, maximum));
}

Bytes readHex(const Json& value, const std::string& path)
{
    std::optional<Bytes> bytes = fromHex(requireText(value, path));
    if (!bytes)
        failAt(path, "must be hexadecimal digits in pairs");
    return *std::move(bytes);
}

JsonObject::JsonObject(const Json& value, std::string path) : m_value(value), m_path(std::move(path))
{
    if (!value.is_object())
        failAt(m_path, "must be an object");
}

const Json* JsonObject::find(std::string_view key)
{
    m_known.emplace(key);
    const auto place = m_value.find(key);
    return place != m_value.end() ? &*place : nullptr;
}

const Json& JsonObject::require(std::string_view key)
{
    const Json* value = find(key);
    if (value == nullptr)
        failAt(m_path, "'" + std::string(key) + "' is missing");
    return *value;
}

void JsonObject::finish() const
{
    for (const auto& [key, value] : m_value.items())
    {
        if (m_known.contains(key))
            continue;
        std::string known;
        for (const std::string& name : m_known)
            known += (known.empty() ? "" : ", ") + name;
        failAt(pathOf(key), "unknown key; known here are " + known);
    }
}
} // namespace sandbox

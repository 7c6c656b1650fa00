#include "sandbox/mailbox/reading/JsonObject.h"

#include <utility>

#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
void failAt(const std::string& path, const std::string& text)
{
    throw MailboxError(path, text);
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

std::wstring readText(const Json& value, const std::string& path)
{
    const auto& text = value.get_ref<const std::string&>();
    if (text.find('\0') != std::string::npos)
        failAt(path, "a text can't hold the character U+0000");
    return toWide(text);
}

Bytes readHex(const Json& value, const std::string& path)
{
    std::optional<Bytes> bytes = fromHex(value.get_ref<const std::string&>());
    if (!bytes)
        failAt(path, "must be hexadecimal digits in pairs");
    return *std::move(bytes);
}

const Json* JsonObject::find(std::string_view key) const
{
    const auto place = m_value.find(key);
    return place != m_value.end() ? &*place : nullptr;
}
} // namespace sandbox

// JsonObject.h: JSON that the schema allows, with the paths for complaints that the schema can't make.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/model/MailboxError.h"

namespace sandbox
{
using Json = nlohmann::json;

/// Throws MailboxError "<path>: <text>".
[[noreturn]] void failAt(const std::string& path, const std::string& text);

/// The path of a member or an element below `path`, as a JSON pointer.
[[nodiscard]] std::string memberPath(const std::string& path, std::string_view key);
[[nodiscard]] std::string elementPath(const std::string& path, std::size_t index);

// Both take a JSON text, and throw MailboxError with its path for one that has another form.

[[nodiscard]] std::wstring readText(const Json& value, const std::string& path);
[[nodiscard]] Bytes readHex(const Json& value, const std::string& path);

/// Runs `work`; a rule of the mailbox that it would break becomes a MailboxError with the path.
template <class Work>
auto withPath(const std::string& path, Work work)
{
    try
    {
        return work();
    }
    catch (const MailboxRuleError& error)
    {
        failAt(path, error.what());
    }
}

/// One JSON object and its path.
class JsonObject
{
public:
    /// @param value  borrowed; an object.
    JsonObject(const Json& value, std::string path) : m_value(value), m_path(std::move(path)) {}

    /// The member, or null if there is none.
    [[nodiscard]] const Json* find(std::string_view key) const;
    /// The member, which the schema requires.
    [[nodiscard]] const Json& at(const std::string& key) const { return m_value.at(key); }
    /// The member's value, or `otherwise` if there is none.
    template <class Value>
    [[nodiscard]] Value value(const std::string& key, Value otherwise) const
    {
        return m_value.value(key, std::move(otherwise));
    }
    [[nodiscard]] std::string pathOf(std::string_view key) const { return memberPath(m_path, key); }
    [[nodiscard]] const std::string& path() const noexcept { return m_path; }

private:
    const Json& m_value; // borrowed
    const std::string m_path;
};
} // namespace sandbox

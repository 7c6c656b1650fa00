// JsonObject.h: reading JSON so that every complaint names its place, and nothing is passed over unseen.
#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/model/MailboxError.h"

namespace sandbox
{
using Json = nlohmann::json;

/// What a null stands for in the place of a value: a mistake, or, in a change of an object that there is, that the value
/// is taken away.
enum class Nulls
{
    Refused,
    TakeAway
};

/// Throws MailboxError "<path>: <text>".
[[noreturn]] void failAt(const std::string& path, const std::string& text);

/// The path of a member or an element below `path`, as a JSON pointer.
[[nodiscard]] std::string memberPath(const std::string& path, std::string_view key);
[[nodiscard]] std::string elementPath(const std::string& path, std::size_t index);

/// The value as what it has to be; throws MailboxError with its path if it is anything else.
[[nodiscard]] std::wstring readText(const Json& value, const std::string& path);
[[nodiscard]] bool readBoolean(const Json& value, const std::string& path);
[[nodiscard]] std::uint32_t readCount(const Json& value, const std::string& path, std::uint32_t maximum);
[[nodiscard]] std::int64_t readInteger(const Json& value, const std::string& path, std::int64_t minimum,
                                       std::int64_t maximum);
[[nodiscard]] Bytes readHex(const Json& value, const std::string& path);
[[nodiscard]] const Json& requireList(const Json& value, const std::string& path);
[[nodiscard]] const std::string& requireText(const Json& value, const std::string& path);

/// Runs `work`; a rule of the mailbox that it would break is told with the path, as MailboxError.
template <class Work>
auto withPlace(const std::string& path, Work work)
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

/// One JSON object with a fixed set of keys. Reading goes: ask for each key, then `finish`, which refuses the object if
/// it has a key that nobody asked for.
class JsonObject
{
public:
    /// @param value  borrowed; throws MailboxError if it is no object.
    JsonObject(const Json& value, std::string path);

    /// The member, or null if there is none.
    [[nodiscard]] const Json* find(std::string_view key);
    /// The member; throws MailboxError if there is none.
    [[nodiscard]] const Json& require(std::string_view key);
    [[nodiscard]] std::string pathOf(std::string_view key) const { return memberPath(m_path, key); }
    [[nodiscard]] const std::string& path() const noexcept { return m_path; }

    /// Throws MailboxError naming the first unknown key, and those that are known.
    void finish() const;

private:
    const Json& m_value; // borrowed
    const std::string m_path;
    std::set<std::string, std::less<>> m_known;
};
} // namespace sandbox

// HostState.h: what a host knows that believes all that the agent tells it.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace endtoend::soak
{
class HostState
{
public:
    /// Takes a message in, without the length in front of it. Throws std::runtime_error if it isn't well formed: header,
    /// indexes, the fields of each line.
    void receive(const std::string& message);

    /// The lines of the contacts, by their identifiers.
    [[nodiscard]] const std::map<std::string, std::string>& contacts() const noexcept { return m_contacts; }
    [[nodiscard]] bool operator==(const HostState& other) const = default;

private:
    void put(const std::string& line);
    void forgetContact(const std::string& line);
    void forgetFolder(const std::string& line);

    std::map<std::string, std::string> m_contacts;
};

/// Which store a message tells of, by its number: the one in the identifiers of its first line.
[[nodiscard]] unsigned storeOfMessage(const std::string& message);
} // namespace endtoend::soak

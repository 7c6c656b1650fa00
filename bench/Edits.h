// Edits.h: a mailbox whose contacts get other names, and what must come of that.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

#include "tests/endtoend/Expected.h"

namespace bench
{
/// Edits of contacts, one after the other: each gives a contact a name that none has had. The first ones come round again
/// when all have been edited.
class Edits
{
public:
    /// @param contacts  how many the mailbox has.
    explicit Edits(std::size_t contacts) : m_contacts(contacts) {}

    /// The mailbox: one store, one folder that counts.
    [[nodiscard]] std::string mailbox() const
    {
        const nlohmann::json contacts(m_contacts, {{"displayName", "Contact"}});
        const nlohmann::json folder = {{"name", "Contacts"}, {"class", "IPF.Contact"}, {"messages", contacts}};
        const nlohmann::json store = {
            {"name", "Mailbox"}, {"ipmSubtree", {{"class", "IPF.Note"}}}, {"folders", {folder}}};
        return nlohmann::json{{"stores", {store}}}.dump();
    }

    /// The next one as a request of docs/sandbox-control.md.
    [[nodiscard]] nlohmann::json next()
    {
        const auto contact = static_cast<unsigned>(m_count++ % m_contacts + 1);
        const std::string name = "Contact number " + std::to_string(m_count);
        m_line = endtoend::namedLine(name, 1, endtoend::firstFolder, contact);
        return {{"do", "editContact"},
                {"contact", '#' + endtoend::messageId(1, endtoend::firstFolder, contact)},
                {"set", {{"displayName", name}}}};
    }

    /// The contact's line after the last edit, and the message that it must bring when it comes alone.
    [[nodiscard]] const std::string& line() const noexcept { return m_line; }
    [[nodiscard]] std::string message() const { return endtoend::change("change", "contact", {m_line}); }

private:
    const std::size_t m_contacts;
    std::size_t m_count = 0;
    std::string m_line;
};

/// Throws when a message is another one than it must be.
inline void expectMessage(const std::string& actual, const std::string& expected)
{
    if (actual != expected)
        throw std::runtime_error("the host has had\n" + actual.substr(0, 500) + "\ninstead of\n" +
                                 expected.substr(0, 500));
}
} // namespace bench

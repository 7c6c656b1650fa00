// WatchRules.h: what the agent must send to the host, by the rules of docs/architecture.md and docs/wire-protocol.md alone.
// It shares no code with the agent.
#pragma once

#include <compare>
#include <set>
#include <string>
#include <vector>

#include "tests/endtoend/soak/MailboxModel.h"

namespace endtoend::soak
{
/// A contact's line of a message.
[[nodiscard]] std::string lineOf(const Object& contact);

/// The stores in the order in which the agent reads them and subscribes to them, by their numbers.
[[nodiscard]] std::vector<unsigned> orderOfStores(const MailboxModel& mailbox);

/// What the agent may have made of some batches.
struct Outcome
{
    std::vector<std::string> messages;
    std::set<std::string> watched; // the folders that are then
    bool isNested = false;         // later batches were handled inside an earlier one

    auto operator<=>(const Outcome&) const = default;
};

/// What becomes known of one store.
class WatchRules
{
public:
    /// Reads the store as the agent does at its start. The mailbox must outlive this object.
    WatchRules(const MailboxModel& mailbox, unsigned store);

    /// The lines of the snapshot.
    [[nodiscard]] std::vector<std::string> snapshot() const;
    /// The folders that may be watched.
    [[nodiscard]] std::set<std::string> watched() const;
    /// Whether folders are watched for certain, so that the agent asks MAPI about every batch.
    [[nodiscard]] bool isListenedTo() const;
    /// All that may come of these batches, which are asked for when all of them have been done to the mailbox: each is
    /// handled behind the one before it, or all later ones inside one of them, while that calls MAPI.
    [[nodiscard]] std::set<Outcome> outcomesOf(const std::vector<std::vector<Event>>& batches) const;
    /// It was one of these, as far as messages tell.
    void follow(const std::vector<Outcome>& outcomes);

private:
    class Handling;

    [[nodiscard]] const Store& store() const { return m_mailbox.store(m_store); }
    [[nodiscard]] bool looksLikeContacts(const Object& folder) const;
    [[nodiscard]] std::vector<Object> visibleFolders() const;
    void addVisible(const Object& folder, std::vector<Object>& visible) const;
    [[nodiscard]] const Object* objectHere(const std::string& id) const;

    const MailboxModel& m_mailbox;
    const unsigned m_store;
    std::set<std::set<std::string>> m_watched; // one of these; mostly there is one
};
} // namespace endtoend::soak

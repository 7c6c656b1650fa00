// WatchRules.h: what the agent must send to the host, by the rules of docs/architecture.md and docs/wire-protocol.md alone.
// It shares no code with the agent.
#pragma once

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

/// What becomes known of one store.
class WatchRules
{
public:
    /// Reads the store as the agent does at its start. The mailbox must outlive this object.
    WatchRules(const MailboxModel& mailbox, unsigned store);

    /// The lines of the snapshot.
    [[nodiscard]] std::vector<std::string> snapshot() const;
    /// The messages about a batch, which are asked for when all of it has been done to the mailbox.
    [[nodiscard]] std::vector<std::string> messagesAbout(const std::vector<Event>& batch);

private:
    struct Changes
    {
        std::vector<std::string> deletedFolders;
        std::vector<std::string> deleted;
        std::vector<std::string> added;
        std::vector<std::string> changed;
    };

    [[nodiscard]] const Store& store() const { return m_mailbox.store(m_store); }
    [[nodiscard]] bool looksLikeContacts(const Object& folder) const;
    [[nodiscard]] std::vector<Object> visibleFolders() const;
    void addVisible(const Object& folder, std::vector<Object>& visible) const;
    [[nodiscard]] bool isSource(bool isFolder, const std::string& parent) const;
    [[nodiscard]] const Object* objectHere(const std::string& id) const;

    void handle(const Event& event, Changes& changes);
    void comesIn(const Event& event, Changes& changes);
    void goes(bool isFolder, const std::string& id, Changes& changes);
    void changesItself(const Event& event, Changes& changes) const;
    void reconcile(Changes& changes);

    const MailboxModel& m_mailbox;
    const unsigned m_store;
    std::set<std::string> m_watched;
};
} // namespace endtoend::soak

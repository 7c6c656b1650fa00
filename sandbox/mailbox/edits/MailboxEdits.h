// MailboxEdits.h: changes of a mailbox that is being served.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sandbox/mailbox/edits/EditEvents.h"
#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/model/StoreEvent.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Steps back, run in the reverse order, unless `forget` came first.
class UndoLog
{
public:
    UndoLog() = default;
    UndoLog(const UndoLog&) = delete;
    UndoLog& operator=(const UndoLog&) = delete;
    ~UndoLog()
    {
        while (!m_steps.empty())
        {
            m_steps.back()();
            m_steps.pop_back();
        }
    }

    /// @param step  takes back one thing, done right before or right after this call; must not throw.
    void push(std::function<void()> step) { m_steps.push_back(std::move(step)); }
    void forget() noexcept { m_steps.clear(); }

private:
    std::vector<std::function<void()>> m_steps;
};
/// Edits that go together: they all stay, with `keep`, or none does. What they are and what they notify stands in
/// docs/sandbox-control.md. What is deleted still answers those who hold it. Whoever makes one of these holds the mailbox's
/// mutex for as long as it lives.
///
/// The first edit that throws ends the use of the object: nothing is left but to destroy it. Complaints are MailboxError with
/// the place in the JSON, where an edit has some, and MailboxRuleError otherwise.
class MailboxEdits
{
public:
    /// @param mailbox  borrowed.
    explicit MailboxEdits(Mailbox& mailbox);

    /// @param path  the path of the JSON, as complaints have it; here and below.
    std::shared_ptr<Message> addContact(const std::shared_ptr<Folder>& folder, const Json& contact,
                                        const std::string& path);
    /// With all that the JSON says to lie in it.
    std::shared_ptr<Folder> addFolder(const std::shared_ptr<Folder>& parent, const Json& folder,
                                      const std::string& path);

    void editContact(const std::shared_ptr<Message>& message, const Json& set, const std::string& path);
    void editFolder(const std::shared_ptr<Folder>& folder, const Json& set, const std::string& path);
    void editStore(const std::shared_ptr<Store>& store, const Json& set, const std::string& path);

    /// Gives the object in its new place, which is another one unless it is a folder that stays in its store, or `keepId` is
    /// said of a message.
    std::shared_ptr<MailboxObject> move(const std::shared_ptr<MailboxObject>& object,
                                        const std::shared_ptr<Folder>& target, bool keepId);
    /// Gives the copy.
    std::shared_ptr<MailboxObject> copy(const std::shared_ptr<MailboxObject>& object,
                                        const std::shared_ptr<Folder>& target);
    void remove(const std::shared_ptr<MailboxObject>& object);

    /// A raw notification, sent as it stands.
    void inject(const Store& store, StoreEvent event);

    /// Makes all of it stay, and gives what is to be notified, once the mailbox is no longer locked.
    [[nodiscard]] std::vector<StoreBatch> keep();

private:
    [[nodiscard]] Store& storeOf(const Folder& folder) const;
    std::shared_ptr<Message> copyMessage(const Message& message, const std::shared_ptr<Folder>& target);
    std::shared_ptr<Folder> copyFolder(const std::shared_ptr<Folder>& folder, const std::shared_ptr<Folder>& target);
    void takeOut(const std::shared_ptr<MailboxObject>& object);
    std::shared_ptr<Message> moveMessage(const std::shared_ptr<Message>& message, const std::shared_ptr<Folder>& target,
                                         bool keepId);
    std::shared_ptr<Folder> moveFolder(const std::shared_ptr<Folder>& folder, const std::shared_ptr<Folder>& target);
    void undoAdding(const std::shared_ptr<Folder>& parent);
    void addMoveEvents(const MailboxObject& former, const ObjectPlace& formerPlace, const Store& formerStore,
                       const MailboxObject& object, const Store& store);

    Mailbox& m_mailbox;
    EditEvents m_events;
    std::vector<std::shared_ptr<MailboxObject>> m_gone;
    UndoLog m_undo; // the last member: runs while the others are there
};
} // namespace sandbox

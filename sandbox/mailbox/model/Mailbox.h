// Mailbox.h: what the sandbox serves: stores with folders and messages, an address book, and plans.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/Bytes.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/Plan.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
/// The whole mailbox of one profile. It owns every object in it and knows each by all its entry identifiers. Its parts
/// take no locks: whoever serves it to several threads holds `mutex` during each use.
class Mailbox
{
public:
    Mailbox();
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

    [[nodiscard]] std::mutex& mutex() const noexcept { return m_mutex; }

    // Making it. Each call throws MailboxRuleError when an identifier is used twice; addFolder and addMessage leave all but
    // the numbers of later objects as it was then.

    /// The mapping of named properties for the next store.
    [[nodiscard]] std::shared_ptr<NameMapping> namesOfNextStore() const;
    std::shared_ptr<Store> addStore(StoreDescription store, FolderDescription root, FolderDescription ipmSubtree);
    std::shared_ptr<Folder> addFolder(Store& store, const std::shared_ptr<Folder>& parent,
                                      FolderDescription description);
    /// @param generator, index  as Message takes them.
    std::shared_ptr<Message> addMessage(Store& store, const std::shared_ptr<Folder>& folder,
                                        ObjectDescription description,
                                        std::shared_ptr<const ContactGenerator> generator = nullptr,
                                        std::uint32_t index = 0);
    void addGeneratedContacts(Store& store, const std::shared_ptr<Folder>& folder, std::uint32_t count,
                              std::uint32_t seed);
    /// @param key  the name under which contacts refer to the user.
    std::shared_ptr<AddressEntry> addAddressEntry(const std::string& key, AddressEntryDescription description);

    void setFastShutdown(bool supported) noexcept { m_fastShutdown = supported; }
    /// @param rows  the most rows of one QueryRows, 0 for no limit.
    void setRowsPerQuery(std::uint32_t rows) noexcept { m_rowsPerQuery = rows; }

    /// Plans for calls, for whoever serves the mailbox.
    void addPlan(Plan plan) { m_plans.push_back(std::move(plan)); }

    // Taking out of it. The object is still there for those who hold it, and can come back.

    /// The object's identifiers, and those of all that lies below it, open nothing from now on. For a folder or message.
    void forget(const std::shared_ptr<MailboxObject>& object);
    /// They open it again.
    void remember(const std::shared_ptr<MailboxObject>& object);

    // Reading it.

    [[nodiscard]] const std::vector<std::shared_ptr<Store>>& stores() const noexcept { return m_stores; }
    [[nodiscard]] const std::vector<Plan>& plans() const noexcept { return m_plans; }
    [[nodiscard]] const AddressBook& addressBook() const noexcept { return m_addressBook; }
    [[nodiscard]] bool supportsFastShutdown() const noexcept { return m_fastShutdown; }
    [[nodiscard]] std::uint32_t rowsPerQuery() const noexcept { return m_rowsPerQuery; }

    /// The object that an identifier, of whatever form, stands for; null if there is none.
    [[nodiscard]] std::shared_ptr<MailboxObject> find(const Bytes& entryId) const;

private:
    void registerObject(const std::shared_ptr<MailboxObject>& object, const std::vector<Bytes>& ids);
    [[nodiscard]] std::shared_ptr<Message> findMessage(const Bytes& entryId) const;
    void registerFolder(const std::shared_ptr<Folder>& folder);
    void registerMessage(const std::shared_ptr<Message>& message);
    void unregister(const MailboxObject& object, const std::vector<Bytes>& ids);

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<Store>> m_stores;
    // All identifiers but those that messages have by rule, which are many and say themselves whose they are.
    std::unordered_map<Bytes, std::shared_ptr<MailboxObject>, BytesHash> m_objects;
    AddressBook m_addressBook;
    std::vector<Plan> m_plans;
    bool m_fastShutdown = true;
    std::uint32_t m_rowsPerQuery = 0;
};
} // namespace sandbox

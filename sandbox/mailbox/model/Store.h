// Store.h: a message store of the mailbox.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/MailboxObject.h"
#include "sandbox/mailbox/model/NameMapping.h"

namespace sandbox
{
class Folder;
class Message;

struct StoreDescription
{
    ObjectDescription object;
    std::wstring name;
    std::wstring provider;
    bool isDefault = false;
    bool isPublic = false;
    std::shared_ptr<NameMapping> names; // never null; the identifiers by which `object` names its named properties
};

/// A message store: its folders hang on `root`, those that a user sees on `ipmSubtree` below it.
class Store final : public MailboxObject
{
public:
    /// @param number  the store's place in the mailbox, from 1.
    Store(unsigned number, StoreDescription description);

    [[nodiscard]] ULONG type() const noexcept override { return MAPI_STORE; }

    [[nodiscard]] unsigned number() const noexcept { return m_number; }
    [[nodiscard]] const StoreUid& uid() const noexcept { return m_uid; }
    [[nodiscard]] const std::wstring& name() const noexcept { return m_name; }
    /// One mapping for all objects of the store.
    [[nodiscard]] NameMapping& names() const noexcept { return *m_names; }

    /// Null only while the store is being made.
    [[nodiscard]] const std::shared_ptr<Folder>& root() const noexcept { return m_root; }
    [[nodiscard]] const std::shared_ptr<Folder>& ipmSubtree() const noexcept { return m_ipmSubtree; }
    void setTopFolders(std::shared_ptr<Folder> root, std::shared_ptr<Folder> ipmSubtree) noexcept;

    [[nodiscard]] StoreDescription storeDescription() const;
    /// Says something else about it from now on. Its identifiers, and the mapping of named properties, stay.
    void redescribe(StoreDescription description);

    [[nodiscard]] std::uint64_t nextFolderNumber() noexcept { return ++m_lastFolder; }
    [[nodiscard]] std::uint64_t nextMessageNumber() noexcept { return ++m_lastMessage; }
    /// How much has been handed out so far. Setting it takes back what came later.
    struct HandedOut
    {
        std::uint64_t folders = 0;
        std::uint64_t messages = 0;
        std::size_t names = 0;
    };
    [[nodiscard]] HandedOut handedOut() const noexcept { return {m_lastFolder, m_lastMessage, m_names->size()}; }
    void setHandedOut(const HandedOut& handedOut);

    void addMessage(std::uint64_t number, const std::shared_ptr<Message>& message);
    void removeMessage(std::uint64_t number) { m_messages.erase(number); }
    /// Null if there is no message with this number.
    [[nodiscard]] std::shared_ptr<Message> message(std::uint64_t number) const;

protected:
    [[nodiscard]] Bytes generatedEntryId() const override { return storeEntryId(m_uid); }
    [[nodiscard]] std::optional<Property> builtIn(ULONG id) const override;
    [[nodiscard]] std::vector<ULONG> builtInIds() const override;

private:
    const unsigned m_number;
    const StoreUid m_uid;
    std::wstring m_name;
    std::wstring m_provider;
    bool m_isDefault;
    bool m_isPublic;
    const std::shared_ptr<NameMapping> m_names;
    std::shared_ptr<Folder> m_root;
    std::shared_ptr<Folder> m_ipmSubtree;
    std::uint64_t m_lastFolder = 0;
    std::uint64_t m_lastMessage = 0;
    std::unordered_map<std::uint64_t, std::weak_ptr<Message>> m_messages;
};
} // namespace sandbox

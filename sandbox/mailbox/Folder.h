// Folder.h: a folder of a message store.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/mailbox/MailboxObject.h"

namespace sandbox
{
class Message;
class Store;

struct FolderDescription
{
    ObjectDescription object;
    std::wstring name;
    std::optional<std::wstring> containerClass; // none: no PR_CONTAINER_CLASS_W
    std::optional<bool> hidden;                 // none: no PR_ATTR_HIDDEN
    bool shortTermIds = false;                  // the contents table tells short-term identifiers
};

/// A folder: its messages and its subfolders, each in the order of the table that shows them.
class Folder final : public MailboxObject
{
public:
    /// @param store   borrowed; outlives all its folders.
    /// @param parent  null for the root, which is its own parent.
    Folder(const Store& store, const std::shared_ptr<Folder>& parent, std::uint64_t number,
           FolderDescription description);

    [[nodiscard]] ULONG type() const noexcept override { return MAPI_FOLDER; }
    [[nodiscard]] Bytes shortTermId() const override;

    [[nodiscard]] const Store& store() const noexcept { return m_store; }
    [[nodiscard]] std::uint64_t number() const noexcept { return m_number; }
    [[nodiscard]] bool tellsShortTermIds() const noexcept { return m_shortTermIds; }
    [[nodiscard]] const std::vector<std::shared_ptr<Folder>>& folders() const noexcept { return m_folders; }
    [[nodiscard]] const std::vector<std::shared_ptr<Message>>& messages() const noexcept { return m_messages; }

    void addFolder(std::shared_ptr<Folder> folder) { m_folders.push_back(std::move(folder)); }
    void addMessage(std::shared_ptr<Message> message) { m_messages.push_back(std::move(message)); }

protected:
    [[nodiscard]] Bytes generatedEntryId() const override;
    [[nodiscard]] std::optional<Property> builtIn(ULONG id) const override;
    [[nodiscard]] std::vector<ULONG> builtInIds() const override;

private:
    const Store& m_store; // borrowed
    std::weak_ptr<Folder> m_parent;
    const bool m_isRoot;
    const std::uint64_t m_number;
    std::wstring m_name;
    std::optional<std::wstring> m_containerClass;
    std::optional<bool> m_hidden;
    bool m_shortTermIds;
    std::vector<std::shared_ptr<Folder>> m_folders;
    std::vector<std::shared_ptr<Message>> m_messages;
};
} // namespace sandbox

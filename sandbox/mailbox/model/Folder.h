// Folder.h: a folder of a message store.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/mailbox/model/MailboxObject.h"

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
    bool shortTermIds = false;                  // the contents table gives short-term identifiers
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
    [[nodiscard]] const std::wstring& name() const noexcept { return m_name; }
    /// Null for the root, and after the parent is gone.
    [[nodiscard]] std::shared_ptr<Folder> parent() const { return m_parent.lock(); }
    [[nodiscard]] bool givesShortTermIds() const noexcept { return m_shortTermIds; }
    [[nodiscard]] const std::vector<std::shared_ptr<Folder>>& folders() const noexcept { return m_folders; }
    [[nodiscard]] const std::vector<std::shared_ptr<Message>>& messages() const noexcept { return m_messages; }

    void addFolder(std::shared_ptr<Folder> folder) { m_folders.push_back(std::move(folder)); }
    void addMessage(std::shared_ptr<Message> message) { m_messages.push_back(std::move(message)); }
    /// Both put it back to its place.
    void insertFolder(std::size_t place, std::shared_ptr<Folder> folder);
    void insertMessage(std::size_t place, std::shared_ptr<Message> message);
    /// Both give the place at which it was; throw std::logic_error if it is not here.
    std::size_t removeFolder(const Folder& folder);
    std::size_t removeMessage(const Message& message);
    /// To which folder of its store it belongs from now on.
    void setParent(const std::shared_ptr<Folder>& parent) noexcept { m_parent = parent; }

    [[nodiscard]] FolderDescription folderDescription() const;
    /// Says something else about it from now on. Its identifiers stay.
    void redescribe(FolderDescription description);

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

/// The folder and all folders below it, each before those below it.
[[nodiscard]] std::vector<std::shared_ptr<Folder>> withFoldersBelow(const std::shared_ptr<Folder>& folder);
} // namespace sandbox

// FolderReader.h: folders of a mailbox file, with all that lies in them.
#pragma once

#include <memory>
#include <string>

#include "sandbox/mailbox/model/Mailbox.h"
#include "sandbox/mailbox/reading/JsonObject.h"

namespace sandbox
{
/// Folders let go of the folders below them, one inside the other.
inline constexpr std::size_t deepestNesting = 2000;

/// How many folders lie above this one, up to the root.
[[nodiscard]] std::size_t levelsAbove(const Folder& folder);

/// Reads folders and messages into one store. All throw MailboxError, and leave what was read up to there.
class FolderReader
{
public:
    /// Both are borrowed. The address book of the mailbox is complete.
    FolderReader(Mailbox& mailbox, Store& store) noexcept : m_mailbox(mailbox), m_store(store) {}

    /// One folder, with all below it.
    std::shared_ptr<Folder> readFolder(const Json& json, const std::string& path,
                                       const std::shared_ptr<Folder>& parent);
    /// The folders under this key of an object that stands for `parent`, with all below them.
    void readFolders(const JsonObject& object, std::string_view key, const std::shared_ptr<Folder>& parent);
    /// The messages of an object that stands for `folder`, and those that it has by rule.
    void readMessages(const JsonObject& object, const std::shared_ptr<Folder>& folder);
    /// One message.
    std::shared_ptr<Message> readMessage(const Json& json, const std::string& path,
                                         const std::shared_ptr<Folder>& folder);

private:
    /// A folder that waits for its turn.
    struct Waiting
    {
        const Json* json;
        std::string path;
        std::shared_ptr<Folder> parent;
        std::size_t depth;
    };

    std::shared_ptr<Folder> readNext(std::vector<Waiting>& waiting);

    Mailbox& m_mailbox;
    Store& m_store;
};
} // namespace sandbox

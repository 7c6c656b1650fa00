#include "sandbox/mailbox/reading/FolderReader.h"

#include <algorithm>
#include <utility>

#include "sandbox/mailbox/reading/DescriptionReader.h"

namespace sandbox
{
namespace
{
constexpr std::uint32_t s_mostGenerated = 10'000'000;

/// How deep a folder below this one lies, where those of the root and of the IPM subtree both lie at level 1.
[[nodiscard]] std::size_t depthBelow(const Folder& parent)
{
    return std::max<std::size_t>(1, levelsAbove(parent));
}
} // namespace

std::size_t levelsAbove(const Folder& folder)
{
    std::size_t levels = 0;
    for (std::shared_ptr<Folder> above = folder.parent(); above; above = above->parent())
        ++levels;
    return levels;
}

std::shared_ptr<Folder> FolderReader::readFolder(const Json& json, const std::string& path,
                                                 const std::shared_ptr<Folder>& parent)
{
    std::vector<Waiting> waiting{{&json, path, parent, depthBelow(*parent)}};
    std::shared_ptr<Folder> first = readNext(waiting);
    while (!waiting.empty())
        readNext(waiting);
    return first;
}

void FolderReader::readFolders(JsonObject& object, std::string_view key, const std::shared_ptr<Folder>& parent)
{
    const Json* folders = object.find(key);
    if (folders == nullptr)
        return;
    const std::string path = object.pathOf(key);
    std::size_t index = 0;
    for (const Json& folder : requireList(*folders, path))
        readFolder(folder, elementPath(path, index++), parent);
}

/// The next one is the last; puts those below it behind it.
std::shared_ptr<Folder> FolderReader::readNext(std::vector<Waiting>& waiting)
{
    const Waiting next = std::move(waiting.back());
    waiting.pop_back();
    if (next.depth > s_deepestNesting)
        failAt(next.path, "folders are nested deeper than " + std::to_string(s_deepestNesting) + " levels");
    JsonObject object(*next.json, next.path);
    FolderDescription description = readFolderDescription(object, m_store.names(), nullptr);
    const std::shared_ptr<Folder> folder =
        withPlace(next.path, [&] { return m_mailbox.addFolder(m_store, next.parent, std::move(description)); });
    readMessages(object, folder);
    if (const Json* folders = object.find("folders"))
    {
        const std::string path = object.pathOf("folders");
        for (std::size_t left = requireList(*folders, path).size(); left-- > 0;)
            waiting.push_back({&(*folders)[left], elementPath(path, left), folder, next.depth + 1});
    }
    object.finish();
    return folder;
}

std::shared_ptr<Message> FolderReader::readMessage(const Json& json, const std::string& path,
                                                   const std::shared_ptr<Folder>& folder)
{
    JsonObject object(json, path);
    ObjectDescription description = readMessageDescription(object, m_store.names(), m_mailbox.addressBook());
    object.finish();
    return withPlace(path, [&] { return m_mailbox.addMessage(m_store, folder, std::move(description)); });
}

void FolderReader::readMessages(JsonObject& object, const std::shared_ptr<Folder>& folder)
{
    if (const Json* messages = object.find("messages"))
    {
        const std::string path = object.pathOf("messages");
        std::size_t index = 0;
        for (const Json& message : requireList(*messages, path))
            readMessage(message, elementPath(path, index++), folder);
    }
    if (const Json* generate = object.find("generate"))
    {
        JsonObject rule(*generate, object.pathOf("generate"));
        const Json* contacts = rule.find("contacts");
        const Json* seedJson = rule.find("seed");
        rule.finish();
        if (contacts == nullptr)
            failAt(rule.path(), "'contacts' is missing");
        const std::uint32_t count = readCount(*contacts, rule.pathOf("contacts"), s_mostGenerated);
        constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
        const std::uint32_t seed = seedJson != nullptr ? readCount(*seedJson, rule.pathOf("seed"), largest) : 0;
        withPlace(rule.path(), [&] { m_mailbox.addGeneratedContacts(m_store, folder, count, seed); });
    }
}
} // namespace sandbox

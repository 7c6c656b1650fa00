#include "sandbox/mailbox/reading/FolderReader.h"

#include <algorithm>
#include <utility>

#include "sandbox/mailbox/reading/DescriptionReader.h"
#include "sandbox/mailbox/reading/SchemaCheck.h"

namespace sandbox
{
namespace
{
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

void FolderReader::readFolders(const JsonObject& object, std::string_view key, const std::shared_ptr<Folder>& parent)
{
    const Json* folders = object.find(key);
    if (folders == nullptr)
        return;
    std::size_t index = 0;
    for (const Json& folder : *folders)
        readFolder(folder, elementPath(object.pathOf(key), index++), parent);
}

/// The next one is the last; puts those below it behind it.
std::shared_ptr<Folder> FolderReader::readNext(std::vector<Waiting>& waiting)
{
    const Waiting next = std::move(waiting.back());
    waiting.pop_back();
    if (next.depth > deepestNesting)
        failAt(next.path, "folders are nested deeper than " + std::to_string(deepestNesting) + " levels");
    checkSchema("folder", *next.json, next.path);
    const JsonObject object(*next.json, next.path);
    FolderDescription description = readFolderDescription(object, m_store.names(), nullptr);
    const std::shared_ptr<Folder> folder =
        withPath(next.path, [&] { return m_mailbox.addFolder(m_store, next.parent, std::move(description)); });
    readMessages(object, folder);
    if (const Json* folders = object.find("folders"))
    {
        const std::string path = object.pathOf("folders");
        for (std::size_t left = folders->size(); left-- > 0;)
            waiting.push_back({&(*folders)[left], elementPath(path, left), folder, next.depth + 1});
    }
    return folder;
}

std::shared_ptr<Message> FolderReader::readMessage(const Json& json, const std::string& path,
                                                   const std::shared_ptr<Folder>& folder)
{
    ObjectDescription description =
        readMessageDescription(JsonObject(json, path), m_store.names(), m_mailbox.addressBook());
    return withPath(path, [&] { return m_mailbox.addMessage(m_store, folder, std::move(description)); });
}

void FolderReader::readMessages(const JsonObject& object, const std::shared_ptr<Folder>& folder)
{
    if (const Json* messages = object.find("messages"))
    {
        std::size_t index = 0;
        for (const Json& message : *messages)
            readMessage(message, elementPath(object.pathOf("messages"), index++), folder);
    }
    if (const Json* generate = object.find("generate"))
    {
        const JsonObject rule(*generate, object.pathOf("generate"));
        withPath(rule.path(),
                 [&]
                 {
                     m_mailbox.addGeneratedContacts(m_store, folder, rule.at("contacts").get<std::uint32_t>(),
                                                    rule.value<std::uint32_t>("seed", 0));
                 });
    }
}
} // namespace sandbox

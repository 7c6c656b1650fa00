#include "sandbox/mailbox/edits/EditRules.h"

#include <algorithm>
#include <unordered_map>

#include "sandbox/mailbox/model/MailboxError.h"
#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/mailbox/reading/FolderReader.h"

namespace sandbox
{
namespace
{
void require(bool allowed, const std::string& otherwise)
{
    if (!allowed)
        throw MailboxRuleError(otherwise);
}

/// @param done  what would be done to it, as in "can't be <done>".
void requireFolderOrMessage(const MailboxObject& object, const std::string& done)
{
    require(object.type() != MAPI_STORE, "a store can't be " + done);
    require(object.type() == MAPI_FOLDER || object.type() == MAPI_MESSAGE, "a user can't be " + done);
}

void requireNotOnTop(const Folder& folder, const std::string& done)
{
    require(&folder != folder.store().root().get(), "the root folder of a store can't be " + done);
    require(&folder != folder.store().ipmSubtree().get(), "the IPM subtree of a store can't be " + done);
}

/// How many levels of folders there are, from this one on.
[[nodiscard]] std::size_t heightOf(const Folder& folder)
{
    std::size_t height = 1;
    std::unordered_map<const Folder*, std::size_t> levels{{&folder, 1}};
    std::vector<const Folder*> waiting{&folder};
    while (!waiting.empty())
    {
        const Folder* const next = waiting.back();
        waiting.pop_back();
        const std::size_t below = levels[next] + 1;
        for (const std::shared_ptr<Folder>& child : next->folders())
        {
            height = std::max(height, below);
            levels[child.get()] = below;
            waiting.push_back(child.get());
        }
    }
    return height;
}

void requireRoomBelow(const Folder& folder, const Folder& target, const std::string& done)
{
    require(&folder != &target, "a folder can't be " + done + " into itself");
    for (std::shared_ptr<Folder> above = target.parent(); above; above = above->parent())
        require(above.get() != &folder, "a folder can't be " + done + " into a folder below itself");
    require(levelsAbove(target) + heightOf(folder) <= deepestNesting + 1,
            "folders would be nested deeper than " + std::to_string(deepestNesting) + " levels");
}
} // namespace

void requireMovable(const MailboxObject& object, const Folder& target, bool keepId)
{
    requireFolderOrMessage(object, "moved");
    const bool isMessage = object.type() == MAPI_MESSAGE;
    const Store& store =
        isMessage ? static_cast<const Message&>(object).store() : static_cast<const Folder&>(object).store();
    require(!keepId || &store == &target.store(), "nothing keeps its identifier on its way to another store");
    if (isMessage)
    {
        require(static_cast<const Message&>(object).folder().get() != &target, "the message is in this folder already");
        return;
    }
    const auto& folder = static_cast<const Folder&>(object);
    requireNotOnTop(folder, "moved");
    requireRoomBelow(folder, target, "moved");
    require(folder.parent().get() != &target, "the folder is in this folder already");
}

void requireCopyable(const MailboxObject& object, const Folder& target)
{
    requireFolderOrMessage(object, "copied");
    if (object.type() == MAPI_FOLDER)
        requireRoomBelow(static_cast<const Folder&>(object), target, "copied");
}

void requireRemovable(const MailboxObject& object)
{
    requireFolderOrMessage(object, "deleted");
    if (object.type() == MAPI_FOLDER)
        requireNotOnTop(static_cast<const Folder&>(object), "deleted");
}
} // namespace sandbox

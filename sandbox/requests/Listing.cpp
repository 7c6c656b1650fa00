#include "sandbox/requests/Listing.h"

#include <unordered_map>
#include <utility>
#include <vector>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/mailbox/reading/ObjectPaths.h"

namespace sandbox
{
namespace
{
void putText(Json& item, const char* key, const std::optional<Property>& property)
{
    if (const auto* text = property ? std::get_if<std::wstring>(&property->value) : nullptr)
        item[key] = toUtf8(*text);
}

/// The object itself, without what lies in it.
[[nodiscard]] Json itemOf(const MailboxObject& object, const char* kind)
{
    Json item{{"kind", kind}, {"entryId", toHex(object.entryId())}};
    if (const std::optional<std::wstring> name = nameInPath(object))
        item["name"] = toUtf8(*name);
    return item;
}

[[nodiscard]] Json messageItem(const Message& message)
{
    Json item = itemOf(message, "message");
    putText(item, "class", message.property(PROP_ID(PR_MESSAGE_CLASS_W)));
    return item;
}

[[nodiscard]] Json folderItem(const Folder& folder)
{
    Json item = itemOf(folder, "folder");
    putText(item, "class", folder.property(PROP_ID(PR_CONTAINER_CLASS_W)));
    const std::optional<Property> hidden = folder.property(PROP_ID(PR_ATTR_HIDDEN));
    if (const bool* isHidden = hidden ? std::get_if<bool>(&hidden->value) : nullptr)
        item["hidden"] = *isHidden;
    Json& items = item["items"] = Json::array();
    for (const std::shared_ptr<Message>& message : folder.messages())
        items.push_back(messageItem(*message));
    return item;
}

/// A folder with all below it. A folder's own folders stand behind its messages.
[[nodiscard]] Json treeItem(const std::shared_ptr<Folder>& top)
{
    const std::vector<std::shared_ptr<Folder>> folders = withFoldersBelow(top);
    std::unordered_map<const Folder*, Json> items;
    // Each comes before those below it; so, from the last on, those below a folder are complete before it.
    for (std::size_t left = folders.size(); left-- > 0;)
    {
        Json item = folderItem(*folders[left]);
        for (const std::shared_ptr<Folder>& below : folders[left]->folders())
        {
            item["items"].push_back(std::move(items[below.get()]));
            items.erase(below.get());
        }
        items[folders[left].get()] = std::move(item);
    }
    return std::move(items[top.get()]);
}

[[nodiscard]] Json storeItem(const Store& store)
{
    Json item = itemOf(store, "store");
    const StoreDescription description = store.storeDescription();
    item["default"] = description.isDefault;
    item["public"] = description.isPublic;
    item["items"] = Json::array({treeItem(store.root())});
    return item;
}
} // namespace

Json listItems(const JsonObject& request, const Mailbox& mailbox)
{
    const Json* objectPath = request.find("path");
    Json items = Json::array();
    if (objectPath == nullptr)
    {
        for (const std::shared_ptr<Store>& store : mailbox.stores())
            items.push_back(storeItem(*store));
        return Json{{"items", std::move(items)}};
    }
    const std::string path = request.pathOf("path");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, *objectPath, path);
    switch (object->type())
    {
    case MAPI_STORE:
        items.push_back(storeItem(static_cast<const Store&>(*object)));
        break;
    case MAPI_FOLDER:
        items.push_back(treeItem(std::static_pointer_cast<Folder>(object)));
        break;
    case MAPI_MESSAGE:
        items.push_back(messageItem(static_cast<const Message&>(*object)));
        break;
    default:
        failAt(path, "is a user of the address book; stores, folders and messages can be listed");
    }
    return Json{{"items", std::move(items)}};
}
} // namespace sandbox

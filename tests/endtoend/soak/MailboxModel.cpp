#include "tests/endtoend/soak/MailboxModel.h"

#include <utility>

namespace endtoend::soak
{
namespace
{
const Json& listIn(const Json& object, const char* key)
{
    static const Json s_none = Json::array();
    const auto found = object.find(key);
    return found == object.end() ? s_none : *found;
}

Json folderOnTop(const Json& store, const char* key, const char* name)
{
    Json description = store.value(key, Json::object());
    if (!description.contains("name"))
        description["name"] = name;
    return description;
}
} // namespace

void Folder::forEach(const std::function<void(Folder&)>& visit)
{
    visit(*this);
    for (const auto& folder : folders)
        folder->forEach(visit);
}

bool Folder::isWithin(const Folder& other) const
{
    const Folder* folder = this;
    while (folder != nullptr && folder != &other)
        folder = folder->parent;
    return folder != nullptr;
}

MailboxModel::MailboxModel(const Json& mailbox)
{
    m_stores.reserve(mailbox.at("stores").size());
    for (const Json& description : mailbox.at("stores"))
    {
        Store& store = m_stores.emplace_back();
        store.number = static_cast<unsigned>(m_stores.size());
        store.name = description.at("name").get<std::string>();
        store.isDefault = description.value("default", false);
        store.isPublic = description.value("public", false);
        Folder& root = readFolder(folderOnTop(description, "root", "Root"), store, nullptr);
        store.ipmSubtree = &readFolder(folderOnTop(description, "ipmSubtree", "IPM_SUBTREE"), store, &root);
        for (const Json& folder : listIn(description, "folders"))
            readFolder(folder, store, store.ipmSubtree);
        for (const Json& folder : listIn(description, "rootFolders"))
            readFolder(folder, store, &root);
    }
}

Folder& MailboxModel::readFolder(const Json& description, Store& store, Folder* parent)
{
    auto folder =
        std::make_unique<Folder>(Folder{store.number, folderId(store.number, ++store.folders), Json::object(), parent});
    for (const char* key : {"name", "class", "hidden"})
    {
        if (description.contains(key))
            folder->description[key] = description.at(key);
    }
    Folder& added = *folder;
    if (parent != nullptr)
        parent->folders.push_back(std::move(folder));
    else
        store.root = std::move(folder);
    readContents(description, added);
    return added;
}

void MailboxModel::readContents(const Json& description, Folder& folder)
{
    for (const Json& contact : listIn(description, "messages"))
        addContact(contact, folder);
    for (const Json& below : listIn(description, "folders"))
        readFolder(below, storeOf(folder), &folder);
}

Contact& MailboxModel::addContact(Json description, Folder& folder)
{
    Store& store = storeOf(folder);
    if (!description.contains("class"))
        description["class"] = "IPM.Contact";
    const auto folderNumber =
        static_cast<unsigned>(std::stoul(folder.id.substr(folder.id.size() - 12, 8), nullptr, 16));
    folder.contacts.push_back(std::make_unique<Contact>(
        Contact{messageId(store.number, folderNumber, ++store.messages), std::move(description), &folder}));
    return *folder.contacts.back();
}

Folder& MailboxModel::copyFolder(const Folder& folder, Folder& target)
{
    Folder& copied = readFolder(folder.description, storeOf(target), &target);
    for (const auto& contact : folder.contacts)
        addContact(contact->description, copied);
    for (const auto& below : folder.folders)
        copyFolder(*below, copied);
    return copied;
}

std::vector<Folder*> MailboxModel::allFolders() const
{
    std::vector<Folder*> all;
    for (const Store& store : m_stores)
        store.root->forEach([&all](Folder& folder) { all.push_back(&folder); });
    return all;
}

std::vector<Contact*> MailboxModel::allContacts() const
{
    std::vector<Contact*> all;
    for (const Folder* folder : allFolders())
    {
        for (const auto& contact : folder->contacts)
            all.push_back(contact.get());
    }
    return all;
}

Folder* MailboxModel::findFolder(const std::string& id) const
{
    for (Folder* folder : allFolders())
    {
        if (folder->id == id)
            return folder;
    }
    return nullptr;
}

Contact* MailboxModel::findContact(const std::string& id) const
{
    for (Contact* contact : allContacts())
    {
        if (contact->id == id)
            return contact;
    }
    return nullptr;
}
} // namespace endtoend::soak

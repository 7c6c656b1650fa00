#include "tests/endtoend/soak/MailboxModel.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace endtoend::soak
{
namespace
{
using Kind = Event::Kind;

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

/// The identifier that a path "#..." names.
std::string idIn(const Json& request, const char* key)
{
    return request.at(key).get<std::string>().substr(1);
}

/// The same event of what was this one's object before.
Event since(const Event& former, Event event)
{
    event.oldId = former.id;
    event.oldParent = former.parent;
    return event;
}
} // namespace

MailboxModel::MailboxModel(const Json& mailbox)
{
    for (const Json& description : mailbox.at("stores"))
    {
        const auto number = static_cast<unsigned>(m_stores.size() + 1);
        m_stores.push_back({number, description.at("name").get<std::string>(), description.value("default", false),
                            description.value("public", false)});
        const std::string root = addFolder(folderOnTop(description, "root", "Root"), number, folderId(number, 1));
        const std::string subtree = addFolder(folderOnTop(description, "ipmSubtree", "IPM_SUBTREE"), number, root);
        m_stores.back().ipmSubtree = subtree;
        for (const Json& folder : listIn(description, "folders"))
            addFolder(folder, number, subtree);
        for (const Json& folder : listIn(description, "rootFolders"))
            addFolder(folder, number, root);
    }
}

std::vector<Object> MailboxModel::objectsIn(const std::string& folder, bool folders) const
{
    std::vector<Object> found;
    std::ranges::copy_if(m_objects, std::back_inserter(found), [&folder, folders](const Object& object)
                         { return object.parent == folder && object.isFolder == folders && object.id != folder; });
    return found;
}

const Object* MailboxModel::find(const std::string& id) const
{
    const auto found = std::ranges::find(m_objects, id, &Object::id);
    return found == m_objects.end() ? nullptr : &*found;
}

bool MailboxModel::isWithin(const std::string& folder, const std::string& other) const
{
    const std::string& parent = find(folder)->parent;
    return folder == other || (parent != folder && isWithin(parent, other));
}

std::string MailboxModel::apply(const Json& request, Events& events)
{
    const std::string verb = request.at("do").get<std::string>();
    const auto notify = [this, &events](Event event, const std::string& about)
    {
        events[find(about)->store].push_back(std::move(event));
    };
    if (verb == "addContact" || verb == "addFolder")
    {
        const bool isFolder = verb == "addFolder";
        const std::string parent = idIn(request, isFolder ? "parent" : "folder");
        const std::string added = isFolder ? addFolder(request.at("folder"), find(parent)->store, parent)
                                           : addContact(request.at("contact"), parent);
        notify(eventOf(Kind::Created, added), added);
        return added;
    }
    if (verb == "editContact" || verb == "editFolder")
    {
        const std::string id = idIn(request, verb == "editContact" ? "contact" : "folder");
        edit(id, request.at("set"));
        notify(eventOf(Kind::Modified, id), id);
        return {};
    }

    const std::string id = idIn(request, "object");
    const Event former = eventOf(Kind::Deleted, id);
    if (verb == "delete")
    {
        notify(former, id);
        remove(id);
        return {};
    }
    const std::string target = idIn(request, "to");
    if (verb == "copy")
    {
        const std::string copied = copy(id, target);
        notify(since(former, eventOf(Kind::Copied, copied)), copied);
        return copied;
    }
    if (verb != "move")
        throw std::logic_error("the model can't " + verb);
    const unsigned source = find(id)->store;
    const std::string moved = move(id, target, request.value("keepId", false));
    if (find(moved)->store == source)
        notify(since(former, eventOf(Kind::Moved, moved)), moved);
    else
    {
        notify(eventOf(Kind::Created, moved), moved);
        events[source].push_back(former);
    }
    return moved;
}

std::string MailboxModel::addFolder(const Json& description, unsigned store, const std::string& parent)
{
    const unsigned number = ++m_stores[store - 1].folders;
    Object folder{true, store, number, folderId(store, number), parent, Json::object()};
    for (const char* key : {"name", "class", "hidden"})
    {
        if (description.contains(key))
            folder.description[key] = description.at(key);
    }
    m_objects.push_back(folder);
    for (const Json& contact : listIn(description, "messages"))
        addContact(contact, folder.id);
    for (const Json& below : listIn(description, "folders"))
        addFolder(below, store, folder.id);
    return folder.id;
}

std::string MailboxModel::addContact(Json description, const std::string& folder)
{
    const Object& parent = *find(folder);
    const unsigned number = ++m_stores[parent.store - 1].messages;
    if (!description.contains("class"))
        description["class"] = "IPM.Contact";
    return m_objects
        .emplace_back(Object{false, parent.store, number, messageId(parent.store, parent.number, number), folder,
                             std::move(description)})
        .id;
}

std::string MailboxModel::copy(const std::string& id, const std::string& target)
{
    const Object original = *find(id);
    if (!original.isFolder)
        return addContact(original.description, target);
    const std::string copied = addFolder(original.description, find(target)->store, target);
    for (const bool folders : {false, true})
    {
        for (const Object& object : objectsIn(id, folders))
            copy(object.id, copied);
    }
    return copied;
}

std::string MailboxModel::move(const std::string& id, const std::string& target, bool keepId)
{
    Object moved = *find(id);
    if (moved.store != find(target)->store || (!moved.isFolder && !keepId))
    {
        const std::string copied = copy(id, target);
        remove(id);
        return copied;
    }
    std::erase_if(m_objects, [&id](const Object& object) { return object.id == id; });
    moved.parent = target;
    return m_objects.emplace_back(std::move(moved)).id;
}

void MailboxModel::remove(const std::string& id)
{
    for (const bool folders : {false, true})
    {
        for (const Object& object : objectsIn(id, folders))
            remove(object.id);
    }
    std::erase_if(m_objects, [&id](const Object& object) { return object.id == id; });
}

void MailboxModel::edit(const std::string& id, const Json& set)
{
    Object& object = *std::ranges::find(m_objects, id, &Object::id);
    for (const auto& [key, value] : set.items())
    {
        if (value.is_null() && (object.isFolder || key != "class")) // a contact's class may be null
            object.description.erase(key);
        else
            object.description[key] = value;
    }
}

Event MailboxModel::eventOf(Kind kind, const std::string& id) const
{
    const Object& object = *find(id);
    return {kind, object.isFolder, id, object.parent};
}
} // namespace endtoend::soak

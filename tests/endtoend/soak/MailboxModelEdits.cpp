// The edits of MailboxModel.
#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tests/endtoend/soak/MailboxModel.h"

namespace endtoend::soak
{
namespace
{
using Kind = Event::Kind;

/// The identifier that a place "#..." names.
std::string idIn(const Json& request, const char* key)
{
    return request.at(key).get<std::string>().substr(1);
}

/// Takes an element out of the list that owns it.
template <class Object>
std::unique_ptr<Object> take(std::vector<std::unique_ptr<Object>>& owners, const Object& object)
{
    const auto place =
        std::find_if(owners.begin(), owners.end(), [&object](const auto& owner) { return owner.get() == &object; });
    std::unique_ptr<Object> taken = std::move(*place);
    owners.erase(place);
    return taken;
}

/// The root's parent is the root.
const std::string& parentIdOf(const Folder& folder)
{
    return folder.parent != nullptr ? folder.parent->id : folder.id;
}

Event eventOf(Kind kind, const Contact& contact)
{
    return {kind, false, contact.id, contact.folder->id};
}

Event eventOf(Kind kind, const Folder& folder)
{
    return {kind, true, folder.id, parentIdOf(folder)};
}

/// The same event, which had this place before.
Event since(const Event& former, Event event)
{
    event.oldId = former.id;
    event.oldParent = former.parent;
    return event;
}

/// A null takes a value away.
void change(Json& description, const Json& set)
{
    for (const auto& [key, value] : set.items())
    {
        if (value.is_null())
            description.erase(key);
        else
            description[key] = value;
    }
}
} // namespace

std::string MailboxModel::apply(const Json& request, Events& events)
{
    const std::string verb = request.at("do").get<std::string>();
    if (verb == "addContact" || verb == "addFolder")
        return add(request, events);
    if (verb == "move")
        return move(request, events);
    if (verb == "copy")
        return copy(request, events);
    if (verb == "delete")
        remove(request, events);
    else if (verb == "editContact" || verb == "editFolder")
        edit(request, events);
    else
        throw std::logic_error("the model can't " + verb);
    return {};
}

std::string MailboxModel::add(const Json& request, Events& events)
{
    if (request.contains("contact"))
    {
        Folder& folder = *findFolder(idIn(request, "folder"));
        const Contact& added = addContact(request.at("contact"), folder);
        events[folder.store].push_back(eventOf(Kind::Created, added));
        return added.id;
    }
    Folder& parent = *findFolder(idIn(request, "parent"));
    const Folder& added = readFolder(request.at("folder"), storeOf(parent), &parent);
    events[parent.store].push_back(eventOf(Kind::Created, added));
    return added.id;
}

void MailboxModel::edit(const Json& request, Events& events)
{
    const Json& set = request.at("set");
    if (request.contains("contact"))
    {
        Contact& contact = *findContact(idIn(request, "contact"));
        const Json messageClass = set.value("class", contact.description.at("class"));
        change(contact.description, set);
        contact.description["class"] = messageClass; // null is a word of its own there
        events[contact.folder->store].push_back(eventOf(Kind::Modified, contact));
        return;
    }
    Folder& folder = *findFolder(idIn(request, "folder"));
    change(folder.description, set);
    events[folder.store].push_back(eventOf(Kind::Modified, folder));
}

std::string MailboxModel::move(const Json& request, Events& events)
{
    Folder& target = *findFolder(idIn(request, "to"));
    const std::string id = idIn(request, "object");
    if (Contact* const contact = findContact(id))
        return moveContact(*contact, target, request.value("keepId", false), events);
    return moveFolder(*findFolder(id), target, events);
}

std::string MailboxModel::moveContact(Contact& contact, Folder& target, bool keepId, Events& events)
{
    Folder& source = *contact.folder;
    const Event former = eventOf(Kind::Deleted, contact);
    std::unique_ptr<Contact> taken = take(source.contacts, contact);
    if (!keepId)
        taken = take(target.contacts, addContact(std::move(taken->description), target));
    taken->folder = &target;
    target.contacts.push_back(std::move(taken));
    const Contact& moved = *target.contacts.back();
    if (source.store == target.store)
    {
        events[target.store].push_back(since(former, eventOf(Kind::Moved, moved)));
        return moved.id;
    }
    events[target.store].push_back(eventOf(Kind::Created, moved));
    events[source.store].push_back(former);
    return moved.id;
}

std::string MailboxModel::moveFolder(Folder& folder, Folder& target, Events& events)
{
    const Event former = eventOf(Kind::Deleted, folder);
    std::unique_ptr<Folder> taken = take(folder.parent->folders, folder);
    if (folder.store == target.store)
    {
        folder.parent = &target;
        target.folders.push_back(std::move(taken));
        events[target.store].push_back(since(former, eventOf(Kind::Moved, folder)));
        return folder.id;
    }
    const Folder& moved = copyFolder(folder, target);
    events[target.store].push_back(eventOf(Kind::Created, moved));
    events[folder.store].push_back(former);
    return moved.id;
}

std::string MailboxModel::copy(const Json& request, Events& events)
{
    Folder& target = *findFolder(idIn(request, "to"));
    const std::string id = idIn(request, "object");
    if (const Contact* const contact = findContact(id))
    {
        const Contact& copied = addContact(contact->description, target);
        events[target.store].push_back(since(eventOf(Kind::Copied, *contact), eventOf(Kind::Copied, copied)));
        return copied.id;
    }
    const Folder& folder = *findFolder(id);
    const Folder& copied = copyFolder(folder, target);
    events[target.store].push_back(since(eventOf(Kind::Copied, folder), eventOf(Kind::Copied, copied)));
    return copied.id;
}

void MailboxModel::remove(const Json& request, Events& events)
{
    const std::string id = idIn(request, "object");
    if (Contact* const contact = findContact(id))
    {
        events[contact->folder->store].push_back(eventOf(Kind::Deleted, *contact));
        take(contact->folder->contacts, *contact);
        return;
    }
    Folder& folder = *findFolder(id);
    events[folder.store].push_back(eventOf(Kind::Deleted, folder));
    take(folder.parent->folders, folder);
}
} // namespace endtoend::soak

#include "tests/endtoend/soak/WatchRules.h"

#include <algorithm>
#include <array>

namespace endtoend::soak
{
namespace
{
/// The texts of a contact in the order of its line, as the mailbox file calls them.
constexpr std::array<const char*, 10> fields = {"displayName", "givenName",  "middleName",    "surname",
                                                "company",     "email",      "businessPhone", "homePhone",
                                                "mobilePhone", "businessFax"};

void addMessage(std::vector<std::string>& messages, std::string_view operation, std::string_view kind,
                const std::vector<std::string>& items)
{
    if (!items.empty())
        messages.push_back(change(operation, kind, items));
}
} // namespace

std::string lineOf(const Object& contact)
{
    std::string line;
    for (const char* field : fields)
        line += contact.description.value(field, "") + ";";
    return line + contact.id + ";" + contact.parent;
}

std::vector<unsigned> orderOfStores(const MailboxModel& mailbox)
{
    std::vector<unsigned> order;
    for (const Store& store : mailbox.stores())
        order.insert(store.isDefault ? order.begin() : order.end(), store.number);
    std::stable_partition(order.begin(), order.end(),
                          [&mailbox](unsigned store) { return !mailbox.store(store).isPublic; });
    return order;
}

WatchRules::WatchRules(const MailboxModel& mailbox, unsigned store) : m_mailbox(mailbox), m_store(store)
{
    if (this->store().isPublic)
        return; // such a store is read once and never watched
    for (const Object& folder : visibleFolders())
    {
        if (looksLikeContacts(folder))
            m_watched.insert(folder.id);
    }
}

std::vector<std::string> WatchRules::snapshot() const
{
    std::vector<std::string> items;
    for (const Object& folder : visibleFolders())
    {
        if (!looksLikeContacts(folder))
            continue;
        for (const Object& contact : m_mailbox.objectsIn(folder.id, false))
            items.push_back(lineOf(contact));
    }
    return items;
}

std::vector<std::string> WatchRules::messagesAbout(const std::vector<Event>& batch)
{
    Changes changes;
    for (const Event& event : batch)
        handle(event, changes);
    std::vector<std::string> messages;
    addMessage(messages, "delete", "folder", changes.deletedFolders);
    addMessage(messages, "delete", "contact", changes.deleted);
    addMessage(messages, "add", "contact", changes.added);
    addMessage(messages, "change", "contact", changes.changed);
    return messages;
}

/// Whether the agent takes a folder for one of contacts.
bool WatchRules::looksLikeContacts(const Object& folder) const
{
    if (const auto found = folder.description.find("class"); found != folder.description.end())
        return *found == "IPF.Contact";
    const std::vector<Object> contacts = m_mailbox.objectsIn(folder.id, false);
    return contacts.empty() || std::ranges::any_of(contacts, [](const Object& contact)
                                                   { return contact.description.at("class") == "IPM.Contact"; });
}

std::vector<Object> WatchRules::visibleFolders() const
{
    std::vector<Object> visible;
    addVisible(*m_mailbox.find(store().ipmSubtree), visible);
    return visible;
}

void WatchRules::addVisible(const Object& folder, std::vector<Object>& visible) const
{
    visible.push_back(folder);
    for (const Object& below : m_mailbox.objectsIn(folder.id, true))
    {
        if (!below.description.value("hidden", false))
            addVisible(below, visible);
    }
}

/// A contact must lie in a watched folder; a folder anywhere in the IPM subtree.
bool WatchRules::isSource(bool isFolder, const std::string& parent) const
{
    if (parent.empty())
        return false;
    if (m_watched.contains(parent))
        return true;
    if (!isFolder)
        return false;
    return objectHere(parent) != nullptr && m_mailbox.isWithin(parent, store().ipmSubtree);
}

const Object* WatchRules::objectHere(const std::string& id) const
{
    const Object* const object = m_mailbox.find(id);
    return object != nullptr && object->store == m_store ? object : nullptr;
}

void WatchRules::handle(const Event& event, Changes& changes)
{
    if (m_watched.empty())
        return;
    const bool isHere = isSource(event.isFolder, event.parent);
    const bool wasHere = isSource(event.isFolder, event.oldParent);
    if (!isHere && !wasHere)
        return;
    switch (event.kind)
    {
    case Event::Kind::Created:
    case Event::Kind::Copied:
        if (isHere)
            comesIn(event, changes);
        break;
    case Event::Kind::Deleted:
        goes(event.isFolder, event.id, changes);
        break;
    case Event::Kind::Modified:
        changesItself(event, changes);
        break;
    case Event::Kind::Moved:
        if (!isHere)
            goes(event.isFolder, event.oldId, changes);
        else if (!wasHere)
            comesIn(event, changes);
        else
            changesItself(event, changes);
        break;
    }
}

void WatchRules::comesIn(const Event& event, Changes& changes)
{
    const Object* const object = objectHere(event.id);
    if (object == nullptr)
        return;
    if (!event.isFolder)
    {
        changes.added.push_back(lineOf(*object));
        return;
    }
    if (!looksLikeContacts(*object))
        return;
    for (const Object& contact : m_mailbox.objectsIn(object->id, false))
        changes.added.push_back(lineOf(contact));
    m_watched.insert(object->id);
}

void WatchRules::goes(bool isFolder, const std::string& id, Changes& changes)
{
    if (isFolder)
        reconcile(changes);
    else
        changes.deleted.push_back(deletedLine(id));
}

/// A folder's own changes are passed over.
void WatchRules::changesItself(const Event& event, Changes& changes) const
{
    if (event.isFolder)
        return;
    const Object* const contact = objectHere(event.id);
    if (contact == nullptr)
        changes.deleted.push_back(deletedLine(event.id));
    else if (event.oldId.empty() || event.oldId == event.id)
        changes.changed.push_back(lineOf(*contact));
    else
    {
        changes.deleted.push_back(deletedLine(event.oldId));
        changes.added.push_back(lineOf(*contact));
    }
}

/// Which watched folders have left the visible tree.
void WatchRules::reconcile(Changes& changes)
{
    std::set<std::string> visible;
    for (const Object& folder : visibleFolders())
        visible.insert(folder.id);
    for (auto folder = m_watched.begin(); folder != m_watched.end();)
    {
        if (visible.contains(*folder))
        {
            ++folder;
            continue;
        }
        changes.deletedFolders.push_back(*folder);
        folder = m_watched.erase(folder);
    }
}
} // namespace endtoend::soak

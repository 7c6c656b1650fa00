#include "tests/endtoend/soak/WatchRules.h"

#include <algorithm>
#include <array>

#include "tests/endtoend/LiveTest.h"

namespace endtoend::soak
{
namespace
{
/// The texts of a contact in the order of its line, as the mailbox file calls them.
constexpr std::array<const char*, 10> fields = {"displayName", "givenName",  "middleName",    "surname",
                                                "company",     "email",      "businessPhone", "homePhone",
                                                "mobilePhone", "businessFax"};

/// Whether the agent takes a folder for one of contacts.
bool looksLikeContacts(const Folder& folder)
{
    if (const auto found = folder.description.find("class"); found != folder.description.end())
        return *found == "IPF.Contact";
    return folder.contacts.empty() ||
           std::any_of(folder.contacts.begin(), folder.contacts.end(),
                       [](const auto& contact) { return contact->description.at("class") == "IPM.Contact"; });
}

void addVisible(const Folder& folder, std::vector<const Folder*>& visible)
{
    visible.push_back(&folder);
    for (const auto& below : folder.folders)
    {
        if (!below->description.value("hidden", false))
            addVisible(*below, visible);
    }
}

void addMessage(std::vector<std::string>& messages, std::string_view operation, std::string_view kind,
                const std::vector<std::string>& items)
{
    if (!items.empty())
        messages.push_back(change(operation, kind, items));
}
} // namespace

std::string lineOf(const Contact& contact)
{
    std::string line;
    for (const char* field : fields)
        line += contact.description.value(field, "") + ";";
    return line + contact.id + ";" + contact.folder->id;
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
    for (const Folder* folder : visibleFolders())
    {
        if (looksLikeContacts(*folder))
            m_watched.insert(folder->id);
    }
}

std::vector<std::string> WatchRules::snapshot() const
{
    std::vector<std::string> items;
    for (const Folder* folder : visibleFolders())
    {
        if (!looksLikeContacts(*folder))
            continue;
        for (const auto& contact : folder->contacts)
            items.push_back(lineOf(*contact));
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

std::vector<const Folder*> WatchRules::visibleFolders() const
{
    std::vector<const Folder*> visible;
    addVisible(*store().ipmSubtree, visible);
    return visible;
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
    const Folder* const folder = folderHere(parent);
    return folder != nullptr && folder->isWithin(*store().ipmSubtree);
}

const Contact* WatchRules::contactHere(const std::string& id) const
{
    const Contact* const contact = m_mailbox.findContact(id);
    return contact != nullptr && contact->folder->store == m_store ? contact : nullptr;
}

const Folder* WatchRules::folderHere(const std::string& id) const
{
    const Folder* const folder = m_mailbox.findFolder(id);
    return folder != nullptr && folder->store == m_store ? folder : nullptr;
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
    if (!event.isFolder)
    {
        if (const Contact* const contact = contactHere(event.id))
            changes.added.push_back(lineOf(*contact));
        return;
    }
    const Folder* const folder = folderHere(event.id);
    if (folder == nullptr || !looksLikeContacts(*folder))
        return;
    for (const auto& contact : folder->contacts)
        changes.added.push_back(lineOf(*contact));
    m_watched.insert(folder->id);
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
    const Contact* const contact = contactHere(event.id);
    if (contact == nullptr)
    {
        changes.deleted.push_back(deletedLine(event.id));
    }
    else if (event.oldId.empty() || event.oldId == event.id)
    {
        changes.changed.push_back(lineOf(*contact));
    }
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
    for (const Folder* folder : visibleFolders())
        visible.insert(folder->id);
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

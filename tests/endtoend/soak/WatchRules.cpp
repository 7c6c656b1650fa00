#include "tests/endtoend/soak/WatchRules.h"

#include <algorithm>
#include <array>
#include <deque>
#include <map>
#include <utility>

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

/// The handling of batches in one of the ways in which it may go.
class WatchRules::Handling
{
public:
    /// @param nestedAt  the call of MAPI, counted from 0 on, inside which all batches that wait then are handled.
    Handling(const WatchRules& rules, const std::set<std::string>& watched,
             const std::vector<std::vector<Event>>& batches, std::size_t nestedAt)
        : m_rules(rules), m_nestedAt(nestedAt), m_waiting(batches.begin(), batches.end())
    {
        for (const std::string& folder : watched)
            watch(folder);
        handleWaiting();
    }

    /// Whether there was such a call.
    [[nodiscard]] bool isNested() const noexcept { return m_calls > m_nestedAt; }
    [[nodiscard]] Outcome outcome() const
    {
        Outcome outcome{m_messages, {}, isNested()};
        for (const auto& [folder, registration] : m_watched)
            outcome.watched.insert(folder);
        return outcome;
    }

private:
    struct Changes
    {
        std::vector<std::string> deletedFolders;
        std::vector<std::string> deleted;
        std::vector<std::string> added;
        std::vector<std::string> changed;
    };

    void handleWaiting();
    void handle(const Event& event, Changes& changes);
    void comesIn(const Event& event, Changes& changes);
    void goes(bool isFolder, const std::string& id, Changes& changes);
    void changesItself(const Event& event, Changes& changes);
    void reconcile(Changes& changes);
    [[nodiscard]] bool isSource(bool isFolder, const std::string& parent);

    void callMapi()
    {
        if (m_calls++ == m_nestedAt)
            handleWaiting();
    }
    /// A search asks about each folder that it comes by; what comes meanwhile counts.
    void search()
    {
        if (!m_watched.empty())
            callMapi();
    }
    void watch(const std::string& folder) { m_watched[folder] = ++m_registrations; }

    const WatchRules& m_rules;
    const std::size_t m_nestedAt;
    std::deque<std::vector<Event>> m_waiting;
    std::map<std::string, unsigned> m_watched; // each with the number of its last registration
    unsigned m_registrations = 0;
    std::size_t m_calls = 0; // as far as it matters between which decisions they are
    std::vector<std::string> m_messages;
};

void WatchRules::Handling::handleWaiting()
{
    while (!m_waiting.empty())
    {
        const std::vector<Event> batch = std::move(m_waiting.front());
        m_waiting.pop_front();
        Changes changes;
        for (const Event& event : batch)
            handle(event, changes);
        addMessage(m_messages, "delete", "folder", changes.deletedFolders);
        addMessage(m_messages, "delete", "contact", changes.deleted);
        addMessage(m_messages, "add", "contact", changes.added);
        addMessage(m_messages, "change", "contact", changes.changed);
    }
}

/// A contact must lie in a watched folder; a folder anywhere in the IPM subtree.
bool WatchRules::Handling::isSource(bool isFolder, const std::string& parent)
{
    if (parent.empty())
        return false;
    search();
    const bool isWatched = m_watched.contains(parent);
    if (!isFolder)
        return isWatched;
    search(); // the same again, of which nothing comes
    if (isWatched)
        return true;
    callMapi();
    return m_rules.objectHere(parent) != nullptr && m_rules.m_mailbox.isWithin(parent, m_rules.store().ipmSubtree);
}

void WatchRules::Handling::handle(const Event& event, Changes& changes)
{
    if (m_watched.empty())
        return;
    const bool isHere = isSource(event.isFolder, event.parent);
    if (!isHere && !isSource(event.isFolder, event.oldParent))
        return;
    callMapi(); // for the log
    switch (event.kind)
    {
    case Event::Kind::Created:
    case Event::Kind::Copied:
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
        else if (!isSource(event.isFolder, event.oldParent))
            comesIn(event, changes);
        else
            changesItself(event, changes);
        break;
    }
}

/// Where it has come is asked about anew.
void WatchRules::Handling::comesIn(const Event& event, Changes& changes)
{
    if (!isSource(event.isFolder, event.parent))
        return;
    callMapi();
    const Object* const object = m_rules.objectHere(event.id);
    if (object == nullptr)
        return;
    if (!event.isFolder)
    {
        changes.added.push_back(lineOf(*object));
        return;
    }
    if (!m_rules.looksLikeContacts(*object))
        return;
    for (const Object& contact : m_rules.m_mailbox.objectsIn(object->id, false))
        changes.added.push_back(lineOf(contact));
    watch(object->id);
}

void WatchRules::Handling::goes(bool isFolder, const std::string& id, Changes& changes)
{
    if (isFolder)
        reconcile(changes);
    else
        changes.deleted.push_back(deletedLine(id));
}

/// A folder's own changes are passed over.
void WatchRules::Handling::changesItself(const Event& event, Changes& changes)
{
    if (event.isFolder)
        return;
    callMapi();
    const Object* const contact = m_rules.objectHere(event.id);
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

/// Which watched folders have left the visible tree; of those that were watched at its beginning, and have not been taken
/// out or registered since.
void WatchRules::Handling::reconcile(Changes& changes)
{
    if (m_watched.empty())
        return;
    const std::map<std::string, unsigned> before = m_watched;
    callMapi();
    std::set<std::string> visible;
    for (const Object& folder : m_rules.visibleFolders())
        visible.insert(folder.id);
    for (const auto& [folder, registration] : before)
    {
        callMapi();
        const auto watched = m_watched.find(folder);
        if (visible.contains(folder) || watched == m_watched.end() || watched->second != registration)
            continue;
        changes.deletedFolders.push_back(folder);
        m_watched.erase(watched);
    }
}

WatchRules::WatchRules(const MailboxModel& mailbox, unsigned store) : m_mailbox(mailbox), m_store(store)
{
    std::set<std::string> watched;
    if (!this->store().isPublic) // such a store is read once and never watched
    {
        for (const Object& folder : visibleFolders())
        {
            if (looksLikeContacts(folder))
                watched.insert(folder.id);
        }
    }
    m_watched.insert(std::move(watched));
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

std::set<std::string> WatchRules::watched() const
{
    std::set<std::string> all;
    for (const std::set<std::string>& watched : m_watched)
        all.insert(watched.begin(), watched.end());
    return all;
}

bool WatchRules::isListenedTo() const
{
    return std::ranges::none_of(m_watched, &std::set<std::string>::empty);
}

std::set<Outcome> WatchRules::outcomesOf(const std::vector<std::vector<Event>>& batches) const
{
    std::set<Outcome> outcomes;
    for (const std::set<std::string>& watched : m_watched)
    {
        for (std::size_t call = 0;; ++call)
        {
            const Handling handling(*this, watched, batches, call);
            outcomes.insert(handling.outcome());
            if (!handling.isNested())
                break; // there are no more calls, so one came behind the other
        }
    }
    return outcomes;
}

void WatchRules::follow(const std::vector<Outcome>& outcomes)
{
    m_watched.clear();
    for (const Outcome& outcome : outcomes)
        m_watched.insert(outcome.watched);
}

/// Whether the agent takes a folder for one of contacts.
bool WatchRules::looksLikeContacts(const Object& folder) const
{
    if (const auto found = folder.description.find("class"); found != folder.description.end())
        return *found == "IPF.Contact";
    const std::vector<Object> messages = m_mailbox.objectsIn(folder.id, false);
    return messages.empty() || std::ranges::any_of(messages, [](const Object& message)
                                                   { return message.description.at("class") == "IPM.Contact"; });
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

const Object* WatchRules::objectHere(const std::string& id) const
{
    const Object* const object = m_mailbox.find(id);
    return object != nullptr && object->store == m_store ? object : nullptr;
}
} // namespace endtoend::soak

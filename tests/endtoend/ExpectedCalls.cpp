#include "tests/endtoend/ExpectedCalls.h"

#include <algorithm>

#include "tests/endtoend/CallTexts.h"

namespace endtoend
{
using namespace calltext;

namespace
{
void add(Calls& calls, const Calls& more)
{
    calls.insert(calls.end(), more.begin(), more.end());
}

Calls named(const std::string& id)
{
    return {listed(id), read(nameTag)};
}

/// The question whether an open folder may hold contacts.
Calls judged(const std::string& folder)
{
    return {listed(folder), listed(folder), read(classTag)};
}

/// The reading of an open contact that has no e-mail address.
Calls loaded(const std::string& id)
{
    constexpr std::string_view someMissing = "0x40380";
    return {called("IMAPIProp::GetProps", id, "lpPropTagArray=" + std::string(contactTags) + ", ulFlags=0x80000000",
                   someMissing),
            called("IMAPIProp::GetIDsFromNames", id,
                   "cPropNames=0x3, lppPropNames=" + std::string(addressNames) + ", ulFlags=0x2"),
            called("IMAPIProp::GetProps", id, "lpPropTagArray=" + std::string(addressTags) + ", ulFlags=0x80000000",
                   someMissing)};
}

/// The rows of a table of the folder, if it has any.
Calls enumerated(const std::string& folder, std::string_view columns, std::size_t rows)
{
    Calls calls = {called("IMAPITable::SetColumns", folder, "lpPropTagArray=" + std::string(columns) + ", ulFlags=0x0"),
                   called("IMAPITable::GetRowCount", folder, "ulFlags=0x0")};
    if (rows != 0)
        calls.push_back(
            called("IMAPITable::QueryRows", folder, "lRowCount=0x" + std::to_string(rows) + ", ulFlags=0x1"));
    return calls;
}

/// The search for a folder among others: by the bytes, half of what is left each time, for the first one that is not
/// smaller; it is asked for once more.
Calls searched(const std::set<std::string>& folders, const std::string& folder)
{
    const std::vector<std::string> sorted(folders.begin(), folders.end());
    Calls calls;
    std::size_t first = 0;
    for (std::size_t left = sorted.size(); left != 0;)
    {
        const std::size_t half = left / 2;
        const std::string& middle = sorted[first + half];
        calls.push_back(compared(middle, folder));
        if (middle < folder)
        {
            first += half + 1;
            left -= half + 1;
        }
        else
            left = half;
    }
    if (first != sorted.size())
        calls.push_back(compared(folder, sorted[first]));
    return calls;
}
} // namespace

CallModel::CallModel(unsigned store) : m_store(storeId(store)), m_ipmSubtree(folderId(store, ipmSubtree))
{
    put(folderId(store, rootFolder), folderId(store, rootFolder));
    put(m_ipmSubtree, folderId(store, rootFolder));
    setResult(nobody, "0x8004010F");
    setResult(shortTerm, "0x8004010F");
}

void CallModel::putContacts(const std::string& folder, const std::string& parent,
                            const std::vector<std::string>& messages)
{
    put(folder, parent);
    m_contacts[folder] = messages;
}

void CallModel::remove(const std::string& folder)
{
    for (const std::string& child : below(folder))
        remove(child);
    m_parents.erase(folder);
    setResult(folder, "0x8004010F");
}

std::string CallModel::resultOf(const std::string& id) const
{
    const auto found = m_results.find(id);
    return found == m_results.end() ? std::string(success) : found->second;
}

std::vector<std::string> CallModel::below(const std::string& folder) const
{
    std::vector<std::string> folders;
    for (const auto& [id, parent] : m_parents)
    {
        if (parent == folder && id != folder)
            folders.push_back(id);
    }
    return folders;
}

bool CallModel::isInSubtree(const std::string& folder) const
{
    const std::string& parent = m_parents.at(folder);
    return folder == m_ipmSubtree || (parent != folder && isInSubtree(parent));
}

/// An object opened by the store.
Calls CallModel::opened(const std::string& id, std::string_view interfaceId) const
{
    return {called("IMsgStore::OpenEntry", m_store,
                   "lpEntryID=" + id + ", lpInterface=" + std::string(interfaceId) + ", ulFlags=0x0", resultOf(id))};
}

Calls CallModel::openedIpmSubtree() const
{
    return joined({{read(ipmSubtreeTag)}, opened(m_ipmSubtree, "IID_IMAPIFolder")});
}

/// The contacts of an open folder, if it is one of contacts.
Calls CallModel::collected(const std::string& folder) const
{
    Calls calls = judged(folder);
    const auto contacts = m_contacts.find(folder);
    if (contacts == m_contacts.end())
        return calls;
    add(calls, judged(folder));
    calls.push_back(called("IMAPIContainer::GetContentsTable", folder, "ulFlags=0x80000000"));
    add(calls, enumerated(folder, messageColumns, contacts->second.size()));
    for (const std::string& message : contacts->second)
    {
        calls.push_back(openedFrom(folder, message, "IID_IMAPIProp, ulFlags=0x0"));
        add(calls, loaded(message));
    }
    return calls;
}

/// The registration of an open folder, if it is one of contacts.
Calls CallModel::registered(const std::string& folder) const
{
    Calls calls = judged(folder);
    if (m_contacts.contains(folder))
        add(calls, joined({{read(entryIdTag)}, named(folder), searched(m_known, folder)}));
    return calls;
}

/// The question whether a folder that isn't known lies in the IPM subtree: from it up to the IPM subtree or the root.
Calls CallModel::askedForSubtree(const std::string& folder) const
{
    Calls calls = opened(folder, "IID_IMAPIFolder");
    if (resultOf(folder) != success)
        return calls;
    add(calls,
        joined({openedIpmSubtree(),
                named(m_ipmSubtree),
                named(folder),
                {read(entryIdTag), read(storeIdTag), read(storeIdTag), compared(m_store, m_store),
                 compared(m_store, m_store), read(entryIdTag), read(entryIdTag), compared(m_ipmSubtree, folder)}}));
    for (std::string current = folder; current != m_ipmSubtree;)
    {
        const std::string& parent = m_parents.at(current);
        add(calls, joined({{read(parentIdTag)},
                           opened(parent, "IID_IMAPIFolder"),
                           {read(entryIdTag), read(entryIdTag), compared(parent, current)}}));
        if (parent == current)
            break; // the top of the store
        add(calls, {listed(parent), read(typeTag), compared(parent, m_ipmSubtree)});
        current = parent;
    }
    return calls;
}

/// The walk of the visible folders; `visit` gives the calls for each of them, in front of those for what is below it.
template <class Visit>
void CallModel::walk(const std::string& folder, std::set<std::string>& present, Calls& calls, const Visit& visit) const
{
    add(calls, visit(folder, present));
    present.insert(folder);
    std::vector<std::string> subfolders = below(folder);
    std::erase_if(subfolders, [this](const std::string& id) { return m_hidden.contains(id); });
    add(calls, {called("IMAPIContainer::GetHierarchyTable", folder, "ulFlags=0x80000000"),
                called("IMAPITable::Restrict", folder, "lpRestriction=" + std::string(visible) + ", ulFlags=0x2")});
    add(calls, enumerated(folder, folderColumns, subfolders.size()));
    for (const std::string& subfolder : subfolders)
        calls.push_back(openedFrom(folder, subfolder, "IID_IMAPIFolder, ulFlags=0x10"));
    for (const std::string& subfolder : subfolders)
        walk(subfolder, present, calls, visit);
}

Calls CallModel::snapshot() const
{
    Calls calls = openedIpmSubtree();
    std::set<std::string> present;
    walk(m_ipmSubtree, present, calls, [this](const std::string& folder, const auto&) { return collected(folder); });
    return calls;
}

Calls CallModel::watched()
{
    Calls calls = joined({{called("HrThisThreadAdviseSink", "", "lpAdviseSink=unwrapped"),
                           called("IMsgStore::Advise", m_store, "lpAdviseSink=wrapped, lpEntryID=, ulEventMask=0xFC")},
                          openedIpmSubtree()});
    std::set<std::string> present;
    walk(m_ipmSubtree, present, calls,
         [this](const std::string& folder, const auto&)
         {
             const Calls found = registered(folder);
             if (m_contacts.contains(folder))
                 m_known.insert(folder);
             return found;
         });
    return calls;
}

Calls CallModel::handled(const Notification& notification)
{
    Calls calls;
    const bool isFolder = notification.objectType == folderType;
    const bool isHere = isSource(isFolder, notification.parent, calls);
    if (!isHere && !isSource(isFolder, notification.oldParent, calls))
        return calls;

    const std::string& id = notification.id;
    if (!id.empty()) // for the record
        add(calls, joined({opened(id, "IID_IMAPIProp"), resultOf(id) == success ? named(id) : Calls()}));

    const bool isMove = notification.event == 0x20;
    if (notification.event == 4 || notification.event == 0x40)
        comesIn(notification, calls);
    else if (notification.event == 8 || (isMove && !isHere))
    {
        if (isFolder)
            reconcile(calls);
    }
    else if (isMove && !isSource(isFolder, notification.oldParent, calls))
        comesIn(notification, calls);
    else if (!isFolder)
        changes(notification, calls);
    return calls;
}

/// Whether a parent is one to hear of, with the calls that the question takes: for a folder it is searched for twice.
bool CallModel::isSource(bool isFolder, const std::string& parent, Calls& calls) const
{
    if (parent.empty())
        return false;
    add(calls, searched(m_known, parent));
    if (isFolder)
        add(calls, searched(m_known, parent));
    if (m_known.contains(parent))
        return true;
    if (!isFolder)
        return false;
    add(calls, askedForSubtree(parent));
    return resultOf(parent) == success && isInSubtree(parent);
}

void CallModel::comesIn(const Notification& notification, Calls& calls)
{
    const std::string& id = notification.id;
    if (notification.objectType == messageType)
    {
        if (isSource(false, notification.parent, calls))
            changes(notification, calls);
        return;
    }
    if (!isSource(true, notification.parent, calls) || id.empty())
        return;
    add(calls, opened(id, "IID_IMAPIProp"));
    if (resultOf(id) != success || !m_parents.contains(id))
        return;
    add(calls, joined({collected(id), registered(id)}));
    if (m_contacts.contains(id))
        m_known.insert(id);
}

void CallModel::changes(const Notification& notification, Calls& calls) const
{
    const std::string& id = notification.id;
    if (id.empty())
        return;
    add(calls, opened(id, "IID_IMAPIProp"));
    if (!resultOf(id).starts_with("0x8")) // a warning opens it
        add(calls, loaded(id));
}

/// The walk of the IPM subtree, and the search for each known folder among those that it has found.
void CallModel::reconcile(Calls& calls)
{
    add(calls, openedIpmSubtree());
    std::set<std::string> present;
    walk(m_ipmSubtree, present, calls, [](const std::string& folder, const auto& before)
         { return joined({{read(entryIdTag)}, searched(before, folder)}); });
    for (const std::string& folder : m_known)
        add(calls, searched(present, folder));
    std::erase_if(m_known, [&present](const std::string& folder) { return !present.contains(folder); });
}

Calls started(unsigned stores)
{
    Calls calls =
        joined({{called("MAPIInitialize", "", ""), called("IMAPISession::GetMsgStoresTable", "", "ulFlags=0x0")},
                enumerated("", storeColumns, stores)});
    for (unsigned store = 1; store <= stores; ++store)
        calls.push_back(
            called("IMAPISession::OpenMsgStore", "",
                   "lpEntryID=" + storeId(store) + ", lpInterface=IID_IMsgStore, ulFlags=0x11, ulUIParam=0x0"));
    calls.insert(calls.end(), stores, read(providerTag));
    return calls;
}

Calls askedForPublic()
{
    return {read(providerTag)};
}

Calls ended(unsigned store)
{
    return {called("IMsgStore::Unadvise", storeId(store), "ulConnection=0x500000001"),
            called("MAPIUninitialize", "", ""),
            called("IMAPISession::Logoff", "", "ulFlags=0x0, ulReserved=0x0, ulUIParam=0x0")};
}
} // namespace endtoend

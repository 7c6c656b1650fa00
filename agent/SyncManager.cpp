#include "agent/SyncManager.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "agent/mapi/MapiSession.h"
#include "utilities/Failure.h"
#include "utilities/HexString.h"
#include "utilities/IPCClient.h"
#include "utilities/Logger.h"

using utilities::Logger;

namespace
{
using Watchers = std::vector<std::shared_ptr<ContactWatcher>>;

constexpr const wchar_t* messageVersion = L"2"; // in every message: settled behaviour 9

[[nodiscard]] const wchar_t* operationWord(SyncOperation operation)
{
    switch (operation)
    {
    case SyncOperation::Snapshot:
        return L"snapshot";
    case SyncOperation::Add:
        return L"add";
    case SyncOperation::Change:
        return L"change";
    case SyncOperation::Delete:
        return L"delete";
    }
    return L"";
}

[[nodiscard]] const wchar_t* trueOrFalse(bool value)
{
    return value ? L"true" : L"false";
}

[[nodiscard]] std::wstring quoted(const std::wstring& name)
{
    return L'"' + name + L'"';
}

void logStoreInfo(const mapi::MsgStoreInfo& info)
{
    Logger::instance().write(L"Message Store found: " + info.displayName + L" (" + info.providerName + L"), Default: " +
                             trueOrFalse(info.isDefault) + L", Public: " + trueOrFalse(info.isPublic) + L", EntryId: " +
                             toHexString(info.entryId));
}

[[nodiscard]] IMsgStorePtr tryOpenStore(const mapi::MsgStoreInfo& info)
{
    constexpr std::wstring_view function = L"`anonymous-namespace'::tryOpenStore";
    try
    {
        return mapi::Session::openStore(mapi::entryIdSize(info.entryId), mapi::entryIdBytes(info.entryId));
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, function);
        return {};
    }
}

void addWatcher(Watchers& watchers, const mapi::MsgStoreInfo& info)
{
    logStoreInfo(info);
    const IMsgStorePtr store = tryOpenStore(info);
    if (!store)
    {
        Logger::instance().write(L"Ignore message store " + quoted(info.displayName) + L" - cannot open.");
        return;
    }
    const auto watcher = std::make_shared<ContactWatcher>(mapi::MessageStore(store), info.displayName);
    watchers.insert(info.isDefault ? watchers.begin() : watchers.end(), watcher);
}
} // namespace

SyncManager::SyncManager()
{
    clearWatchers();
}

SyncManager::~SyncManager()
{
    clearWatchers();
}

void SyncManager::createWatchers()
{
    constexpr std::wstring_view function = L"SyncManager::createWatchers";
    Watchers watchers;
    mapi::Session::enumerateStores([&watchers](const mapi::MsgStoreInfo& info) { addWatcher(watchers, info); });
    if (watchers.empty())
        throw utilities::exception(
            utilities::formatMessage(function, L"Cannot find message stores for synchronization"));
    // Each store is asked once, in order; an algorithm of the library may ask in another one.
    Watchers ordered;
    Watchers ofPublicStores;
    for (auto& watcher : watchers)
        (watcher->store().isPublic() ? ofPublicStores : ordered).push_back(std::move(watcher));
    std::ranges::move(ofPublicStores, std::back_inserter(ordered));
    m_watchers.swap(ordered);
}

void SyncManager::createSnapshot()
{
    const std::uint64_t total = m_watchers.size();
    std::uint64_t index = 0;
    for (const auto& watcher : m_watchers)
    {
        const std::wstring name = watcher->displayName();
        Logger::instance().write(L"createSnapshot for " + quoted(name) + L" started");
        std::vector<SyncItem> items;
        watcher->processWatchedFolders([&items](IMAPIFolderPtr folder)
                                       { ContactWatcher::collectContacts(folder, items); });
        Logger::instance().write(L"createSnapshot for " + quoted(name) + L": " + std::to_wstring(items.size()) +
                                 L" contact(s) found");
        sendItems(items, SyncOperation::Snapshot, index, total);
        ++index; // also for a store that had nothing to send: settled behaviour 9
    }
}

void SyncManager::sendChanges(const Changes& changes)
{
    sendItems(changes.deletedFolders, SyncOperation::Delete, 0, 1);
    sendItems(changes.deleted, SyncOperation::Delete, 0, 1);
    sendItems(changes.added, SyncOperation::Add, 0, 1);
    sendItems(changes.changed, SyncOperation::Change, 0, 1);
}

void SyncManager::send(const std::wstring& text)
{
    Logger::instance().write(L"Sending data:\n", text);
    IPCClient client;
    if (!client.send(text))
        throw utilities::exception(L"Unable to send data through ipc channel");
}

void SyncManager::sendItems(const std::vector<SyncItem>& items, SyncOperation operation, std::uint64_t index,
                            std::uint64_t total)
{
    if (items.empty())
        return;
    std::wstring text = messageVersion;
    text += L';';
    text += operationWord(operation);
    text += L';';
    text += items.front().isFolder ? L"folder" : L"contact";
    text += L';';
    text += std::to_wstring(index);
    text += L';';
    text += std::to_wstring(total);
    text += L'\n';
    send(joinItemTexts(std::move(text), items));
}

void SyncManager::clearWatchers()
{
    for (auto& watcher : m_watchers)
        watcher.reset();
    m_watchers.clear();
}

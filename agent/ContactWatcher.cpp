#include "agent/ContactWatcher.h"

#include <utility>

#include "agent/ContactLoading.h"
#include "agent/ContactWatcherData.h"
#include "agent/mapi/Restriction.h"
#include "mapiabi/MapiTags.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

using utilities::Logger;

namespace
{
/// Lets visible folders through: those without the hidden attribute, and those for which it is false.
[[nodiscard]] mapi::Restriction visibleFolders()
{
    std::vector<mapi::Restriction> parts;
    parts.push_back(mapi::Restriction::negate(mapi::Restriction::exists(PR_ATTR_HIDDEN)));
    parts.push_back(mapi::Restriction::equals(mapi::PropValue::makeBoolean(PR_ATTR_HIDDEN, false)));
    return mapi::Restriction::anyOf(std::move(parts));
}
} // namespace

ContactWatcher::ContactWatcher(mapi::MessageStore store, const std::wstring& displayName)
    : m_data(new Data{std::move(store), {}, {}, {}, {}})
{
    constexpr std::wstring_view function = L"ContactWatcher::ContactWatcher";
    utilities::checkCondition(static_cast<bool>(m_data->store), utilities::Condition{L"m_data->store"}, function);
    m_data->displayName = displayName;
}

ContactWatcher::~ContactWatcher()
{
    m_data->sink.unadvise(); // from here on no notification arrives
    m_data->knownFolders.clear();
}

void ContactWatcher::subscribe(const ChangesCallback& onChanges)
{
    constexpr std::wstring_view function = L"ContactWatcher::subscribe";
    Logger::instance().write(L"Subscribe to " + m_data->displayName);
    if (!m_data->store)
    {
        utilities::logLine(function, L"store is not set!");
        return;
    }
    if (m_data->store.isPublic())
    {
        Logger::instance().write(L"Event tracking for public store is not implemented.");
        return;
    }
    if (!m_data->sink.isAdvised())
        m_data->sink.advise(m_data->store.store(), [this](ULONG count, const NOTIFICATION* notifications)
                            { onNotification(count, notifications); });
    if (!m_data->sink.isAdvised())
        return; // the sink has logged why
    m_data->onChanges = onChanges;
    processWatchedFolders([this](IMAPIFolderPtr folder) { subscribe(std::move(folder)); });
}

void ContactWatcher::subscribe(IMAPIFolderPtr folder)
{
    constexpr std::wstring_view function = L"ContactWatcher::subscribe";
    utilities::checkCondition(m_data->sink.isAdvised(), utilities::Condition{L"m_data->sink.isAdvised()"}, function);
    if (!folder)
    {
        utilities::logLine(function, L"Null-pointer passed.");
        return;
    }
    if (!mapi::maybeContactFolder(folder))
        return;
    EntryId id = mapi::entryId(folder);
    Logger::instance().write(L"Maybe Contacts folder " + mapi::displayName(folder) +
                             L" registered as known notification source");
    m_data->knownFolders.insert(std::move(id));
}

void ContactWatcher::processWatchedFolders(const mapi::FolderVisitor& visitor) const
{
    constexpr std::wstring_view function = L"ContactWatcher::processWatchedFolders";
    utilities::checkCondition(static_cast<bool>(m_data->store), utilities::Condition{L"m_data->store"}, function);

    const IMAPIFolderPtr root = m_data->store.openIpmSubtree();
    const auto restriction = mapi::Restriction::build(visibleFolders());
    mapi::traverseFolders(root, restriction.get(), visitor);
}

void ContactWatcher::collectContacts(IMAPIFolderPtr folder, std::vector<SyncItem>& items)
{
    if (!mapi::maybeContactFolder(folder))
        return;
    for (SyncItem& item : collectContactItems(folder))
        items.push_back(std::move(item));
}

const mapi::MessageStore& ContactWatcher::store() const noexcept
{
    return m_data->store;
}

const std::wstring& ContactWatcher::displayName() const noexcept
{
    return m_data->displayName;
}

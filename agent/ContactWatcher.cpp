#include "agent/ContactWatcher.h"

#include "agent/mapi/MapiTags.h"

#include <utility>

#include "agent/ContactLoading.h"
#include "agent/mapi/Restriction.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

struct ContactWatcher::Data
{
    mapi::MessageStore store;
    std::wstring displayName;
};

namespace
{
/// Lets visible folders through: those without the hidden attribute, and those for which it is false.
mapi::Restriction visibleFolders()
{
    std::vector<mapi::Restriction> parts;
    parts.push_back(mapi::Restriction::negate(mapi::Restriction::exists(PR_ATTR_HIDDEN)));
    parts.push_back(mapi::Restriction::equals(mapi::PropValue::makeBoolean(PR_ATTR_HIDDEN, false)));
    return mapi::Restriction::anyOf(std::move(parts));
}
} // namespace

ContactWatcher::ContactWatcher(mapi::MessageStore store, const std::wstring& displayName)
    : m_data(std::make_unique<Data>(Data{std::move(store), {}}))
{
    if (!m_data->store)
        utilities::checkCondition(utilities::Condition{L"m_data->store"}, L"ContactWatcher::ContactWatcher");
    m_data->displayName = displayName;
}

ContactWatcher::~ContactWatcher() = default;

void ContactWatcher::subscribe(const ChangesCallback&)
{
    utilities::Logger::instance().write(L"Subscribe to " + m_data->displayName);
}

void ContactWatcher::processWatchedFolders(const mapi::FolderVisitor& visitor) const
{
    if (!m_data->store)
        utilities::checkCondition(utilities::Condition{L"m_data->store"}, L"ContactWatcher::processWatchedFolders");

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

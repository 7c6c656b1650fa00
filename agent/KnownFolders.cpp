#include "agent/KnownFolders.h"

#include <algorithm>
#include <utility>

#include "agent/mapi/MapiSession.h"

bool EntryIdLess::operator()(const EntryId& a, const EntryId& b) const
{
    return !mapi::Session::isSameObject(a, b) && a < b;
}

bool KnownFolders::contains(const EntryId& entryId) const
{
    return isAt(lowerBound(entryId), entryId);
}

void KnownFolders::insert(EntryId entryId)
{
    const Iterator bound = lowerBound(entryId);
    if (!isAt(bound, entryId))
        m_entryIds.insert(bound, std::move(entryId));
}

KnownFolders::Iterator KnownFolders::lowerBound(const EntryId& entryId) const
{
    return std::lower_bound(m_entryIds.begin(), m_entryIds.end(), entryId, EntryIdLess());
}

bool KnownFolders::isAt(Iterator bound, const EntryId& entryId) const
{
    return bound != m_entryIds.end() && !EntryIdLess()(entryId, *bound);
}

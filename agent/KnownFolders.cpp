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
    return find(entryId).isFound;
}

void KnownFolders::insert(EntryId entryId)
{
    const Place place = find(entryId);
    if (place.isFound)
    {
        Member& member = m_members[place.index];
        member = std::make_shared<const EntryId>(*member);
        return;
    }
    const auto position = m_members.begin() + static_cast<std::ptrdiff_t>(place.index);
    m_members.insert(position, std::make_shared<const EntryId>(std::move(entryId)));
    ++m_changes;
}

bool KnownFolders::erase(const Member& member)
{
    const auto found = std::ranges::find(m_members, member);
    if (found == m_members.end())
        return false;
    m_members.erase(found);
    ++m_changes;
    return true;
}

void KnownFolders::clear() noexcept
{
    m_members.clear();
    ++m_changes;
}

/// The first member that does not stand before the folder, sought by halves, and whether it is the folder. Not
/// std::lower_bound, which wants a strict ordering.
KnownFolders::Place KnownFolders::find(const EntryId& entryId) const
{
    const EntryIdLess isBefore;
    for (;;)
    {
        const std::size_t changes = m_changes;
        Place place{0, false};
        for (std::size_t left = m_members.size(); left != 0 && m_changes == changes;)
        {
            const std::size_t half = left / 2;
            const Member middle = m_members[place.index + half]; // may be taken out while it is compared
            if (isBefore(*middle, entryId))
            {
                place.index += half + 1;
                left -= half + 1;
            }
            else
                left = half;
        }
        if (m_changes == changes && place.index != m_members.size())
        {
            const Member bound = m_members[place.index];
            place.isFound = !isBefore(entryId, *bound);
        }
        if (m_changes == changes)
            return place;
    }
}

#include "agent/KnownFolders.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

#include "agent/mapi/MapiSession.h"

namespace
{
/// In members: few enough to be moved for one that comes, so many that a search has few blocks to pass by.
constexpr std::size_t longestBlock = 1024;
} // namespace

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
    std::size_t index = place.index;
    auto block = m_blocks.begin();
    for (; block != m_blocks.end() && index + (place.isFound ? 1 : 0) > block->size(); ++block)
        index -= block->size();
    if (place.isFound)
    {
        Member& member = (*block)[index];
        member = std::make_shared<const EntryId>(*member);
        return;
    }

    if (block == m_blocks.end())
        block = m_blocks.emplace(block);
    block->insert(block->begin() + static_cast<std::ptrdiff_t>(index),
                  std::make_shared<const EntryId>(std::move(entryId)));
    ++m_size;
    ++m_changes;
    if (block->size() > longestBlock)
    {
        constexpr auto half = static_cast<std::ptrdiff_t>(longestBlock / 2);
        block = std::prev(m_blocks.insert(std::next(block), Block(block->begin() + half, block->end())));
        block->erase(block->begin() + half, block->end());
    }
}

bool KnownFolders::erase(const Member& member)
{
    const auto bytesOf = [](const Member& one) -> const EntryId&
    {
        return *one;
    };
    const auto lastBytesOf = [](const Block& one) -> const EntryId&
    {
        return *one.back();
    };
    const auto block = std::ranges::lower_bound(m_blocks, *member, {}, lastBytesOf);
    if (block == m_blocks.end())
        return false;
    const auto found = std::ranges::lower_bound(*block, *member, {}, bytesOf);
    if (*found != member)
        return false;
    block->erase(found);
    if (block->empty())
        m_blocks.erase(block);
    --m_size;
    ++m_changes;
    return true;
}

void KnownFolders::clear() noexcept
{
    m_blocks.clear();
    m_size = 0;
    ++m_changes;
}

std::vector<KnownFolders::Member> KnownFolders::members() const
{
    std::vector<Member> members;
    members.reserve(m_size);
    for (const Block& block : m_blocks)
        members.insert(members.end(), block.begin(), block.end());
    return members;
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
        for (std::size_t left = m_size; left != 0 && m_changes == changes;)
        {
            const std::size_t half = left / 2;
            const Member middle = at(place.index + half); // may be taken out while it is compared
            if (isBefore(*middle, entryId))
            {
                place.index += half + 1;
                left -= half + 1;
            }
            else
                left = half;
        }
        if (m_changes == changes && place.index != m_size)
        {
            const Member bound = at(place.index);
            place.isFound = !isBefore(entryId, *bound);
        }
        if (m_changes == changes)
            return place;
    }
}

const KnownFolders::Member& KnownFolders::at(std::size_t index) const
{
    auto block = m_blocks.begin();
    for (; index >= block->size(); ++block)
        index -= block->size();
    return (*block)[index];
}

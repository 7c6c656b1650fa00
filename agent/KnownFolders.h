// KnownFolders.h: the folders whose contacts a watcher reports.
#pragma once

#include <vector>

#include "agent/mapi/EntryId.h"

/// `a` stands before `b` when MAPI does not call them the same object (mapi::Session::isSameObject) and its bytes are
/// the smaller ones. Bytes decide the place, MAPI decides equality; so this is no strict ordering (settled behaviour
/// 25).
struct EntryIdLess
{
    /// Throws without a MAPI session.
    [[nodiscard]] bool operator()(const EntryId& a, const EntryId& b) const;
};

/// A set of folders by `EntryIdLess`, in the order of their bytes. A search asks MAPI at each member that it visits,
/// and once more about the one that it has found. Each operation with an identifier throws without a MAPI session. Used
/// by the worker.
class KnownFolders
{
public:
    using Iterator = std::vector<EntryId>::const_iterator;

    [[nodiscard]] bool empty() const noexcept { return m_entryIds.empty(); }
    [[nodiscard]] bool contains(const EntryId& entryId) const;
    /// Adds a folder that isn't found.
    void insert(EntryId entryId);
    /// Gives the member behind the one that is erased.
    Iterator erase(Iterator member) { return m_entryIds.erase(member); }
    void clear() noexcept { m_entryIds.clear(); }

    [[nodiscard]] Iterator begin() const noexcept { return m_entryIds.begin(); }
    [[nodiscard]] Iterator end() const noexcept { return m_entryIds.end(); }

private:
    [[nodiscard]] Iterator lowerBound(const EntryId& entryId) const;
    [[nodiscard]] bool isAt(Iterator bound, const EntryId& entryId) const;

    std::vector<EntryId> m_entryIds;
};

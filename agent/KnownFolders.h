// KnownFolders.h: the folders whose contacts a watcher reports.
#pragma once

#include <cstddef>
#include <memory>
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
/// by the worker. While MAPI is asked, a batch of notifications may change the set (settled behaviour 70); the search
/// begins anew then.
class KnownFolders
{
public:
    /// A folder since it was inserted last: the same identifier, inserted again, is another member. Outlives its erasure.
    using Member = std::shared_ptr<const EntryId>;

    [[nodiscard]] bool empty() const noexcept { return m_size == 0; }
    [[nodiscard]] bool contains(const EntryId& entryId) const;
    /// Adds a folder that isn't found; one that is becomes another member with the identifier that it had.
    void insert(EntryId entryId);
    /// Takes out this very member, without asking MAPI. False if it is none any more.
    [[nodiscard]] bool erase(const Member& member);
    void clear() noexcept;

    /// All of them, in order.
    [[nodiscard]] std::vector<Member> members() const;

private:
    using Block = std::vector<Member>;

    /// Where a search has ended. Good until MAPI is called again.
    struct Place
    {
        std::size_t index;
        bool isFound;
    };

    [[nodiscard]] Place find(const EntryId& entryId) const;
    [[nodiscard]] const Member& at(std::size_t index) const;

    std::vector<Block> m_blocks; // in order; none is empty, or so long that an insertion would take long
    std::size_t m_size = 0;
    std::size_t m_changes = 0; // how often places have changed
};

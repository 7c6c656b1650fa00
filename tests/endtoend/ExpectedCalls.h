// ExpectedCalls.h: the MAPI calls by which the agent does its work, and their order, which no other test says: its start, the
// snapshot of a store, the watching of it, each kind of change, and the end. Identifiers in hexadecimal.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/endtoend/Expected.h"

namespace endtoend
{
/// MAPI calls as "<name> on <identifier>(<arguments>) -> <result>", without those for memory and for another interface of
/// an object.
using Calls = Lines;

/// A raw notification. Identifiers in hexadecimal; none when empty.
struct Notification
{
    unsigned event = 0;
    unsigned objectType = messageType;
    std::string id{};
    std::string parent{};
    std::string oldId{};
    std::string oldParent{};
};

/// What the agent's calls depend on: one store, and which of its folders are known. The folders of one parent are in the
/// order of their identifiers, and all of them have a class.
class CallModel
{
public:
    /// A store that has a root and an IPM subtree, which isn't a contact folder.
    explicit CallModel(unsigned store = 1);

    // ---- What is in the store ----------------------------------------------------------------------------------------

    /// A folder, which may have been elsewhere before.
    void put(const std::string& folder, const std::string& parent) { m_parents[folder] = parent; }
    /// A contact folder with these messages.
    void putContacts(const std::string& folder, const std::string& parent,
                     const std::vector<std::string>& messages = {});
    void hide(const std::string& folder) { m_hidden.insert(folder); }
    /// Takes a folder away, with all below it.
    void remove(const std::string& folder);
    /// What the opening of an object answers; without a word, success.
    void setResult(const std::string& id, const std::string& result) { m_results[id] = result; }

    // ---- What the agent does -----------------------------------------------------------------------------------------

    /// The snapshot of the store.
    [[nodiscard]] Calls snapshot() const;
    /// The beginning of the watch; the contact folders of the IPM subtree are known from then on.
    [[nodiscard]] Calls watched();
    /// The handling of a notification, with what it adds to the known folders or takes from them.
    [[nodiscard]] Calls handled(const Notification& notification);

private:
    [[nodiscard]] std::string resultOf(const std::string& id) const;
    [[nodiscard]] std::vector<std::string> below(const std::string& folder) const;
    [[nodiscard]] bool isInSubtree(const std::string& folder) const;
    [[nodiscard]] Calls openedIpmSubtree() const;
    [[nodiscard]] Calls opened(const std::string& id, std::string_view interfaceId) const;
    [[nodiscard]] Calls collected(const std::string& folder) const;
    [[nodiscard]] Calls registered(const std::string& folder) const;
    [[nodiscard]] Calls askedForSubtree(const std::string& folder) const;
    template <class Visit>
    void walk(const std::string& folder, std::set<std::string>& present, Calls& calls, const Visit& visit) const;

    [[nodiscard]] bool isSource(bool isFolder, const std::string& parent, Calls& calls) const;
    void comesIn(const Notification& notification, Calls& calls);
    void changes(const Notification& notification, Calls& calls) const;
    void reconcile(Calls& calls);

    const std::string m_store;
    const std::string m_ipmSubtree;
    std::map<std::string, std::string> m_parents;               // of each folder; the root's is the root
    std::map<std::string, std::vector<std::string>> m_contacts; // the messages of contact folders
    std::set<std::string> m_hidden;
    std::set<std::string> m_known;
    std::map<std::string, std::string> m_results;
};

/// The worker's start, up to the snapshot of the first of so many stores.
[[nodiscard]] Calls started(unsigned stores);
/// The question whether a store is public, in front of its watch.
[[nodiscard]] Calls askedForPublic();
/// The worker's end when one store is watched, and that of the session.
[[nodiscard]] Calls ended(unsigned store);
} // namespace endtoend

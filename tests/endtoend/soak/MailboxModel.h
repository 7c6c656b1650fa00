// MailboxModel.h: what is in a mailbox file, what edits make of it, and of what the stores notify, by the rules of
// docs/sandbox.md and docs/sandbox-control.md alone. It shares no code with the sandbox.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend::soak
{
/// A folder or a contact.
struct Object
{
    bool isFolder = false;
    unsigned store = 0;
    unsigned number = 0; // in its store, among folders or messages
    std::string id;
    std::string parent; // the root's is the root
    Json description;   // as in the mailbox file, without contents; a contact's `class` is always there, null for none
};

struct Store
{
    unsigned number = 0; // from 1 on
    std::string name;
    bool isDefault = false;
    bool isPublic = false;
    std::string ipmSubtree{};
    unsigned folders = 0; // numbers given so far
    unsigned messages = 0;
};

/// A notification.
struct Event
{
    enum class Kind
    {
        Created,
        Deleted,
        Modified,
        Moved,
        Copied
    };

    Kind kind = Kind::Created;
    bool isFolder = false;
    std::string id;
    std::string parent;
    std::string oldId{};
    std::string oldParent{};
};

/// Of what each store notifies, by its number.
using Events = std::map<unsigned, std::vector<Event>>;

class MailboxModel
{
public:
    /// @param mailbox  the mailbox file: `stores`, with the keys of stores, folders and messages that are read here.
    explicit MailboxModel(const Json& mailbox);

    /// Does what one request says, whose paths are identifiers, and adds the notifications of it. Those of contents that have
    /// changed are left out. Gives the identifier of what is new, or nothing.
    std::string apply(const Json& request, Events& events);

    [[nodiscard]] const Store& store(unsigned number) const { return m_stores[number - 1]; }
    [[nodiscard]] const std::vector<Store>& stores() const noexcept { return m_stores; }
    /// All that there is; what lies in one folder, in the order of its tables.
    [[nodiscard]] const std::vector<Object>& objects() const noexcept { return m_objects; }
    /// The folders or the contacts that lie in a folder itself.
    [[nodiscard]] std::vector<Object> objectsIn(const std::string& folder, bool folders) const;
    /// Null when there is none.
    [[nodiscard]] const Object* find(const std::string& id) const;
    /// Whether a folder is `other` or lies below it.
    [[nodiscard]] bool isWithin(const std::string& folder, const std::string& other) const;

private:
    std::string addFolder(const Json& description, unsigned store, const std::string& parent);
    std::string addContact(Json description, const std::string& folder);
    std::string copy(const std::string& id, const std::string& target);
    std::string move(const std::string& id, const std::string& target, bool keepId);
    void remove(const std::string& id);
    void edit(const std::string& id, const Json& set);
    [[nodiscard]] Event eventOf(Event::Kind kind, const std::string& id) const;

    std::vector<Store> m_stores;
    std::vector<Object> m_objects;
};
} // namespace endtoend::soak

// MailboxModel.h: what is in a mailbox file, what edits make of it, and what the stores tell of them, by the rules of
// docs/sandbox.md and docs/sandbox-control.md alone. It shares no code with the sandbox.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend::soak
{
struct Folder;

struct Contact
{
    std::string id;
    Json description; // as in the mailbox file; `class` is always there, null for none
    Folder* folder = nullptr;
};

struct Folder
{
    unsigned store = 0;
    std::string id;
    Json description;         // `name`, and `class` and `hidden` if it has them
    Folder* parent = nullptr; // null for the root
    std::vector<std::unique_ptr<Contact>> contacts{};
    std::vector<std::unique_ptr<Folder>> folders{};

    /// The folder itself and all below it, a folder before those below it.
    void forEach(const std::function<void(Folder&)>& visit);
    /// Whether this is `other` or lies below it.
    [[nodiscard]] bool isWithin(const Folder& other) const;
};

struct Store
{
    unsigned number = 0; // from 1 on
    std::string name;
    bool isDefault = false;
    bool isPublic = false;
    std::unique_ptr<Folder> root{};
    Folder* ipmSubtree = nullptr;
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

/// What each store tells, by its number.
using Events = std::map<unsigned, std::vector<Event>>;

class MailboxModel
{
public:
    /// @param mailbox  the mailbox file: `stores`, with the keys of stores, folders and messages that are read here.
    explicit MailboxModel(const Json& mailbox);

    /// Does what one request says, whose places are identifiers, and adds what the stores tell of it. Contents that have
    /// changed are left out. Gives the identifier of what is new, or nothing.
    std::string apply(const Json& request, Events& events);

    [[nodiscard]] const std::vector<Store>& stores() const noexcept { return m_stores; }
    [[nodiscard]] const Store& store(unsigned number) const { return m_stores[number - 1]; }
    [[nodiscard]] std::vector<Folder*> allFolders() const;
    [[nodiscard]] std::vector<Contact*> allContacts() const;
    /// Null when there is none.
    [[nodiscard]] Folder* findFolder(const std::string& id) const;
    [[nodiscard]] Contact* findContact(const std::string& id) const;

private:
    Folder& readFolder(const Json& description, Store& store, Folder* parent);
    void readContents(const Json& description, Folder& folder);
    Contact& addContact(Json description, Folder& folder);
    Folder& copyFolder(const Folder& folder, Folder& target);
    [[nodiscard]] Store& storeOf(const Folder& folder) { return m_stores[folder.store - 1]; }

    void edit(const Json& request, Events& events);
    std::string add(const Json& request, Events& events);
    std::string move(const Json& request, Events& events);
    std::string moveContact(Contact& contact, Folder& target, bool keepId, Events& events);
    std::string moveFolder(Folder& folder, Folder& target, Events& events);
    std::string copy(const Json& request, Events& events);
    void remove(const Json& request, Events& events);

    std::vector<Store> m_stores;
};
} // namespace endtoend::soak

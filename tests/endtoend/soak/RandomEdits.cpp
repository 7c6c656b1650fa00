#include "tests/endtoend/soak/RandomEdits.h"

#include <optional>
#include <vector>

#include "tests/endtoend/soak/RandomMailbox.h"

namespace endtoend::soak
{
namespace
{
/// Beyond that, folders are no longer copied or added: copies of copies would grow without end.
constexpr std::size_t manyFolders = 40;

/// What an edit is drawn from.
struct Drawing
{
    Choices& choices;
    const MailboxModel& mailbox;
    const std::string& favourite; // the identifier of what is drawn more often than the rest, if it is there
};

std::string place(const std::string& id)
{
    return "#" + id;
}

bool drawsFavourite(const Drawing& drawing)
{
    return !drawing.favourite.empty() && drawing.choices.chance(40);
}

Folder& anyFolder(const Drawing& drawing)
{
    if (drawsFavourite(drawing))
    {
        if (Folder* const folder = drawing.mailbox.findFolder(drawing.favourite))
            return *folder;
    }
    return *drawing.choices.oneOf(drawing.mailbox.allFolders());
}

/// A folder that may be moved, copied and deleted; null when there is none.
Folder* loneFolder(const Drawing& drawing)
{
    const MailboxModel& mailbox = drawing.mailbox;
    const auto isOnTop = [&mailbox](const Folder* folder)
    {
        return folder->parent == nullptr || folder == mailbox.store(folder->store).ipmSubtree;
    };
    if (drawsFavourite(drawing))
    {
        if (Folder* const folder = mailbox.findFolder(drawing.favourite); folder != nullptr && !isOnTop(folder))
            return folder;
    }
    std::vector<Folder*> folders = mailbox.allFolders();
    std::erase_if(folders, isOnTop);
    return folders.empty() ? nullptr : drawing.choices.oneOf(folders);
}

Contact* anyContact(const Drawing& drawing)
{
    if (drawsFavourite(drawing))
    {
        if (Contact* const contact = drawing.mailbox.findContact(drawing.favourite))
            return contact;
    }
    const std::vector<Contact*> contacts = drawing.mailbox.allContacts();
    return contacts.empty() ? nullptr : drawing.choices.oneOf(contacts);
}

// Each gives nothing when the choice fell on what can't be done.

std::optional<Json> addContact(const Drawing& drawing)
{
    return Json{
        {"do", "addContact"}, {"folder", place(anyFolder(drawing).id)}, {"contact", randomContact(drawing.choices)}};
}

std::optional<Json> addFolder(const Drawing& drawing)
{
    if (drawing.mailbox.allFolders().size() > manyFolders)
        return std::nullopt;
    return Json{
        {"do", "addFolder"}, {"parent", place(anyFolder(drawing).id)}, {"folder", randomFolder(drawing.choices, 1)}};
}

std::optional<Json> editContact(const Drawing& drawing)
{
    const Contact* const contact = anyContact(drawing);
    if (contact == nullptr)
        return std::nullopt;
    return Json{{"do", "editContact"}, {"contact", place(contact->id)}, {"set", randomContactChange(drawing.choices)}};
}

std::optional<Json> editFolder(const Drawing& drawing)
{
    Json set = Json::object();
    switch (drawing.choices.below(4))
    {
    case 0:
        set["hidden"] = true;
        break;
    case 1:
        set["hidden"] = drawing.choices.chance(50) ? Json(false) : Json();
        break;
    case 2:
        set["class"] = randomFolderClass(drawing.choices);
        break;
    default:
        set["name"] = "Folder " + std::to_string(drawing.choices.below(1000));
        break;
    }
    return Json{{"do", "editFolder"}, {"folder", place(anyFolder(drawing).id)}, {"set", set}};
}

std::optional<Json> moveContact(const Drawing& drawing)
{
    const Contact* const contact = anyContact(drawing);
    const Folder& target = anyFolder(drawing);
    if (contact == nullptr || contact->folder == &target)
        return std::nullopt;
    Json request = {{"do", "move"}, {"object", place(contact->id)}, {"to", place(target.id)}};
    if (contact->folder->store == target.store)
        request["keepId"] = drawing.choices.chance(50);
    return request;
}

std::optional<Json> moveFolder(const Drawing& drawing)
{
    const Folder* const folder = loneFolder(drawing);
    const Folder& target = anyFolder(drawing);
    if (folder == nullptr || folder->parent == &target || target.isWithin(*folder))
        return std::nullopt;
    return Json{{"do", "move"}, {"object", place(folder->id)}, {"to", place(target.id)}};
}

std::optional<Json> copyContact(const Drawing& drawing)
{
    const Contact* const contact = anyContact(drawing);
    if (contact == nullptr)
        return std::nullopt;
    return Json{{"do", "copy"}, {"object", place(contact->id)}, {"to", place(anyFolder(drawing).id)}};
}

std::optional<Json> copyFolder(const Drawing& drawing)
{
    const Folder* const folder = loneFolder(drawing);
    const Folder& target = anyFolder(drawing);
    if (folder == nullptr || target.isWithin(*folder) || drawing.mailbox.allFolders().size() > manyFolders)
        return std::nullopt;
    return Json{{"do", "copy"}, {"object", place(folder->id)}, {"to", place(target.id)}};
}

std::optional<Json> deleteContact(const Drawing& drawing)
{
    const Contact* const contact = anyContact(drawing);
    if (contact == nullptr)
        return std::nullopt;
    return Json{{"do", "delete"}, {"object", place(contact->id)}};
}

std::optional<Json> deleteFolder(const Drawing& drawing)
{
    const Folder* const folder = loneFolder(drawing);
    if (folder == nullptr)
        return std::nullopt;
    return Json{{"do", "delete"}, {"object", place(folder->id)}};
}
} // namespace

Json randomEdit(Choices& choices, const MailboxModel& mailbox, const std::string& favourite)
{
    const Drawing drawing{choices, mailbox, favourite};
    using Maker = std::optional<Json> (*)(const Drawing&);
    static const std::vector<Maker> s_makers = {addContact, addContact, addContact,   editContact,   editContact,
                                                editFolder, editFolder, moveContact,  moveContact,   moveContact,
                                                moveFolder, moveFolder, copyContact,  copyContact,   copyFolder,
                                                addFolder,  addFolder,  deleteFolder, deleteContact, deleteContact};
    while (true)
    {
        if (std::optional<Json> request = choices.oneOf(s_makers)(drawing))
            return *std::move(request);
    }
}
} // namespace endtoend::soak

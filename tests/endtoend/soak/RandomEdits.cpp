// The edits of RandomMailbox.h.
#include <algorithm>
#include <optional>

#include "tests/endtoend/soak/RandomMailbox.h"

namespace endtoend::soak
{
namespace
{
/// Beyond that, folders are no longer copied or added: copies of copies would grow without end.
constexpr std::ptrdiff_t manyFolders = 40;

/// What an edit is drawn from. What gives an edit gives nothing when the choice fell on what can't be done.
class Drawing
{
public:
    Drawing(Choices& choices, const MailboxModel& mailbox, const std::string& favourite)
        : m_choices(choices), m_mailbox(mailbox), m_favourite(favourite)
    {
    }

    std::optional<Json> addContact()
    {
        return Json{{"do", "addContact"}, {"folder", path(*anyFolder())}, {"contact", randomContact(m_choices)}};
    }

    std::optional<Json> addFolder()
    {
        if (hasManyFolders())
            return std::nullopt;
        return Json{{"do", "addFolder"}, {"parent", path(*anyFolder())}, {"folder", randomFolder(m_choices, 1)}};
    }

    std::optional<Json> editContact()
    {
        const Object* const contact = anyContact();
        if (contact == nullptr)
            return std::nullopt;
        return Json{{"do", "editContact"}, {"contact", path(*contact)}, {"set", randomContactChange(m_choices)}};
    }

    std::optional<Json> editFolder()
    {
        Json set = Json::object();
        switch (m_choices.below(4))
        {
        case 0:
            set["hidden"] = true;
            break;
        case 1:
            set["hidden"] = m_choices.chance(50) ? Json(false) : Json();
            break;
        case 2:
            set["class"] = randomFolderClass(m_choices);
            break;
        default:
            set["name"] = "Folder " + std::to_string(m_choices.below(1000));
            break;
        }
        return Json{{"do", "editFolder"}, {"folder", path(*anyFolder())}, {"set", set}};
    }

    std::optional<Json> moveContact()
    {
        const Object* const contact = anyContact();
        const Object* const target = anyFolder();
        if (contact == nullptr || contact->parent == target->id)
            return std::nullopt;
        Json request = {{"do", "move"}, {"object", path(*contact)}, {"to", path(*target)}};
        if (contact->store == target->store)
            request["keepId"] = m_choices.chance(50);
        return request;
    }

    std::optional<Json> moveFolder()
    {
        const Object* const folder = loneFolder();
        const Object* const target = anyFolder();
        if (folder == nullptr || folder->parent == target->id || m_mailbox.isWithin(target->id, folder->id))
            return std::nullopt;
        return Json{{"do", "move"}, {"object", path(*folder)}, {"to", path(*target)}};
    }

    std::optional<Json> copyContact()
    {
        const Object* const contact = anyContact();
        if (contact == nullptr)
            return std::nullopt;
        return Json{{"do", "copy"}, {"object", path(*contact)}, {"to", path(*anyFolder())}};
    }

    std::optional<Json> copyFolder()
    {
        const Object* const folder = loneFolder();
        const Object* const target = anyFolder();
        if (folder == nullptr || m_mailbox.isWithin(target->id, folder->id) || hasManyFolders())
            return std::nullopt;
        return Json{{"do", "copy"}, {"object", path(*folder)}, {"to", path(*target)}};
    }

    std::optional<Json> deleteContact() { return deleted(anyContact()); }
    std::optional<Json> deleteFolder() { return deleted(loneFolder()); }

private:
    static std::string path(const Object& object) { return "#" + object.id; }

    static std::optional<Json> deleted(const Object* object)
    {
        if (object == nullptr)
            return std::nullopt;
        return Json{{"do", "delete"}, {"object", path(*object)}};
    }

    const Object* anyFolder()
    {
        return any([](const Object& object) { return object.isFolder; });
    }
    const Object* anyContact()
    {
        return any([](const Object& object) { return !object.isFolder; });
    }
    /// A folder that may be moved, copied and deleted.
    const Object* loneFolder()
    {
        return any(
            [this](const Object& object)
            {
                return object.isFolder && object.parent != object.id &&
                       object.id != m_mailbox.store(object.store).ipmSubtree;
            });
    }

    /// One of the objects that are asked for; null when there is none.
    template <class Predicate>
    const Object* any(const Predicate& isAskedFor)
    {
        if (!m_favourite.empty() && m_choices.chance(40))
        {
            if (const Object* const favourite = m_mailbox.find(m_favourite); favourite && isAskedFor(*favourite))
                return favourite;
        }
        std::vector<const Object*> found;
        for (const Object& object : m_mailbox.objects())
        {
            if (isAskedFor(object))
                found.push_back(&object);
        }
        return found.empty() ? nullptr : m_choices.oneOf(found);
    }

    [[nodiscard]] bool hasManyFolders() const
    {
        return std::ranges::count(m_mailbox.objects(), true, &Object::isFolder) > manyFolders;
    }

    Choices& m_choices;
    const MailboxModel& m_mailbox;
    const std::string& m_favourite;
};
} // namespace

Json randomEdit(Choices& choices, const MailboxModel& mailbox, const std::string& favourite)
{
    using Maker = std::optional<Json> (Drawing::*)();
    static const std::vector<Maker> s_makers = {
        &Drawing::addContact,  &Drawing::addContact,   &Drawing::addContact,    &Drawing::editContact,
        &Drawing::editContact, &Drawing::editFolder,   &Drawing::editFolder,    &Drawing::moveContact,
        &Drawing::moveContact, &Drawing::moveContact,  &Drawing::moveFolder,    &Drawing::moveFolder,
        &Drawing::copyContact, &Drawing::copyContact,  &Drawing::copyFolder,    &Drawing::addFolder,
        &Drawing::addFolder,   &Drawing::deleteFolder, &Drawing::deleteContact, &Drawing::deleteContact};
    Drawing drawing(choices, mailbox, favourite);
    while (true)
    {
        if (std::optional<Json> request = (drawing.*choices.oneOf(s_makers))())
            return *std::move(request);
    }
}
} // namespace endtoend::soak

#include "sandbox/mailbox/reading/ObjectPaths.h"

#include <algorithm>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
namespace
{
using Objects = std::vector<std::shared_ptr<MailboxObject>>;

constexpr std::size_t mostListed = 10; // identifiers of objects between which a path doesn't decide

/// What is wanted; 0 for whatever there is.
using Wanted = ULONG;
constexpr Wanted anything = 0;

[[nodiscard]] const char* wordFor(ULONG type) noexcept
{
    switch (type)
    {
    case MAPI_STORE:
        return "a store";
    case MAPI_FOLDER:
        return "a folder";
    case MAPI_MESSAGE:
        return "a message";
    default:
        return "a user of the address book";
    }
}

/// The names of a path. "\" takes its meaning from '/' and '\', and from '#' and '@' at the start of a path.
[[nodiscard]] std::vector<std::wstring> namesOf(const std::string& text, const std::string& path)
{
    std::vector<std::string> names(1);
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        if (text[at] == '/')
        {
            names.emplace_back();
            continue;
        }
        if (text[at] == '\\')
        {
            ++at;
            const bool escapes = at < text.size() && (text[at] == '/' || text[at] == '\\' ||
                                                      ((text[at] == '#' || text[at] == '@') && at == 1));
            if (!escapes)
                failAt(path, "in a path, '\\' stands before '/' or '\\' (or before '#' and '@' at the start)");
        }
        names.back() += text[at];
    }
    std::vector<std::wstring> wide;
    for (const std::string& name : names)
        wide.push_back(toWide(name));
    return wide;
}

[[nodiscard]] bool isNamed(const MailboxObject& object, const std::wstring& name)
{
    return nameInPath(object) == name;
}

/// What lies in the folders and has this name.
[[nodiscard]] Objects below(const Objects& folders, const std::wstring& name)
{
    Objects found;
    for (const std::shared_ptr<MailboxObject>& object : folders)
    {
        if (object->type() != MAPI_FOLDER)
            continue;
        const auto& folder = static_cast<const Folder&>(*object);
        for (const std::shared_ptr<Folder>& child : folder.folders())
        {
            if (isNamed(*child, name))
                found.push_back(child);
        }
        for (const std::shared_ptr<Message>& message : folder.messages())
        {
            if (isNamed(*message, name))
                found.push_back(message);
        }
    }
    return found;
}

[[nodiscard]] Objects objectsAt(const Mailbox& mailbox, const std::string& text, Wanted wanted, const std::string& path)
{
    const std::vector<std::wstring> names = namesOf(text, path);
    Objects found;
    for (const std::shared_ptr<Store>& store : mailbox.stores())
    {
        if (!isNamed(*store, names.front()))
            continue;
        if (names.size() == 1 && wanted != MAPI_FOLDER)
            found.push_back(store);
        else
            found.push_back(store->ipmSubtree());
    }
    if (found.empty())
        failAt(path, "there is no store '" + toUtf8(names.front()) + "'");
    for (std::size_t level = 1; level < names.size(); ++level)
    {
        found = below(found, names[level]);
        if (found.empty())
            failAt(path, "there is no '" + toUtf8(names[level]) + "' where '" + text + "' has it");
    }
    return found;
}

[[nodiscard]] std::shared_ptr<MailboxObject> objectWithId(const Mailbox& mailbox, const std::string& text,
                                                          const std::string& path)
{
    const std::optional<Bytes> id = fromHex(text.substr(1));
    if (!id)
        failAt(path, "behind '#' must be hexadecimal digits in pairs");
    std::shared_ptr<MailboxObject> object = mailbox.find(*id);
    if (!object)
        failAt(path, "nothing has the entry identifier " + text);
    return object;
}

[[nodiscard]] std::shared_ptr<MailboxObject> userWithKey(const Mailbox& mailbox, const std::string& text,
                                                         const std::string& path)
{
    const auto user = mailbox.addressBook().find(text.substr(1));
    if (user == mailbox.addressBook().end())
        failAt(path, "the address book has no '" + text.substr(1) + "'");
    return user->second;
}

[[nodiscard]] Objects objectsNamed(const Mailbox& mailbox, const std::string& text, Wanted wanted,
                                   const std::string& path)
{
    switch (text.front())
    {
    case '#':
        return {objectWithId(mailbox, text, path)};
    case '@':
        return {userWithKey(mailbox, text, path)};
    default:
        return objectsAt(mailbox, text, wanted, path);
    }
}

[[nodiscard]] std::string identifiersOf(const Objects& objects)
{
    std::string text;
    for (std::size_t index = 0; index < std::min(objects.size(), mostListed); ++index)
        text += (index == 0 ? "#" : ", #") + toHex(objects[index]->entryId());
    return objects.size() > mostListed ? text + ", ..." : text;
}

[[nodiscard]] std::shared_ptr<MailboxObject> findObject(const Mailbox& mailbox, const Json& objectPath,
                                                        const std::string& path, Wanted wanted)
{
    const auto& text = objectPath.get_ref<const std::string&>();
    const Objects found = objectsNamed(mailbox, text, wanted, path);
    Objects fit;
    std::ranges::copy_if(found, std::back_inserter(fit), [wanted](const std::shared_ptr<MailboxObject>& object)
                         { return wanted == anything || object->type() == wanted; });
    if (fit.empty())
        failAt(path, "'" + text + "' is " + wordFor(found.front()->type()) + ", and not " + wordFor(wanted));
    if (fit.size() > 1)
        failAt(path, "'" + text + "' fits " + std::to_string(fit.size()) + " objects: " + identifiersOf(fit));
    return fit.front();
}
} // namespace

std::shared_ptr<Store> storeAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path)
{
    return std::static_pointer_cast<Store>(findObject(mailbox, objectPath, path, MAPI_STORE));
}

std::shared_ptr<Folder> folderAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path)
{
    return std::static_pointer_cast<Folder>(findObject(mailbox, objectPath, path, MAPI_FOLDER));
}

std::shared_ptr<Message> messageAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path)
{
    return std::static_pointer_cast<Message>(findObject(mailbox, objectPath, path, MAPI_MESSAGE));
}

std::shared_ptr<MailboxObject> objectAt(const Mailbox& mailbox, const Json& objectPath, const std::string& path)
{
    return findObject(mailbox, objectPath, path, anything);
}

std::optional<std::wstring> nameInPath(const MailboxObject& object)
{
    switch (object.type())
    {
    case MAPI_STORE:
        return static_cast<const Store&>(object).name();
    case MAPI_FOLDER:
        return static_cast<const Folder&>(object).name();
    case MAPI_MESSAGE:
    {
        const std::optional<Property> name = object.property(PROP_ID(PR_DISPLAY_NAME_W));
        const auto* text = name ? std::get_if<std::wstring>(&name->value) : nullptr;
        return text != nullptr ? std::optional(*text) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}
} // namespace sandbox

#include "sandbox/mailbox/reading/ObjectPaths.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>
#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Text.h"

namespace sandbox
{
namespace
{
using Objects = std::vector<std::shared_ptr<MailboxObject>>;

constexpr std::size_t mostListed = 10;    // identifiers of objects between which a path doesn't decide
constexpr std::size_t mostCompared = 100; // characters of a name, in the search for the nearest one

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

/// A name as it is written in a path, at its start or further on.
[[nodiscard]] std::string inPath(const std::wstring& name, bool isFirst)
{
    std::string text;
    for (const char each : toUtf8(name))
    {
        if (each == '/' || each == '\\' || (isFirst && text.empty() && (each == '#' || each == '@')))
            text += '\\';
        text += each;
    }
    return text;
}

/// How many characters the names have in common, in the same order.
[[nodiscard]] std::size_t commonLength(std::wstring_view one, std::wstring_view other)
{
    std::vector<std::size_t> lengths(other.size() + 1);
    for (const wchar_t each : one)
    {
        std::size_t diagonal = 0;
        for (std::size_t at = 1; at < lengths.size(); ++at)
        {
            const std::size_t above = lengths[at];
            lengths[at] = each == other[at - 1] ? diagonal + 1 : std::max(above, lengths[at - 1]);
            diagonal = above;
        }
    }
    return lengths.back();
}

/// Words that go on with a refusal: the place whose name comes nearest to the one of this level that there isn't, if half
/// of what was written is in it.
[[nodiscard]] std::string nearest(const Objects& places, const std::vector<std::wstring>& names, std::size_t level)
{
    const std::wstring_view written = std::wstring_view(names[level]).substr(0, mostCompared);
    std::optional<std::wstring> best;
    std::ptrdiff_t bestScore = 0;
    for (const std::shared_ptr<MailboxObject>& place : places)
    {
        const std::optional<std::wstring> name = nameInPath(*place);
        const std::size_t common = name ? commonLength(written, std::wstring_view(*name).substr(0, mostCompared)) : 0;
        if (common == 0 || 2 * common < written.size())
            continue;
        // What is left out of a name counts less than what is wrong in it.
        const auto score = static_cast<std::ptrdiff_t>(3 * common) - static_cast<std::ptrdiff_t>(name->size());
        if (!best || score > bestScore)
        {
            best = name;
            bestScore = score;
        }
    }
    if (!best)
        return {};
    std::string path;
    for (std::size_t above = 0; above < level; ++above)
        path += inPath(names[above], above == 0) + '/';
    return "; the nearest is '" + path + inPath(*best, level == 0) + "'";
}

[[nodiscard]] bool isNamed(const MailboxObject& object, const std::wstring& name)
{
    return nameInPath(object) == name;
}

/// What lies in the folders.
[[nodiscard]] Objects below(const Objects& folders)
{
    Objects found;
    for (const std::shared_ptr<MailboxObject>& object : folders)
    {
        if (object->type() != MAPI_FOLDER)
            continue;
        const auto& folder = static_cast<const Folder&>(*object);
        std::ranges::copy(folder.folders(), std::back_inserter(found));
        std::ranges::copy(folder.messages(), std::back_inserter(found));
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
    {
        const Objects stores(mailbox.stores().begin(), mailbox.stores().end());
        failAt(path, "there is no store '" + toUtf8(names.front()) + "'" + nearest(stores, names, 0));
    }
    for (std::size_t level = 1; level < names.size(); ++level)
    {
        const Objects places = below(found);
        found.clear();
        std::ranges::copy_if(places, std::back_inserter(found), [&](const std::shared_ptr<MailboxObject>& place)
                             { return isNamed(*place, names[level]); });
        if (found.empty())
            failAt(path, "there is no '" + toUtf8(names[level]) + "' where '" + text + "' has it" +
                             nearest(places, names, level));
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

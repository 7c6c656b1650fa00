#include "tests/endtoend/ExpectedCalls.h"

#include <algorithm>

namespace endtoend
{
namespace
{
const std::string ipmSubtreeId = folderId(1, ipmSubtree);

// What is asked for, by its tag.
constexpr std::string_view entryIdTag = "0xFFF0102";
constexpr std::string_view storeIdTag = "0xFFB0102";
constexpr std::string_view parentIdTag = "0xE090102";
constexpr std::string_view ipmSubtreeTag = "0x35E00102";
constexpr std::string_view nameTag = "0x3001001F";
constexpr std::string_view classTag = "0x3613001F";
constexpr std::string_view typeTag = "0xFFE0003";

/// Display name, first, middle and last name, company, e-mail address, telephones (business, mobile, home), fax, identifier
/// and parent.
constexpr std::string_view contactTags = R"(["0x3001001F","0x3A06001F","0x3A44001F","0x3A11001F","0x3A16001F",)"
                                         R"("0x39FE001F","0x3A08001F","0x3A1C001F","0x3A09001F","0x3A24001F",)"
                                         R"("0xFFF0102","0xE090102"])";
/// The type, the address and the original identifier of the first e-mail slot, by name and as the store numbers them.
constexpr std::string_view addressNames = R"([{"lID":"0x8082","lpguid":"{00062004-0000-0000-C000-000000000046}"},)"
                                          R"({"lID":"0x8083","lpguid":"{00062004-0000-0000-C000-000000000046}"},)"
                                          R"({"lID":"0x8085","lpguid":"{00062004-0000-0000-C000-000000000046}"}])";
constexpr std::string_view addressTags = R"(["0x8040001F","0x8041001F","0x80420102"])";

constexpr std::string_view folderColumns = R"(["0xFFF0102","0x3001001F","0xFFE0003"])";
constexpr std::string_view messageColumns = R"(["0xFFF0102"])";
/// Without the hidden attribute, or with a false one.
constexpr std::string_view visible =
    R"({"lpRes":[{"lpRes":{"rt":"RES_EXIST","ulPropTag":"0x10F4000B"},"rt":"RES_NOT"},)"
    R"({"lpProp":{"Value":false,"ulPropTag":"0x10F4000B"},"relop":"RELOP_EQ","rt":"RES_PROPERTY",)"
    R"("ulPropTag":"0x10F4000B"}],"rt":"RES_OR"})";

std::string read(std::string_view tag)
{
    return "HrGetOneProp(ulPropTag=" + std::string(tag) + ") -> 0x0";
}

std::string listed(const std::string& id)
{
    return "IMAPIProp::GetPropList on " + id + "(ulFlags=0x80000000) -> 0x0";
}

/// A call of a folder or of one of its tables.
std::string ofFolder(std::string_view call, const std::string& folder, std::string_view arguments)
{
    return std::string(call) + " on " + folder + "(" + std::string(arguments) + ") -> 0x0";
}

Calls named(const std::string& id)
{
    return {listed(id), read(nameTag)};
}

Calls openedIpmSubtree()
{
    return joinedCalls({{read(ipmSubtreeTag)}, openedFolder(ipmSubtreeId)});
}

/// The rows of a table of the folder, if it has any.
Calls enumerated(const std::string& folder, std::string_view columns, std::size_t rows)
{
    Calls calls = {
        ofFolder("IMAPITable::SetColumns", folder, "lpPropTagArray=" + std::string(columns) + ", ulFlags=0x0"),
        ofFolder("IMAPITable::GetRowCount", folder, "ulFlags=0x0")};
    if (rows != 0)
        calls.push_back(
            ofFolder("IMAPITable::QueryRows", folder, "lRowCount=0x" + std::to_string(rows) + ", ulFlags=0x1"));
    return calls;
}

void walk(const Tree& tree, std::vector<std::string>& present, Calls& calls)
{
    const auto add = [&calls](const Calls& more)
    {
        calls.insert(calls.end(), more.begin(), more.end());
    };
    add({read(entryIdTag)});
    add(searched(present, tree.id));
    present.insert(std::ranges::lower_bound(present, tree.id), tree.id);

    add({ofFolder("IMAPIContainer::GetHierarchyTable", tree.id, "ulFlags=0x80000000"),
         ofFolder("IMAPITable::Restrict", tree.id, "lpRestriction=" + std::string(visible) + ", ulFlags=0x2")});
    add(enumerated(tree.id, folderColumns, tree.below.size()));
    for (const Tree& subfolder : tree.below)
        add({ofFolder("IMAPIContainer::OpenEntry", tree.id,
                      "lpEntryID=" + subfolder.id + ", lpInterface=IID_IMAPIFolder, ulFlags=0x10")});
    for (const Tree& subfolder : tree.below)
        walk(subfolder, present, calls);
}

std::string compared(const std::string& first, const std::string& second)
{
    return "IMAPISession::CompareEntryIDs(lpEntryID1=" + first + ", lpEntryID2=" + second + ", ulFlags=0x0) -> 0x0";
}

std::string openedAs(const std::string& id, std::string_view interfaceId, std::string_view result)
{
    return "IMsgStore::OpenEntry on " + storeId(1) + "(lpEntryID=" + id + ", lpInterface=" + std::string(interfaceId) +
           ", ulFlags=0x0) -> " + std::string(result);
}
} // namespace

Calls joinedCalls(std::initializer_list<Calls> parts)
{
    Calls all;
    for (const Calls& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Calls searched(const std::vector<std::string>& known, const std::string& folder)
{
    // By the bytes, half of what is left each time, for the first one that is not smaller; it is asked for once more.
    Calls calls;
    std::size_t first = 0;
    for (std::size_t left = known.size(); left != 0;)
    {
        const std::size_t half = left / 2;
        const std::string& middle = known[first + half];
        calls.push_back(compared(middle, folder));
        if (middle < folder)
        {
            first += half + 1;
            left -= half + 1;
        }
        else
            left = half;
    }
    if (first != known.size())
        calls.push_back(compared(folder, known[first]));
    return calls;
}

Calls opened(const std::string& id, std::string_view result)
{
    return {openedAs(id, "IID_IMAPIProp", result)};
}

Calls openedFolder(const std::string& id, std::string_view result)
{
    return {openedAs(id, "IID_IMAPIFolder", result)};
}

Calls openedForLog(const std::string& id)
{
    return joinedCalls({opened(id), named(id)});
}

Calls loaded(const std::string& id)
{
    return {"IMAPIProp::GetProps on " + id + "(lpPropTagArray=" + std::string(contactTags) +
                ", ulFlags=0x80000000) -> 0x40380",
            "IMAPIProp::GetIDsFromNames on " + id + "(cPropNames=0x3, lppPropNames=" + std::string(addressNames) +
                ", ulFlags=0x2) -> 0x0",
            "IMAPIProp::GetProps on " + id + "(lpPropTagArray=" + std::string(addressTags) +
                ", ulFlags=0x80000000) -> 0x40380"};
}

Calls judged(const std::string& folder)
{
    return {listed(folder), listed(folder), read(classTag)};
}

Calls collected(const std::string& folder, const std::vector<std::string>& messages)
{
    Calls calls = joinedCalls({judged(folder),
                               judged(folder),
                               {ofFolder("IMAPIContainer::GetContentsTable", folder, "ulFlags=0x80000000")},
                               enumerated(folder, messageColumns, messages.size())});
    for (const std::string& message : messages)
    {
        const Calls one = joinedCalls({{ofFolder("IMAPIContainer::OpenEntry", folder,
                                                 "lpEntryID=" + message + ", lpInterface=IID_IMAPIProp, ulFlags=0x0")},
                                       loaded(message)});
        calls.insert(calls.end(), one.begin(), one.end());
    }
    return calls;
}

Calls registeredAmong(const std::vector<std::string>& known, const std::string& folder)
{
    return joinedCalls({judged(folder), {read(entryIdTag)}, named(folder), searched(known, folder)});
}

Calls askedForSubtree(const std::string& folder, const std::vector<std::string>& above)
{
    const std::string store = storeId(1);
    Calls calls =
        joinedCalls({openedFolder(folder),
                     openedIpmSubtree(),
                     named(ipmSubtreeId),
                     named(folder),
                     {read(entryIdTag), read(storeIdTag), read(storeIdTag), compared(store, store),
                      compared(store, store), read(entryIdTag), read(entryIdTag), compared(ipmSubtreeId, folder)}});
    std::string current = folder;
    for (const std::string& parent : above)
    {
        const Calls level = joinedCalls({{read(parentIdTag)},
                                         openedFolder(parent),
                                         {read(entryIdTag), read(entryIdTag), compared(parent, current)}});
        calls.insert(calls.end(), level.begin(), level.end());
        if (parent == current)
            break; // the top of the store
        calls.push_back(listed(parent));
        calls.push_back(read(typeTag));
        calls.push_back(compared(parent, ipmSubtreeId));
        current = parent;
    }
    return calls;
}

Calls reconciled(const Tree& top, const std::vector<std::string>& known)
{
    Calls calls = openedIpmSubtree();
    std::vector<std::string> present;
    walk(top, present, calls);
    for (const std::string& folder : known)
    {
        const Calls search = searched(present, folder);
        calls.insert(calls.end(), search.begin(), search.end());
    }
    return calls;
}
} // namespace endtoend

#include "tests/endtoend/soak/RandomMailbox.h"

#include <string>
#include <vector>

namespace endtoend::soak
{
namespace
{
const std::vector<std::string>& words()
{
    static const std::vector<std::string> s_words = {"Ada",   "Björn", "Čapek",  "Дарья",
                                                     "Ελένη", "春子",  "𝄞 Clef", "O'Shea",
                                                     "a\tb",  " ",     "",       "\"quoted\", with comma"};
    return s_words;
}

const std::vector<const char*>& textNames()
{
    static const std::vector<const char*> s_names = {"displayName", "givenName",  "middleName",    "surname",
                                                     "company",     "email",      "businessPhone", "homePhone",
                                                     "mobilePhone", "businessFax"};
    return s_names;
}

std::string randomText(Choices& choices)
{
    std::string text = choices.oneOf(words());
    if (choices.chance(50))
        text += " " + std::to_string(choices.below(1000));
    return text;
}

std::string randomTextOf(Choices& choices, const char* name)
{
    if (std::string_view(name) == "email")
        return "a" + std::to_string(choices.below(1000)) + "@example.com";
    return randomText(choices);
}

Json randomMessageClass(Choices& choices)
{
    static const std::vector<Json> s_classes = {"IPM.Contact",        "IPM.Contact", "IPM.DistList", "IPM.Note",
                                                "IPM.Contact.Custom", "ipm.contact", nullptr};
    return choices.oneOf(s_classes);
}

Json randomContacts(Choices& choices, std::size_t most)
{
    Json drawn = Json::array();
    for (std::size_t count = choices.below(most + 1); count > 0; --count)
        drawn.push_back(randomContact(choices));
    return drawn;
}

Json randomFolders(Choices& choices, std::size_t most, unsigned levelsBelow)
{
    Json folders = Json::array();
    for (std::size_t count = choices.below(most + 1); count > 0; --count)
        folders.push_back(randomFolder(choices, levelsBelow));
    return folders;
}

Json randomStore(Choices& choices, std::size_t number)
{
    Json store = {{"name", "Store " + std::to_string(number)},
                  {"folders", randomFolders(choices, 4, 2)},
                  {"rootFolders", randomFolders(choices, 2, 1)},
                  {"default", choices.chance(40)},
                  {"public", number > 1 && choices.chance(30)}};
    Json top = Json::object();
    if (const Json folderClass = choices.chance(60) ? Json("IPF.Note") : randomFolderClass(choices);
        !folderClass.is_null())
        top["class"] = folderClass;
    if (choices.chance(20))
        top["messages"] = randomContacts(choices, 2);
    store["ipmSubtree"] = top;
    return store;
}
} // namespace

Json randomMailbox(Choices& choices)
{
    Json stores = Json::array();
    const std::size_t count = choices.between(1, 3);
    for (std::size_t number = 1; number <= count; ++number)
        stores.push_back(randomStore(choices, number));
    return {{"stores", stores}};
}

Json randomFolder(Choices& choices, unsigned levelsBelow)
{
    Json folder = {{"name", "Folder " + std::to_string(choices.below(1000))}};
    if (const Json folderClass = randomFolderClass(choices); !folderClass.is_null())
        folder["class"] = folderClass;
    if (choices.chance(20))
        folder["hidden"] = choices.chance(60);
    folder["messages"] = randomContacts(choices, 3);
    if (levelsBelow > 0)
        folder["folders"] = randomFolders(choices, 2, levelsBelow - 1);
    return folder;
}

Json randomFolderClass(Choices& choices)
{
    static const std::vector<Json> s_classes = {
        "IPF.Contact", "IPF.Contact", "IPF.Contact",        "IPF.Contact", nullptr,
        nullptr,       "IPF.Note",    "IPF.Contact.Custom", "IPF.contact", ""};
    return choices.oneOf(s_classes);
}

Json randomContact(Choices& choices)
{
    Json contact = Json::object();
    for (const char* name : textNames())
    {
        if (choices.chance(50))
            contact[name] = randomTextOf(choices, name);
    }
    if (choices.chance(30))
        contact["class"] = randomMessageClass(choices);
    return contact;
}

Json randomContactChange(Choices& choices)
{
    Json set = Json::object();
    for (std::size_t count = choices.between(1, 3); count > 0; --count)
    {
        const char* const name = choices.oneOf(textNames());
        set[name] = choices.chance(25) ? Json() : Json(randomTextOf(choices, name));
    }
    if (choices.chance(20))
        set["class"] = randomMessageClass(choices);
    return set;
}
} // namespace endtoend::soak

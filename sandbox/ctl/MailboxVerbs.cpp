#include <memory>

#include "sandbox/ctl/Description.h"
#include "sandbox/ctl/Verbs.h"

namespace sandboxctl
{
namespace
{
/// What a verb keeps for the parser, which has references to it.
struct Target
{
    explicit Target(CLI::App& verb) : description(verb) {}

    Description description;
    std::string path;
    std::string name;
};

void addListVerb(CLI::App& program, Json& request)
{
    CLI::App& verb = *program.add_subcommand("list", "what is there: stores, folders, messages");
    const auto path = std::make_shared<std::string>();
    CLI::Option* const option = verb.add_option("PATH", *path, "only this, with all that is in it")->type_name("");
    verb.callback(
        [path, option, &request]
        {
            request = {{"do", "list"}};
            if (option->count() != 0)
                request["path"] = *path;
        });
}

void addContactOptions(Description& description)
{
    description.addText("--name", "displayName", "display name");
    description.addText("--given", "givenName", "given name");
    description.addText("--middle", "middleName", "middle name");
    description.addText("--surname", "surname", "surname");
    description.addText("--company", "company", "company");
    description.addText("--email", "email", "e-mail address (SMTP)");
    description.addText("--business", "businessPhone", "business telephone number");
    description.addText("--home", "homePhone", "home telephone number");
    description.addText("--mobile", "mobilePhone", "mobile telephone number");
    description.addText("--fax", "businessFax", "business fax number");
    description.addText("--class", "class", "message class; a new one is an IPM.Contact without it");
}

void addAddVerb(CLI::App& program, Json& request)
{
    CLI::App& add = *program.add_subcommand("add", "a new contact, or a new folder");
    requireVerb(add);

    CLI::App& contact = *add.add_subcommand("contact", "a new contact; prints its entry identifier");
    const auto newContact = std::make_shared<Target>(contact);
    addWord(contact, "FOLDER", newContact->path, "the folder that gets it");
    addContactOptions(newContact->description);
    contact.callback(
        [newContact, &request]
        {
            request = {
                {"do", "addContact"}, {"folder", newContact->path}, {"contact", newContact->description.object()}};
        });

    CLI::App& folder = *add.add_subcommand("folder", "a new folder; prints its entry identifier");
    const auto newFolder = std::make_shared<Target>(folder);
    addWord(folder, "PARENT", newFolder->path, "the folder that gets it, or a store for its IPM subtree");
    addWord(folder, "NAME", newFolder->name, "its display name");
    newFolder->description.addText("--class", "class", "container class, for example IPF.Contact");
    newFolder->description.addFlag("--hidden", "hidden", true, "a hidden folder");
    folder.callback(
        [newFolder, &request]
        {
            Json object = newFolder->description.object();
            const auto [name, isNew] = object.emplace("name", newFolder->name);
            if (!isNew && *name != newFolder->name)
                throw CLI::ValidationError("NAME", "contradicts what --json-text says about 'name'");
            request = {{"do", "addFolder"}, {"parent", newFolder->path}, {"folder", object}};
        });
}

/// `edit KIND PATH ...`; gives what is described by it, for more options.
Description& addEdit(CLI::App& edit, const std::string& kind, const std::string& action, Json& request)
{
    CLI::App& verb = *edit.add_subcommand(kind, "other values for a " + kind);
    const auto target = std::make_shared<Target>(verb);
    addWord(verb, "PATH", target->path, "the " + kind + " that changes");
    verb.callback([target, kind, action, &request]
                  { request = {{"do", action}, {kind, target->path}, {"set", target->description.change()}}; });
    return target->description;
}

void addEditVerb(CLI::App& program, Json& request)
{
    CLI::App& edit = *program.add_subcommand("edit", "other values for a contact, a folder or a store");
    requireVerb(edit);

    Description& contact = addEdit(edit, "contact", "editContact", request);
    addContactOptions(contact);
    contact.addClear();

    Description& folder = addEdit(edit, "folder", "editFolder", request);
    folder.addText("--rename", "name", "another display name");
    folder.addText("--class", "class", "another container class");
    folder.addFlag("--hide", "hidden", true, "make it a hidden folder");
    folder.addFlag("--show", "hidden", false, "make it one that is not hidden");

    Description& store = addEdit(edit, "store", "editStore", request);
    store.addText("--rename", "name", "another display name");
    store.addFlag("--public", "public", true, "make it a public folders store");
    store.addFlag("--private", "public", false, "make it one that is none");
}

void addTransferVerb(CLI::App& program, const std::string& action, const std::string& help, bool mayKeepId,
                     Json& request)
{
    struct Transfer
    {
        std::string object;
        std::string to;
        bool keepId = false;
    };
    CLI::App& verb = *program.add_subcommand(action, help + "; prints its entry identifier there");
    const auto transfer = std::make_shared<Transfer>();
    addWord(verb, "PATH", transfer->object, "the message or folder");
    addWord(verb, "FOLDER", transfer->to, "the folder that gets it");
    if (mayKeepId)
        verb.add_flag("--keep-id", transfer->keepId, "a message keeps its entry identifier");
    verb.callback(
        [transfer, action, &request]
        {
            request = {{"do", action}, {"object", transfer->object}, {"to", transfer->to}};
            if (transfer->keepId)
                request["keepId"] = true;
        });
}
} // namespace

void addMailboxVerbs(CLI::App& program, Json& request)
{
    addListVerb(program, request);
    addAddVerb(program, request);
    addEditVerb(program, request);
    addTransferVerb(program, "move", "a message or a folder goes into another folder", true, request);
    addTransferVerb(program, "copy", "another folder gets a copy of a message or a folder", false, request);

    CLI::App& verb = *program.add_subcommand("delete", "a message or a folder goes, with all that is in it");
    const auto path = std::make_shared<std::string>();
    addWord(verb, "PATH", *path, "the message or folder");
    verb.callback([path, &request] { request = {{"do", "delete"}, {"object", *path}}; });
}
} // namespace sandboxctl

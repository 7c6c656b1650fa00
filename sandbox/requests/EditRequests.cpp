#include "sandbox/requests/EditRequests.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "sandbox/mailbox/reading/ObjectPaths.h"
#include "sandbox/mailbox/reading/SchemaCheck.h"
#include "sandbox/requests/Listing.h"
#include "sandbox/requests/RawEvent.h"
#include "sandbox/requests/ServedMailbox.h"

namespace sandbox
{
namespace
{
[[nodiscard]] Json identified(const MailboxObject& object)
{
    return Json{{"entryId", toHex(object.entryId())}};
}

[[nodiscard]] Json addContact(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> folder = folderAt(mailbox, request.at("folder"), request.pathOf("folder"));
    const Json& contact = request.at("contact");
    return identified(*edits.addContact(folder, contact, request.pathOf("contact")));
}

[[nodiscard]] Json addFolder(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> parent = folderAt(mailbox, request.at("parent"), request.pathOf("parent"));
    const Json& folder = request.at("folder");
    return identified(*edits.addFolder(parent, folder, request.pathOf("folder")));
}

[[nodiscard]] Json editContact(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Message> message = messageAt(mailbox, request.at("contact"), request.pathOf("contact"));
    const Json& set = request.at("set");
    edits.editContact(message, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json editFolder(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> folder = folderAt(mailbox, request.at("folder"), request.pathOf("folder"));
    const Json& set = request.at("set");
    edits.editFolder(folder, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json editStore(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Store> store = storeAt(mailbox, request.at("store"), request.pathOf("store"));
    const Json& set = request.at("set");
    edits.editStore(store, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json move(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.at("object"), path);
    const std::shared_ptr<Folder> target = folderAt(mailbox, request.at("to"), request.pathOf("to"));
    return withPath(path, [&] { return identified(*edits.move(object, target, request.value("keepId", false))); });
}

[[nodiscard]] Json copy(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.at("object"), path);
    const std::shared_ptr<Folder> target = folderAt(mailbox, request.at("to"), request.pathOf("to"));
    return withPath(path, [&] { return identified(*edits.copy(object, target)); });
}

[[nodiscard]] Json remove(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.at("object"), path);
    withPath(path, [&] { edits.remove(object); });
    return Json::object();
}

[[nodiscard]] Json inject(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Store> store = storeAt(mailbox, request.at("store"), request.pathOf("store"));
    const std::string path = request.pathOf("notifications");
    const Json& notifications = request.at("notifications");
    std::size_t index = 0;
    for (const Json& notification : notifications)
        edits.inject(*store, readRawEvent(mailbox, notification, elementPath(path, index++)));
    return Json::object();
}

struct EditRequest
{
    std::string_view name;
    Json (*make)(const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits);
};

constexpr EditRequest editRequests[] = {
    {"addContact", addContact},
    {"addFolder", addFolder},
    {"editContact", editContact},
    {"editFolder", editFolder},
    {"editStore", editStore},
    {"move", move},
    {"copy", copy},
    {"delete", remove},
    {"inject", inject},
};
} // namespace

bool isEdit(std::string_view name)
{
    return std::ranges::find(editRequests, name, &EditRequest::name) != std::end(editRequests);
}

Json makeEdit(std::string_view name, const JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    return std::ranges::find(editRequests, name, &EditRequest::name)->make(request, mailbox, edits);
}

namespace
{
[[nodiscard]] Json answerOne(const Json& json, const std::string& path, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string& name = checkRequest(json, path);
    const JsonObject request(json, path);
    Json answer;
    if (isEdit(name))
        answer = makeEdit(name, request, mailbox, edits);
    else if (name == "list")
        answer = listItems(request, mailbox);
    else
        failAt(request.pathOf("do"), "a batch has no request '" + name + "'; it has edits, injections and lists");
    answer["ok"] = true;
    return answer;
}
} // namespace

Json answerBatch(const JsonObject& request, HANDLE)
{
    const std::string path = request.pathOf("requests");
    const Json& requests = request.at("requests");
    Json answers = Json::array();
    return editServedMailbox(
        [&](Mailbox& mailbox, MailboxEdits& edits)
        {
            for (const Json& one : requests)
                answers.push_back(answerOne(one, elementPath(path, answers.size()), mailbox, edits));
            return Json{{"answers", std::move(answers)}};
        });
}
} // namespace sandbox

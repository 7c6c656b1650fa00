#include "sandbox/requests/EditRequests.h"

#include <algorithm>
#include <iterator>
#include <utility>
#include <vector>

#include "sandbox/mailbox/reading/Places.h"
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

[[nodiscard]] Json addContact(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> folder = folderAt(mailbox, request.require("folder"), request.pathOf("folder"));
    const Json& contact = request.require("contact");
    request.finish();
    return identified(*edits.addContact(folder, contact, request.pathOf("contact")));
}

[[nodiscard]] Json addFolder(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> parent = folderAt(mailbox, request.require("parent"), request.pathOf("parent"));
    const Json& folder = request.require("folder");
    request.finish();
    return identified(*edits.addFolder(parent, folder, request.pathOf("folder")));
}

[[nodiscard]] Json editContact(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Message> message = messageAt(mailbox, request.require("contact"), request.pathOf("contact"));
    const Json& set = request.require("set");
    request.finish();
    edits.editContact(message, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json editFolder(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Folder> folder = folderAt(mailbox, request.require("folder"), request.pathOf("folder"));
    const Json& set = request.require("set");
    request.finish();
    edits.editFolder(folder, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json editStore(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Store> store = storeAt(mailbox, request.require("store"), request.pathOf("store"));
    const Json& set = request.require("set");
    request.finish();
    edits.editStore(store, set, request.pathOf("set"));
    return Json::object();
}

[[nodiscard]] Json move(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.require("object"), path);
    const std::shared_ptr<Folder> target = folderAt(mailbox, request.require("to"), request.pathOf("to"));
    const Json* keepId = request.find("keepId");
    request.finish();
    const bool keeps = keepId != nullptr && readBoolean(*keepId, request.pathOf("keepId"));
    return withPlace(path, [&] { return identified(*edits.move(object, target, keeps)); });
}

[[nodiscard]] Json copy(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.require("object"), path);
    const std::shared_ptr<Folder> target = folderAt(mailbox, request.require("to"), request.pathOf("to"));
    request.finish();
    return withPlace(path, [&] { return identified(*edits.copy(object, target)); });
}

[[nodiscard]] Json remove(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::string path = request.pathOf("object");
    const std::shared_ptr<MailboxObject> object = objectAt(mailbox, request.require("object"), path);
    request.finish();
    withPlace(path, [&] { edits.remove(object); });
    return Json::object();
}

[[nodiscard]] Json inject(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    const std::shared_ptr<Store> store = storeAt(mailbox, request.require("store"), request.pathOf("store"));
    const std::string path = request.pathOf("notifications");
    const Json& notifications = requireList(request.require("notifications"), path);
    request.finish();
    if (notifications.empty())
        failAt(path, "must have at least one notification");
    std::size_t index = 0;
    for (const Json& notification : notifications)
        edits.inject(*store, readRawEvent(mailbox, notification, elementPath(path, index++)));
    return Json::object();
}

struct EditRequest
{
    std::string_view name;
    Json (*make)(JsonObject& request, Mailbox& mailbox, MailboxEdits& edits);
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

Json makeEdit(std::string_view name, JsonObject& request, Mailbox& mailbox, MailboxEdits& edits)
{
    return std::ranges::find(editRequests, name, &EditRequest::name)->make(request, mailbox, edits);
}

namespace
{
[[nodiscard]] Json answerOne(const Json& json, const std::string& path, Mailbox& mailbox, MailboxEdits& edits)
{
    JsonObject request(json, path);
    const std::string& name = requireText(request.require("do"), request.pathOf("do"));
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

Json answerBatch(JsonObject& request, HANDLE)
{
    const std::string path = request.pathOf("requests");
    const Json& requests = requireList(request.require("requests"), path);
    request.finish();
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

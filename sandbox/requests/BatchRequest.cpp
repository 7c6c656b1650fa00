#include "sandbox/requests/BatchRequest.h"

#include <utility>

#include "sandbox/requests/EditRequests.h"
#include "sandbox/requests/Listing.h"
#include "sandbox/requests/ServedMailbox.h"

namespace sandbox
{
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

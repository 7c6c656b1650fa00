#include "sandbox/requests/Requests.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "sandbox/mailbox/reading/JsonText.h"
#include "sandbox/mailbox/reading/SchemaCheck.h"
#include "sandbox/requests/EditRequests.h"
#include "sandbox/requests/Listing.h"
#include "sandbox/requests/RunRequests.h"
#include "sandbox/requests/ServedMailbox.h"

namespace sandbox
{
namespace
{
[[nodiscard]] Json list(const JsonObject& request, HANDLE)
{
    const std::shared_ptr<Mailbox> mailbox = servedMailbox();
    const std::lock_guard lock(mailbox->mutex());
    return listItems(request, *mailbox);
}

struct Request
{
    std::string_view name;
    Json (*answer)(const JsonObject& request, HANDLE stop);
};

// Beside the edits.
constexpr Request requests[] = {
    {"list", list},
    {"batch", answerBatch},
    {"plan", answerPlan},
    {"clearPlans", answerClearPlans},
    {"release", answerRelease},
    {"wait", answerWait},
    {"journal", answerJournal},
    {"subscriptions", answerSubscriptions},
};

[[nodiscard]] Json answer(const std::string& line, HANDLE stop)
{
    const Json json = parseJson(line);
    const std::string& name = checkRequest(json, "");
    const JsonObject request(json, "");
    if (isEdit(name))
        return editServedMailbox([&](Mailbox& mailbox, MailboxEdits& edits)
                                 { return makeEdit(name, request, mailbox, edits); });
    const auto* known = std::ranges::find(requests, name, &Request::name);
    return known->answer(request, stop);
}

[[nodiscard]] std::string lineOf(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}
} // namespace

std::string answerRequest(std::string_view line, HANDLE stop)
{
    try
    {
        Json done = answer(std::string(line), stop);
        done["ok"] = true;
        return lineOf(done);
    }
    catch (const std::exception& error)
    {
        return lineOf(Json{{"ok", false}, {"error", error.what()}});
    }
}
} // namespace sandbox

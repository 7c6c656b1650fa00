#include "sandbox/requests/PlanRequests.h"

#include <mutex>
#include <optional>
#include <utility>

#include "sandbox/requests/ServedMailbox.h"
#include "sandbox/mailbox/reading/PlanReader.h"
#include "sandbox/runtime/record/Plans.h"

namespace sandbox
{
Json answerPlan(JsonObject& request, HANDLE)
{
    std::optional<Plan> plan;
    {
        const std::shared_ptr<Mailbox> mailbox = servedMailbox();
        const std::lock_guard lock(mailbox->mutex());
        plan = readPlan(request, *mailbox);
    }
    plans::add(*std::move(plan));
    return Json::object();
}

Json answerClearPlans(JsonObject& request, HANDLE)
{
    request.finish();
    plans::clear();
    return Json::object();
}

Json answerRelease(JsonObject& request, HANDLE)
{
    const std::string& hold = requireText(request.require("hold"), request.pathOf("hold"));
    request.finish();
    if (!plans::release(hold))
        failAt(request.pathOf("hold"), "no plan has the hold '" + hold + "'");
    return Json::object();
}
} // namespace sandbox

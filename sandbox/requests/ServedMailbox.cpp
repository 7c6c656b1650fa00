#include "sandbox/requests/ServedMailbox.h"

#include "sandbox/runtime/Runtime.h"
#include "sandbox/runtime/delivery/Delivery.h"

namespace sandbox
{
std::shared_ptr<Mailbox> servedMailbox()
{
    std::shared_ptr<Mailbox> mailbox = Runtime::instance().mailbox();
    if (!mailbox)
        throw MailboxError("no mailbox is served: " + Runtime::instance().failure());
    return mailbox;
}

Json editServedMailbox(const std::function<Json(Mailbox&, MailboxEdits&)>& work)
{
    const std::shared_ptr<Mailbox> mailbox = servedMailbox();
    Json answer;
    std::vector<StoreBatch> batches;
    {
        const std::lock_guard lock(mailbox->mutex());
        MailboxEdits edits(*mailbox);
        answer = work(*mailbox, edits);
        batches = edits.keep();
    }
    if (!batches.empty())
    {
        LARGE_INTEGER now{};
        QueryPerformanceCounter(&now);
        answer["notified"] = now.QuadPart;
    }
    Delivery::instance().send(batches);
    return answer;
}
} // namespace sandbox

#include "sandbox/requests/ServedMailbox.h"

#include "sandbox/runtime/delivery/Delivery.h"
#include "sandbox/runtime/Runtime.h"

namespace sandbox
{
void requireInitialized()
{
    if (!Runtime::instance().isInitialized())
        throw MailboxError("the runtime is not initialised: no MAPIInitialize yet, or no longer");
}

std::shared_ptr<Mailbox> servedMailbox()
{
    requireInitialized();
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
    Delivery::instance().send(batches);
    return answer;
}
} // namespace sandbox

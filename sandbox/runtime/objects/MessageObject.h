// MessageObject.h: an opened message.
#pragma once

#include "sandbox/mailbox/model/Message.h"
#include "sandbox/mailbox/model/Store.h"
#include "sandbox/runtime/objects/PropObject.h"

namespace sandbox
{
class MessageObject final : public RefusingMessage<PropObject<IMessage>>
{
public:
    MessageObject(std::shared_ptr<SessionState> session, std::shared_ptr<Message> message) noexcept
        : RefusingMessage("IMessage", std::move(session), message, &message->store().names())
    {
    }

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override
    {
        return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMessage) ? static_cast<IMessage*>(this) : nullptr;
    }
};
} // namespace sandbox

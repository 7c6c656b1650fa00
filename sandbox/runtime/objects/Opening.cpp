#include "sandbox/runtime/objects/Opening.h"

#include "sandbox/mailbox/model/AddressEntry.h"
#include "sandbox/mailbox/model/Message.h"
#include "sandbox/runtime/objects/FolderObject.h"
#include "sandbox/runtime/objects/StoreObject.h"
#include "sandbox/runtime/record/Spoiling.h"

namespace sandbox
{
namespace
{
constexpr ULONG openEntryFlags = MAPI_MODIFY | MAPI_BEST_ACCESS | MAPI_DEFERRED_ERRORS | 0x2 /* SHOW_SOFT_DELETES */ |
                                 0x200 /* MAPI_NO_CACHE */ | 0x4000 /* MAPI_CACHE_ONLY */;

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

/// A user of the address book.
class MailUserObject final : public PropObject<IMAPIProp>
{
public:
    MailUserObject(std::shared_ptr<SessionState> session, std::shared_ptr<AddressEntry> entry) noexcept
        : PropObject("IMailUser", std::move(session), std::move(entry), nullptr)
    {
    }

protected:
    [[nodiscard]] void* interfaceFor(REFIID iid) noexcept override
    {
        return isOneOf(iid, IID_IUnknown, IID_IMAPIProp, IID_IMailUser) ? static_cast<IMAPIProp*>(this) : nullptr;
    }
};

[[nodiscard]] Reference<IUnknown> makeObject(const std::shared_ptr<SessionState>& session,
                                             const std::shared_ptr<MailboxObject>& object)
{
    switch (object->type())
    {
    case MAPI_STORE:
        return Reference<IUnknown>(new StoreObject(session, std::static_pointer_cast<Store>(object)));
    case MAPI_FOLDER:
        return Reference<IUnknown>(new FolderObject(session, std::static_pointer_cast<Folder>(object)));
    case MAPI_MESSAGE:
        return Reference<IUnknown>(new MessageObject(session, std::static_pointer_cast<Message>(object)));
    default:
        return Reference<IUnknown>(new MailUserObject(session, std::static_pointer_cast<AddressEntry>(object)));
    }
}

[[nodiscard]] bool belongsTo(const Store& store, const MailboxObject& object) noexcept
{
    switch (object.type())
    {
    case MAPI_FOLDER:
        return &static_cast<const Folder&>(object).store() == &store;
    case MAPI_MESSAGE:
        return &static_cast<const Message&>(object).store() == &store;
    default:
        return false;
    }
}
} // namespace

Bytes entryIdOf(ULONG size, const ENTRYID* entryId)
{
    require(entryId != nullptr && size >= minimumEntryIdSize, MAPI_E_INVALID_ENTRYID);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(entryId);
    return Bytes(bytes, bytes + size);
}

std::shared_ptr<MailboxObject> objectOfStore(const Mailbox& mailbox, const Store& store, const Bytes& entryId)
{
    std::shared_ptr<MailboxObject> object = mailbox.find(entryId);
    require(object != nullptr && belongsTo(store, *object), MAPI_E_NOT_FOUND);
    return object;
}

void openObject(const std::shared_ptr<SessionState>& session, const std::shared_ptr<MailboxObject>& object,
                const IID* iid, ULONG* objectType, IUnknown** opened)
{
    const Reference<IUnknown> made = makeObject(session, object);
    if (iid == nullptr)
    {
        *opened = made.get();
        (*opened)->AddRef();
    }
    else
    {
        void* asked = nullptr;
        require(SUCCEEDED(made->QueryInterface(*iid, &asked)), MAPI_E_INTERFACE_NOT_SUPPORTED);
        *opened = static_cast<IUnknown*>(asked);
    }
    if (objectType != nullptr)
        *objectType = object->type();
}

HRESULT openEntryOfStore(const std::shared_ptr<SessionState>& session, const Store& store, ULONG size,
                         const ENTRYID* entryId, const IID* iid, ULONG flags, ULONG* objectType, IUnknown** opened)
{
    require(opened != nullptr);
    *opened = nullptr;
    requireOpenEntryFlags(flags);
    const std::shared_ptr<MailboxObject> object =
        size == 0 && entryId == nullptr ? store.root()
                                        : objectOfStore(session->mailbox(), store, entryIdOf(size, entryId));
    openObject(session, object, iid, objectType, opened);
    spoilObject(opened);
    return S_OK;
}

void requireOpenEntryFlags(ULONG flags)
{
    requireFlags(flags, openEntryFlags);
}

} // namespace sandbox

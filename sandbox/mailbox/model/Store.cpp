#include "sandbox/mailbox/model/Store.h"

#include <utility>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/Folder.h"
#include "sandbox/mailbox/model/SandboxTags.h"

namespace sandbox
{
namespace
{
// The published values of PR_MDB_PROVIDER for the user's own mailbox and for another one.
const Bytes primaryMailbox = {0x54, 0x94, 0xA1, 0xC0, 0x29, 0x7F, 0x10, 0x1B,
                              0xA5, 0x87, 0x08, 0x00, 0x2B, 0x2A, 0x25, 0x17};
const Bytes otherMailbox = {0x9E, 0xB4, 0x77, 0x00, 0x74, 0xE4, 0x11, 0xCE,
                            0x8C, 0x5E, 0x00, 0xAA, 0x00, 0x42, 0x54, 0xE2};

constexpr std::int32_t resourceTypeStore = 33; // MAPI_STORE_PROVIDER
constexpr std::int32_t ipmSubtreeValid = 1;    // FOLDER_IPM_SUBTREE_VALID
constexpr ULONG PR_VALID_FOLDER_MASK = PROP_TAG(PT_LONG, 0x35DF);
} // namespace

Store::Store(unsigned number, StoreDescription description)
    : MailboxObject(std::move(description.object)),
      m_number(number),
      m_uid(storeUid(number)),
      m_name(std::move(description.name)),
      m_provider(std::move(description.provider)),
      m_isDefault(description.isDefault),
      m_isPublic(description.isPublic),
      m_names(std::move(description.names))
{
}

void Store::setTopFolders(std::shared_ptr<Folder> root, std::shared_ptr<Folder> ipmSubtree) noexcept
{
    m_root = std::move(root);
    m_ipmSubtree = std::move(ipmSubtree);
}

StoreDescription Store::storeDescription() const
{
    return {description(), m_name, m_provider, m_isDefault, m_isPublic, m_names};
}

void Store::redescribe(StoreDescription description)
{
    MailboxObject::redescribe(std::move(description.object));
    m_name = std::move(description.name);
    m_provider = std::move(description.provider);
    m_isDefault = description.isDefault;
    m_isPublic = description.isPublic;
}

void Store::setHandedOut(const HandedOut& handedOut)
{
    m_lastFolder = handedOut.folders;
    m_lastMessage = handedOut.messages;
    m_names->shrinkTo(handedOut.names);
}

void Store::addMessage(std::uint64_t number, const std::shared_ptr<Message>& message)
{
    m_messages[number] = message;
}

std::shared_ptr<Message> Store::message(std::uint64_t number) const
{
    const auto place = m_messages.find(number);
    return place != m_messages.end() ? place->second.lock() : nullptr;
}

std::optional<Property> Store::builtIn(ULONG id) const
{
    const Bytes uid(m_uid.begin(), m_uid.end());
    switch (id)
    {
    case PROP_ID(PR_ENTRYID):
        return Property{PR_ENTRYID, entryId()};
    case PROP_ID(PR_STORE_ENTRYID):
        return Property{PR_STORE_ENTRYID, entryId()};
    case PROP_ID(PR_RECORD_KEY):
        return Property{PR_RECORD_KEY, uid};
    case PROP_ID(PR_STORE_RECORD_KEY):
        return Property{PR_STORE_RECORD_KEY, uid};
    case PROP_ID(PR_MAPPING_SIGNATURE):
        return Property{PR_MAPPING_SIGNATURE, uid};
    case PROP_ID(PR_OBJECT_TYPE):
        return Property{PR_OBJECT_TYPE, static_cast<std::int32_t>(MAPI_STORE)};
    case PROP_ID(PR_DISPLAY_NAME_W):
        return Property{PR_DISPLAY_NAME_W, m_name};
    case PROP_ID(PR_PROVIDER_DISPLAY_W):
        return Property{PR_PROVIDER_DISPLAY_W, m_provider};
    case PROP_ID(PR_DEFAULT_STORE):
        return Property{PR_DEFAULT_STORE, m_isDefault};
    case PROP_ID(PR_RESOURCE_FLAGS):
        return Property{PR_RESOURCE_FLAGS, m_isDefault ? static_cast<std::int32_t>(STATUS_DEFAULT_STORE) : 0};
    case PROP_ID(PR_RESOURCE_TYPE):
        return Property{PR_RESOURCE_TYPE, resourceTypeStore};
    case PROP_ID(PR_STORE_SUPPORT_MASK):
        return Property{PR_STORE_SUPPORT_MASK, static_cast<std::int32_t>(STORE_NOTIFY_OK | STORE_UNICODE_OK)};
    case PROP_ID(PR_MDB_PROVIDER):
        if (m_isPublic)
            return Property{PR_MDB_PROVIDER,
                            Bytes(pbExchangeProviderPublicGuid.begin(), pbExchangeProviderPublicGuid.end())};
        return Property{PR_MDB_PROVIDER, m_isDefault ? primaryMailbox : otherMailbox};
    case PROP_ID(PR_VALID_FOLDER_MASK):
        return Property{PR_VALID_FOLDER_MASK, ipmSubtreeValid};
    case PROP_ID(PR_IPM_SUBTREE_ENTRYID):
        return Property{PR_IPM_SUBTREE_ENTRYID, m_ipmSubtree->entryId()};
    default:
        return std::nullopt;
    }
}

std::vector<ULONG> Store::builtInIds() const
{
    return {PROP_ID(PR_ENTRYID),          PROP_ID(PR_STORE_ENTRYID),      PROP_ID(PR_RECORD_KEY),
            PROP_ID(PR_STORE_RECORD_KEY), PROP_ID(PR_MAPPING_SIGNATURE),  PROP_ID(PR_OBJECT_TYPE),
            PROP_ID(PR_DISPLAY_NAME_W),   PROP_ID(PR_PROVIDER_DISPLAY_W), PROP_ID(PR_DEFAULT_STORE),
            PROP_ID(PR_RESOURCE_FLAGS),   PROP_ID(PR_RESOURCE_TYPE),      PROP_ID(PR_STORE_SUPPORT_MASK),
            PROP_ID(PR_MDB_PROVIDER),     PROP_ID(PR_VALID_FOLDER_MASK),  PROP_ID(PR_IPM_SUBTREE_ENTRYID)};
}
} // namespace sandbox

#include "sandbox/mailbox/model/CommonProperties.h"

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "sandbox/mailbox/model/Store.h"

namespace sandbox
{
namespace
{
constexpr std::int32_t readAccess = 2;      // MAPI_ACCESS_READ
constexpr std::int32_t readOnlyOpening = 0; // PR_ACCESS_LEVEL without MAPI_MODIFY

[[nodiscard]] Bytes uidOf(const Store& store)
{
    return Bytes(store.uid().begin(), store.uid().end());
}
} // namespace

std::optional<Property> commonProperty(ULONG id, const MailboxObject& object, const Store& store)
{
    switch (id)
    {
    case PROP_ID(PR_ENTRYID):
        return Property{PR_ENTRYID, object.entryId()};
    case PROP_ID(PR_RECORD_KEY):
        return Property{PR_RECORD_KEY, object.shortTermId()};
    case PROP_ID(PR_OBJECT_TYPE):
        return Property{PR_OBJECT_TYPE, static_cast<std::int32_t>(object.type())};
    case PROP_ID(PR_STORE_ENTRYID):
        return Property{PR_STORE_ENTRYID, store.entryId()};
    case PROP_ID(PR_STORE_RECORD_KEY):
        return Property{PR_STORE_RECORD_KEY, uidOf(store)};
    case PROP_ID(PR_MAPPING_SIGNATURE):
        return Property{PR_MAPPING_SIGNATURE, uidOf(store)};
    case PROP_ID(PR_ACCESS):
        return Property{PR_ACCESS, readAccess};
    case PROP_ID(PR_ACCESS_LEVEL):
        return Property{PR_ACCESS_LEVEL, readOnlyOpening};
    default:
        return std::nullopt;
    }
}

std::vector<ULONG> commonPropertyIds()
{
    return {PROP_ID(PR_ENTRYID),       PROP_ID(PR_RECORD_KEY),       PROP_ID(PR_OBJECT_TYPE),
            PROP_ID(PR_STORE_ENTRYID), PROP_ID(PR_STORE_RECORD_KEY), PROP_ID(PR_MAPPING_SIGNATURE),
            PROP_ID(PR_ACCESS),        PROP_ID(PR_ACCESS_LEVEL)};
}
} // namespace sandbox

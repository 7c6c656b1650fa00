// StoreEvent.h: what a message store notifies those of who watch it.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "mapiabi/MapiTypes.h"
#include "sandbox/mailbox/model/Bytes.h"

namespace sandbox
{
class Store;

/// An entry identifier as a notification has it. Count and bytes go together, but for a provider that errs.
struct EventId
{
    Bytes bytes;               // none: the pointer is null
    std::optional<ULONG> size; // what the count says, when that isn't the number of bytes
};

/// The fields of one OBJECT_NOTIFICATION and its event type, with bytes of their own.
struct StoreEvent
{
    ULONG type = 0; // fnevObjectCreated, ...
    ULONG objectType = 0;
    EventId entryId;
    EventId parentId;
    EventId oldId;
    EventId oldParentId;
    std::vector<ULONG> propTags; // none: no array
    bool heedsMasks = true;      // false: delivered whatever a subscription's mask says
};

using EventBatch = std::vector<StoreEvent>;

/// A batch and the store of whose objects they are.
struct StoreBatch
{
    std::shared_ptr<Store> store;
    EventBatch events;
};
} // namespace sandbox

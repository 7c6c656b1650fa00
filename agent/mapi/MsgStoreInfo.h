// MsgStoreInfo.h: one row of the message stores table.
#pragma once

#include <span>
#include <string>

#include "agent/mapi/EntryId.h"

namespace mapi
{
/// What the profile says of a message store. A field whose column the store does not supply keeps its default.
struct MsgStoreInfo
{
    EntryId entryId;
    std::wstring displayName;
    std::wstring providerName;
    bool isDefault = false;
    bool isPublic = false; // as the table says; for the watchers the opened store counts: settled behaviour 30
};

/// Whether a value of PR_MDB_PROVIDER names the public folders: the 16 bytes of `pbExchangeProviderPublicGuid`.
[[nodiscard]] bool isPublicProvider(std::span<const BYTE> provider) noexcept;
} // namespace mapi

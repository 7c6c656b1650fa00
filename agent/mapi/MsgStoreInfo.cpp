#include "agent/mapi/MsgStoreInfo.h"

#include "mapiabi/MapiTags.h"

#include <algorithm>

namespace mapi
{
bool isPublicProvider(std::span<const BYTE> provider) noexcept
{
    return std::ranges::equal(provider, pbExchangeProviderPublicGuid);
}
} // namespace mapi

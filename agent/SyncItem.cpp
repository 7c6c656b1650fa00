#include "agent/SyncItem.h"

#include <utility>

#include "agent/OutlookContact.h"
#include "utilities/HexString.h"

namespace
{
[[nodiscard]] std::wstring loadContactText(IMAPIPropPtr message)
{
    OutlookContact contact;
    contact.load(std::move(message));
    return contact.toString();
}
} // namespace

SyncItem::SyncItem(IMAPIPropPtr message) : isFolder(false), text(loadContactText(std::move(message))) {}

SyncItem::SyncItem(const EntryId& entryId, bool isFolderItem)
    : isFolder(isFolderItem), text(isFolderItem ? toHexString(entryId) : OutlookContact(entryId, {}).toString())
{
}

std::wstring joinItemTexts(std::wstring head, std::span<const SyncItem> items)
{
    std::size_t size = head.size();
    for (const SyncItem& item : items)
        size += item.text.size() + 1;

    head.reserve(size);
    for (const SyncItem& item : items)
    {
        if (&item != &items.front())
            head += L'\n';
        head += item.text;
    }
    return head;
}

#include "agent/ContactLoading.h"

#include "mapiabi/MapiTags.h"

#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/Rowset.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"

IMAPIPropPtr openContact(IMAPIFolderPtr folder, const EntryId& entryId)
{
    IMAPIPropPtr message;
    const HRESULT result = mapi::impl::openEntry(folder, entryId, IID_IMAPIProp, mapi::unknownSlot(message));
    if (FAILED(result))
        utilities::Logger::instance().write(L"Cannot open contact: hr = " + utilities::toHexNumber(result));
    return message;
}

std::vector<SyncItem> collectContactItems(IMAPIFolderPtr folder)
{
    std::vector<SyncItem> items;
    if (!folder || !mapi::maybeContactFolder(folder))
        return items;

    IMAPITablePtr table = mapi::getContentsTable(folder);
    const mapi::PropTagArray columns{PR_ENTRYID};
    const auto addItem = [&folder, &items](const mapi::Rowset::TableRow& row)
    {
        const SPropValue& value = row[0];
        if (value.ulPropTag != PR_ENTRYID)
            return;
        const EntryId entryId = mapi::readBinary(value);
        if (const IMAPIPropPtr message = openContact(folder, entryId))
            items.emplace_back(message);
    };
    mapi::Rowset::enumerate(table, columns.get(), addItem);
    return items;
}

#include "agent/mapi/MapiUtilities.h"

#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/PropValue.h"
#include "agent/mapi/Restriction.h"
#include "agent/mapi/Rowset.h"
#include "mapiabi/MapiTags.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"
#include "utilities/StopRequested.h"

namespace mapi
{
using utilities::checkCondition;
using utilities::checkHresult;
using utilities::Condition;

namespace
{
constexpr wchar_t contactFolderClass[] = L"IPF.Contact";
constexpr wchar_t contactMessageClass[] = L"IPM.Contact";
constexpr wchar_t unresolvedName[] = L"(cannot resolve)";

/// What a row of a hierarchy table says of a folder.
struct FolderRow
{
    LONG type = -1;
    EntryId entryId;
    std::wstring name;
};

[[nodiscard]] FolderRow readFolderRow(const Rowset::TableRow& row)
{
    FolderRow folder;
    for (const SPropValue& value : row.values())
    {
        switch (value.ulPropTag) // the whole tag, so that an error in place of a value is passed over
        {
        case PR_OBJECT_TYPE:
            folder.type = value.Value.l;
            break;
        case PR_ENTRYID:
            folder.entryId = readBinary(value);
            break;
        case PR_DISPLAY_NAME_W:
            folder.name = readText(value);
            break;
        default:
            break;
        }
    }
    return folder;
}

/// Reads an identifier for which a caller always gets the failure, and the log has it once more.
[[nodiscard]] EntryId readIdentifier(IMAPIPropPtr object, ULONG tag, std::wstring_view function)
{
    try
    {
        return readBinary(object, tag);
    }
    catch (const utilities::exception& caught)
    {
        utilities::logRethrow(function, caught);
        throw;
    }
}
} // namespace

bool isContactFolder(IMAPIFolderPtr folder)
{
    constexpr std::wstring_view function = L"mapi::isContactFolder";
    checkCondition(folder, Condition{L"folder"}, function);

    std::wstring folderClass;
    if (hasProperty(folder, PR_CONTAINER_CLASS_W))
    {
        try
        {
            folderClass = readText(folder, PR_CONTAINER_CLASS_W);
        }
        catch (const utilities::exception& caught)
        {
            utilities::reportException(caught, function);
            return false;
        }
    }
    return folderClass == contactFolderClass; // settled behaviour 20
}

bool maybeContactFolder(IMAPIFolderPtr folder)
{
    constexpr std::wstring_view function = L"mapi::maybeContactFolder";
    checkCondition(folder, Condition{L"folder"}, function);

    try
    {
        if (hasProperty(folder, PR_CONTAINER_CLASS_W))
            return isContactFolder(folder);

        const IMAPITablePtr table = getContentsTable(folder);
        if (tableRowCount(table) == 0)
            return true;
        const auto isContact = Restriction::equals(PropValue::makeText(PR_MESSAGE_CLASS_W, contactMessageClass));
        const auto filter = Restriction::build(isContact);
        return table->FindRow(filter.get(), BOOKMARK_BEGINNING, 0) != MAPI_E_NOT_FOUND;
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, function);
        return false;
    }
}

bool hasProperty(IMAPIPropPtr obj, ULONG tag)
{
    constexpr std::wstring_view function = L"mapi::hasProperty";
    checkCondition(obj, Condition{L"obj"}, function);

    PropTagArray tags;
    checkHresult(function, obj->GetPropList(MAPI_UNICODE, tags.put()));
    for (ULONG index = 0; tags && index < tags->cValues; ++index)
    {
        if (tags->aulPropTag[index] == tag)
            return true;
    }
    return false;
}

IMAPITablePtr getContentsTable(IMAPIFolderPtr folder)
{
    constexpr std::wstring_view function = L"mapi::getContentsTable";
    checkCondition(folder, Condition{L"folder"}, function);

    IMAPITablePtr table;
    checkHresult(function, folder->GetContentsTable(MAPI_UNICODE, &table), L"GetContentsTable");
    return table;
}

IMAPITablePtr getHierarchyTable(IMAPIFolderPtr folder)
{
    constexpr std::wstring_view function = L"mapi::getHierarchyTable";
    checkCondition(folder, Condition{L"folder"}, function);

    IMAPITablePtr table;
    // The words of the other table: settled behaviour 64.
    checkHresult(function, folder->GetHierarchyTable(MAPI_UNICODE, &table), L"GetContentsTable");
    return table;
}

std::vector<IMAPIFolderPtr> getSubfolders(IMAPIFolderPtr folder, SRestriction* restriction)
{
    std::vector<IMAPIFolderPtr> subfolders;
    if (!folder)
        return subfolders;

    IMAPITablePtr table = getHierarchyTable(folder);
    const PropTagArray columns{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE};
    if (restriction != nullptr)
    {
        constexpr std::wstring_view function = L"mapi::getSubfolders";
        checkHresult(function, table->Restrict(restriction, TBL_BATCH));
    }

    const auto openSubfolder = [&folder, &subfolders](const Rowset::TableRow& row)
    {
        constexpr std::wstring_view function = L"mapi::getSubfolders::<lambda_1>::operator ()";
        const FolderRow found = readFolderRow(row);
        if (utilities::stopRequested)
            throw utilities::cancelled(function);
        if (found.entryId.empty() || found.type != static_cast<LONG>(MAPI_FOLDER))
            return;
        utilities::Logger::instance().write(L"subfolder found: " + found.name);

        IMAPIFolderPtr subfolder;
        ULONG objectType = 0;
        const HRESULT result =
            folder->OpenEntry(entryIdSize(found.entryId), entryIdBytes(found.entryId), &IID_IMAPIFolder,
                              MAPI_BEST_ACCESS, &objectType, unknownSlot(subfolder));
        if (result == S_OK)
            subfolders.push_back(subfolder);
        else
            utilities::logHresult(function, result, L"OpenEntry failed for \"" + found.name + L"\"");
    };
    Rowset::enumerate(table, columns.get(), openSubfolder);
    return subfolders;
}

void traverseFolders(IMAPIFolderPtr folder, SRestriction* restriction, const FolderVisitor& visitor)
{
    constexpr std::wstring_view function = L"mapi::traverseFolders";
    if (utilities::stopRequested)
        throw utilities::cancelled(function);
    if (!folder)
        return;
    visitor(folder);
    for (const IMAPIFolderPtr& subfolder : getSubfolders(folder, restriction))
        traverseFolders(subfolder, restriction, visitor);
}

EntryId entryId(IMAPIPropPtr object)
{
    constexpr std::wstring_view function = L"mapi::entryId";
    return readIdentifier(object, PR_ENTRYID, function);
}

EntryId parentEntryId(IMAPIPropPtr object)
{
    constexpr std::wstring_view function = L"mapi::parentEntryId";
    return readIdentifier(object, PR_PARENT_ENTRYID, function);
}

bool isFolder(IMAPIPropPtr object)
{
    LONG type = 0;
    if (object && hasProperty(object, PR_OBJECT_TYPE))
    {
        try
        {
            type = readLong(object, PR_OBJECT_TYPE);
        }
        catch (const utilities::exception&)
        {
            // An object whose type can't be read is no folder.
        }
    }
    return type == static_cast<LONG>(MAPI_FOLDER);
}

std::wstring displayName(IMAPIPropPtr object)
{
    if (!object || !hasProperty(object, PR_DISPLAY_NAME_W))
        return unresolvedName;
    try
    {
        return readText(object, PR_DISPLAY_NAME_W);
    }
    catch (const utilities::exception&)
    {
        return {}; // only a log line will miss it
    }
}
} // namespace mapi

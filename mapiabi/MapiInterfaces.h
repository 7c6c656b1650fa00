// MapiInterfaces.h: the published MAPI interfaces, every slot in its published order.
//
// Slots that the agent never calls are declared as well, since their places count. Window handles, connection numbers
// and bookmarks are as wide as pointers. Text arguments are void*: char* or WCHAR*, as MAPI_UNICODE in the flags says.
// No virtual destructor and no overload may ever be added here: either would move slots.
#pragma once

#include "mapiabi/MapiTypes.h"

#include <unknwn.h>

struct IMAPIProgress;
struct IAddrBook;
struct IProfSect;
struct IMsgServiceAdmin;
struct IAttach;
struct IMAPITable;
struct IMAPIFolder;
struct IMessage;
struct IMsgStore;
struct ADRLIST;

/// The interface identifier 000203xx-0000-0000-C000-000000000046.
constexpr IID mapiInterfaceId(unsigned char number) noexcept
{
    return {0x00020300UL | number, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
}

inline constexpr IID IID_IMAPISession = mapiInterfaceId(0x00);
inline constexpr IID IID_IMAPITable = mapiInterfaceId(0x01);
inline constexpr IID IID_IMAPIAdviseSink = mapiInterfaceId(0x02);
inline constexpr IID IID_IMAPIProp = mapiInterfaceId(0x03);
inline constexpr IID IID_IMsgStore = mapiInterfaceId(0x06);
inline constexpr IID IID_IMessage = mapiInterfaceId(0x07);
inline constexpr IID IID_IMailUser = mapiInterfaceId(0x0A); // the interface is IMAPIProp's, slot by slot
inline constexpr IID IID_IMAPIContainer = mapiInterfaceId(0x0B);
inline constexpr IID IID_IMAPIFolder = mapiInterfaceId(0x0C);
inline constexpr IID IID_IMAPIClientShutdown = mapiInterfaceId(0x97);

/// Receives notifications. Returns S_OK; the array is valid during the call only.
struct IMAPIAdviseSink : IUnknown
{
    virtual ULONG STDMETHODCALLTYPE OnNotify(ULONG count, NOTIFICATION* notifications) = 0;
};

/// An object with properties. GetProps and GetPropList give blocks that the caller frees by MAPIFreeBuffer.
struct IMAPIProp : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveChanges(ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetProps(SPropTagArray* tags, ULONG flags, ULONG* count, SPropValue** values) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPropList(ULONG flags, SPropTagArray** tags) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, const IID* iid, ULONG interfaceOptions, ULONG flags,
                                                   IUnknown** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetProps(ULONG count, SPropValue* values, SPropProblemArray** problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray* tags, SPropProblemArray** problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyTo(ULONG excludedCount, const IID* excludedIids, SPropTagArray* excludedTags,
                                             ULONG_PTR window, IMAPIProgress* progress, const IID* iid,
                                             void* destination, ULONG flags, SPropProblemArray** problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray* tags, ULONG_PTR window, IMAPIProgress* progress,
                                                const IID* iid, void* destination, ULONG flags,
                                                SPropProblemArray** problems) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray** tags, GUID* propertySet, ULONG flags,
                                                      ULONG* count, MAPINAMEID*** names) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG count, MAPINAMEID** names, ULONG flags,
                                                      SPropTagArray** tags) = 0;
};

/// A message store.
struct IMsgStore : IMAPIProp
{
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask,
                                             IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                                      ULONG flags, ULONG* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                ULONG* objectType, IUnknown** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReceiveFolder(void* messageClass, ULONG flags, ULONG entryIdSize,
                                                       ENTRYID* entryId) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReceiveFolder(void* messageClass, ULONG flags, ULONG* entryIdSize,
                                                       ENTRYID** entryId, void** explicitClass) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG entryIdSize, ENTRYID* entryId, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetLockState(IMessage* message, ULONG state) = 0;
    virtual HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG flags, ULONG entryIdSize, ENTRYID* entryId) = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION* notification) = 0;
};

/// An object that holds other objects.
struct IMAPIContainer : IMAPIProp
{
    virtual HRESULT STDMETHODCALLTYPE GetContentsTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHierarchyTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                ULONG* objectType, IUnknown** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSearchCriteria(SRestriction* restriction, ENTRYLIST* containers,
                                                        ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG flags, SRestriction** restriction, ENTRYLIST** containers,
                                                        ULONG* state) = 0;
};

/// A folder of a message store.
struct IMAPIFolder : IMAPIContainer
{
    virtual HRESULT STDMETHODCALLTYPE CreateMessage(const IID* iid, ULONG flags, IMessage** message) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyMessages(ENTRYLIST* messages, const IID* iid, void* destination,
                                                   ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteMessages(ENTRYLIST* messages, ULONG_PTR window, IMAPIProgress* progress,
                                                     ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateFolder(ULONG type, void* name, void* comment, const IID* iid, ULONG flags,
                                                   IMAPIFolder** folder) = 0;
    virtual HRESULT STDMETHODCALLTYPE CopyFolder(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, void* destination,
                                                 void* newName, ULONG_PTR window, IMAPIProgress* progress,
                                                 ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG entryIdSize, ENTRYID* entryId, ULONG_PTR window,
                                                   IMAPIProgress* progress, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReadFlags(ENTRYLIST* messages, ULONG_PTR window, IMAPIProgress* progress,
                                                   ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG entryIdSize, ENTRYID* entryId, ULONG flags,
                                                       ULONG* status) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG entryIdSize, ENTRYID* entryId, ULONG newStatus, ULONG mask,
                                                       ULONG* oldStatus) = 0;
    virtual HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet* order, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG_PTR window, IMAPIProgress* progress, ULONG flags) = 0;
};

/// A message; contacts are messages.
struct IMessage : IMAPIProp
{
    virtual HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenAttach(ULONG number, const IID* iid, ULONG flags, IAttach** attachment) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateAttach(const IID* iid, ULONG flags, ULONG* number,
                                                   IAttach** attachment) = 0;
    virtual HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG number, ULONG_PTR window, IMAPIProgress* progress,
                                                   ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG flags, ADRLIST* recipients) = 0;
    virtual HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG flags) = 0;
};

/// A table. The row set of QueryRows is freed by FreeProws.
struct IMAPITable : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG eventMask, IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatus(ULONG* status, ULONG* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetColumns(SPropTagArray* tags, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryColumns(ULONG flags, SPropTagArray** tags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRowCount(ULONG flags, ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRow(BOOKMARK origin, LONG rows, LONG* sought) = 0;
    virtual HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG numerator, ULONG denominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryPosition(ULONG* row, ULONG* numerator, ULONG* denominator) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindRow(SRestriction* restriction, BOOKMARK origin, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE Restrict(SRestriction* restriction, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateBookmark(BOOKMARK* position) = 0;
    virtual HRESULT STDMETHODCALLTYPE FreeBookmark(BOOKMARK position) = 0;
    virtual HRESULT STDMETHODCALLTYPE SortTable(SSortOrderSet* order, ULONG flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet** order) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryRows(LONG count, ULONG flags, SRowSet** rows) = 0;
    virtual HRESULT STDMETHODCALLTYPE Abort() = 0;
    virtual HRESULT STDMETHODCALLTYPE ExpandRow(ULONG keySize, BYTE* key, ULONG count, ULONG flags, SRowSet** rows,
                                                ULONG* moreRows) = 0;
    virtual HRESULT STDMETHODCALLTYPE CollapseRow(ULONG keySize, BYTE* key, ULONG flags, ULONG* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG flags, ULONG timeout, ULONG* status) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG flags, ULONG keySize, BYTE* key, ULONG* stateSize,
                                                       BYTE** state) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG flags, ULONG stateSize, BYTE* state,
                                                       BOOKMARK* position) = 0;
};

/// A session: what a logon gives.
struct IMAPISession : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE GetLastError(HRESULT result, ULONG flags, MAPIERROR** error) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMsgStoresTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenMsgStore(ULONG_PTR window, ULONG entryIdSize, ENTRYID* entryId,
                                                   const IID* iid, ULONG flags, IMsgStore** store) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR window, const IID* iid, ULONG flags,
                                                      IAddrBook** book) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID* uid, const IID* iid, ULONG flags,
                                                         IProfSect** section) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG flags, IMAPITable** table) = 0;
    virtual HRESULT STDMETHODCALLTYPE OpenEntry(ULONG entryIdSize, ENTRYID* entryId, const IID* iid, ULONG flags,
                                                ULONG* objectType, IUnknown** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE CompareEntryIDs(ULONG size1, ENTRYID* entryId1, ULONG size2, ENTRYID* entryId2,
                                                      ULONG flags, ULONG* result) = 0;
    virtual HRESULT STDMETHODCALLTYPE Advise(ULONG entryIdSize, ENTRYID* entryId, ULONG eventMask,
                                             IMAPIAdviseSink* sink, ULONG_PTR* connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR connection) = 0;
    virtual HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR window, ULONG flags, void* addressType,
                                                     IMessage* message) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(void* addressType, ULONG flags, ULONG* count,
                                                             SPropValue** values) = 0;
    virtual HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG flags, ULONG* count, void*** addressTypes) = 0;
    virtual HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG* entryIdSize, ENTRYID** entryId) = 0;
    virtual HRESULT STDMETHODCALLTYPE Logoff(ULONG_PTR window, ULONG flags, ULONG reserved) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG flags, ULONG entryIdSize, ENTRYID* entryId) = 0;
    virtual HRESULT STDMETHODCALLTYPE AdminServices(ULONG flags, IMsgServiceAdmin** admin) = 0;
    virtual HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR window, IMsgStore* store, IMAPIFolder* folder, const IID* iid,
                                               ULONG_PTR token, IMessage* sent, ULONG flags, ULONG status,
                                               ULONG messageFlags, ULONG access, char* messageClass) = 0;
    virtual HRESULT STDMETHODCALLTYPE PrepareForm(const IID* iid, IMessage* message, ULONG_PTR* token) = 0;
};

/// Fast shutdown, asked of the session by QueryInterface. After a DoFastShutdown that succeeded no MAPI call may follow.
struct IMAPIClientShutdown : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE QueryFastShutdown() = 0;
    virtual HRESULT STDMETHODCALLTYPE NotifyProcessShutdown() = 0;
    virtual HRESULT STDMETHODCALLTYPE DoFastShutdown() = 0;
};

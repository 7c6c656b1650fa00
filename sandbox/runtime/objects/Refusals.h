// Refusals.h: the slots of MAPI's interfaces that nobody calls here, each written once. What a call of one answers is the
// base class's matter: its `refuse` gets the method's name and gives the result.
#pragma once

#include "mapiabi/MapiInterfaces.h"

// A slot: NAME of INTERFACE, and the types of its parameters.
#define LINKWELL_REFUSED(INTERFACE, NAME, ...)                                                                         \
    HRESULT STDMETHODCALLTYPE NAME(__VA_ARGS__) override                                                               \
    {                                                                                                                  \
        return this->refuse(#INTERFACE "::" #NAME);                                                                    \
    }

namespace sandbox
{
/// @tparam Base  implements an interface that is or extends IMAPIProp, and has `HRESULT refuse(const char* method)`. The
///               same holds for each template below, of the interface in its name.
template <class Base>
class RefusingProp : public Base
{
public:
    LINKWELL_REFUSED(IMAPIProp, GetLastError, HRESULT, ULONG, MAPIERROR**);
    LINKWELL_REFUSED(IMAPIProp, SaveChanges, ULONG);
    LINKWELL_REFUSED(IMAPIProp, OpenProperty, ULONG, const IID*, ULONG, ULONG, IUnknown**);
    LINKWELL_REFUSED(IMAPIProp, SetProps, ULONG, SPropValue*, SPropProblemArray**);
    LINKWELL_REFUSED(IMAPIProp, DeleteProps, SPropTagArray*, SPropProblemArray**);
    LINKWELL_REFUSED(IMAPIProp, CopyTo, ULONG, const IID*, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*,
                     ULONG, SPropProblemArray**);
    LINKWELL_REFUSED(IMAPIProp, CopyProps, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG,
                     SPropProblemArray**);
    LINKWELL_REFUSED(IMAPIProp, GetNamesFromIDs, SPropTagArray**, GUID*, ULONG, ULONG*, MAPINAMEID***);

protected:
    using Base::Base;
};

/// The slots of IMsgStore beyond those of IMAPIProp.
template <class Base>
class RefusingStore : public Base
{
public:
    LINKWELL_REFUSED(IMsgStore, CompareEntryIDs, ULONG, ENTRYID*, ULONG, ENTRYID*, ULONG, ULONG*);
    LINKWELL_REFUSED(IMsgStore, SetReceiveFolder, void*, ULONG, ULONG, ENTRYID*);
    LINKWELL_REFUSED(IMsgStore, GetReceiveFolder, void*, ULONG, ULONG*, ENTRYID**, void**);
    LINKWELL_REFUSED(IMsgStore, GetReceiveFolderTable, ULONG, IMAPITable**);
    LINKWELL_REFUSED(IMsgStore, StoreLogoff, ULONG*);
    LINKWELL_REFUSED(IMsgStore, AbortSubmit, ULONG, ENTRYID*, ULONG);
    LINKWELL_REFUSED(IMsgStore, GetOutgoingQueue, ULONG, IMAPITable**);
    LINKWELL_REFUSED(IMsgStore, SetLockState, IMessage*, ULONG);
    LINKWELL_REFUSED(IMsgStore, FinishedMsg, ULONG, ULONG, ENTRYID*);
    LINKWELL_REFUSED(IMsgStore, NotifyNewMail, NOTIFICATION*);

protected:
    using Base::Base;
};

/// The slots of IMAPIFolder beyond those of IMAPIProp.
template <class Base>
class RefusingFolder : public Base
{
public:
    LINKWELL_REFUSED(IMAPIContainer, SetSearchCriteria, SRestriction*, ENTRYLIST*, ULONG);
    LINKWELL_REFUSED(IMAPIContainer, GetSearchCriteria, ULONG, SRestriction**, ENTRYLIST**, ULONG*);
    LINKWELL_REFUSED(IMAPIFolder, CreateMessage, const IID*, ULONG, IMessage**);
    LINKWELL_REFUSED(IMAPIFolder, CopyMessages, ENTRYLIST*, const IID*, void*, ULONG_PTR, IMAPIProgress*, ULONG);
    LINKWELL_REFUSED(IMAPIFolder, DeleteMessages, ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG);
    LINKWELL_REFUSED(IMAPIFolder, CreateFolder, ULONG, void*, void*, const IID*, ULONG, IMAPIFolder**);
    LINKWELL_REFUSED(IMAPIFolder, CopyFolder, ULONG, ENTRYID*, const IID*, void*, void*, ULONG_PTR, IMAPIProgress*,
                     ULONG);
    LINKWELL_REFUSED(IMAPIFolder, DeleteFolder, ULONG, ENTRYID*, ULONG_PTR, IMAPIProgress*, ULONG);
    LINKWELL_REFUSED(IMAPIFolder, SetReadFlags, ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG);
    LINKWELL_REFUSED(IMAPIFolder, GetMessageStatus, ULONG, ENTRYID*, ULONG, ULONG*);
    LINKWELL_REFUSED(IMAPIFolder, SetMessageStatus, ULONG, ENTRYID*, ULONG, ULONG, ULONG*);
    LINKWELL_REFUSED(IMAPIFolder, SaveContentsSort, SSortOrderSet*, ULONG);
    LINKWELL_REFUSED(IMAPIFolder, EmptyFolder, ULONG_PTR, IMAPIProgress*, ULONG);

protected:
    using Base::Base;
};

/// The slots of IMessage beyond those of IMAPIProp.
template <class Base>
class RefusingMessage : public Base
{
public:
    LINKWELL_REFUSED(IMessage, GetAttachmentTable, ULONG, IMAPITable**);
    LINKWELL_REFUSED(IMessage, OpenAttach, ULONG, const IID*, ULONG, IAttach**);
    LINKWELL_REFUSED(IMessage, CreateAttach, const IID*, ULONG, ULONG*, IAttach**);
    LINKWELL_REFUSED(IMessage, DeleteAttach, ULONG, ULONG_PTR, IMAPIProgress*, ULONG);
    LINKWELL_REFUSED(IMessage, GetRecipientTable, ULONG, IMAPITable**);
    LINKWELL_REFUSED(IMessage, ModifyRecipients, ULONG, ADRLIST*);
    LINKWELL_REFUSED(IMessage, SubmitMessage, ULONG);
    LINKWELL_REFUSED(IMessage, SetReadFlag, ULONG);

protected:
    using Base::Base;
};

template <class Base>
class RefusingTable : public Base
{
public:
    LINKWELL_REFUSED(IMAPITable, GetLastError, HRESULT, ULONG, MAPIERROR**);
    LINKWELL_REFUSED(IMAPITable, Advise, ULONG, IMAPIAdviseSink*, ULONG_PTR*);
    LINKWELL_REFUSED(IMAPITable, Unadvise, ULONG_PTR);
    LINKWELL_REFUSED(IMAPITable, GetStatus, ULONG*, ULONG*);
    LINKWELL_REFUSED(IMAPITable, QueryColumns, ULONG, SPropTagArray**);
    LINKWELL_REFUSED(IMAPITable, SeekRow, BOOKMARK, LONG, LONG*);
    LINKWELL_REFUSED(IMAPITable, SeekRowApprox, ULONG, ULONG);
    LINKWELL_REFUSED(IMAPITable, QueryPosition, ULONG*, ULONG*, ULONG*);
    LINKWELL_REFUSED(IMAPITable, CreateBookmark, BOOKMARK*);
    LINKWELL_REFUSED(IMAPITable, FreeBookmark, BOOKMARK);
    LINKWELL_REFUSED(IMAPITable, SortTable, SSortOrderSet*, ULONG);
    LINKWELL_REFUSED(IMAPITable, QuerySortOrder, SSortOrderSet**);
    LINKWELL_REFUSED(IMAPITable, Abort);
    LINKWELL_REFUSED(IMAPITable, ExpandRow, ULONG, BYTE*, ULONG, ULONG, SRowSet**, ULONG*);
    LINKWELL_REFUSED(IMAPITable, CollapseRow, ULONG, BYTE*, ULONG, ULONG*);
    LINKWELL_REFUSED(IMAPITable, WaitForCompletion, ULONG, ULONG, ULONG*);
    LINKWELL_REFUSED(IMAPITable, GetCollapseState, ULONG, ULONG, BYTE*, ULONG*, BYTE**);
    LINKWELL_REFUSED(IMAPITable, SetCollapseState, ULONG, ULONG, BYTE*, BOOKMARK*);

protected:
    using Base::Base;
};

template <class Base>
class RefusingSession : public Base
{
public:
    LINKWELL_REFUSED(IMAPISession, GetLastError, HRESULT, ULONG, MAPIERROR**);
    LINKWELL_REFUSED(IMAPISession, OpenAddressBook, ULONG_PTR, const IID*, ULONG, IAddrBook**);
    LINKWELL_REFUSED(IMAPISession, OpenProfileSection, MAPIUID*, const IID*, ULONG, IProfSect**);
    LINKWELL_REFUSED(IMAPISession, GetStatusTable, ULONG, IMAPITable**);
    LINKWELL_REFUSED(IMAPISession, Advise, ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*);
    LINKWELL_REFUSED(IMAPISession, Unadvise, ULONG_PTR);
    LINKWELL_REFUSED(IMAPISession, MessageOptions, ULONG_PTR, ULONG, void*, IMessage*);
    LINKWELL_REFUSED(IMAPISession, QueryDefaultMessageOpt, void*, ULONG, ULONG*, SPropValue**);
    LINKWELL_REFUSED(IMAPISession, EnumAdrTypes, ULONG, ULONG*, void***);
    LINKWELL_REFUSED(IMAPISession, QueryIdentity, ULONG*, ENTRYID**);
    LINKWELL_REFUSED(IMAPISession, SetDefaultStore, ULONG, ULONG, ENTRYID*);
    LINKWELL_REFUSED(IMAPISession, AdminServices, ULONG, IMsgServiceAdmin**);
    LINKWELL_REFUSED(IMAPISession, ShowForm, ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG_PTR, IMessage*,
                     ULONG, ULONG, ULONG, ULONG, char*);
    LINKWELL_REFUSED(IMAPISession, PrepareForm, const IID*, IMessage*, ULONG_PTR*);

protected:
    using Base::Base;
};
} // namespace sandbox

#undef LINKWELL_REFUSED

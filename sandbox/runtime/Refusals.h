// Refusals.h: what the sandbox does not serve: each method of the interfaces that nothing here needs answers
// MAPI_E_NO_SUPPORT. The served ones are left to the derived classes.
#pragma once

#include "sandbox/runtime/ComObject.h"

namespace sandbox
{
/// @tparam Interface  IMAPIProp or an interface derived from it.
template <class Interface>
class RefusingProp : public ComObject<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return refuse("IMAPIProp::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override { return refuse("IMAPIProp::SaveChanges"); }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG, const IID*, ULONG, ULONG, IUnknown**) override
    {
        return refuse("IMAPIProp::OpenProperty");
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG, SPropValue*, SPropProblemArray**) override
    {
        return refuse("IMAPIProp::SetProps");
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray*, SPropProblemArray**) override
    {
        return refuse("IMAPIProp::DeleteProps");
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, const IID*, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*,
                                     ULONG, SPropProblemArray**) override
    {
        return refuse("IMAPIProp::CopyTo");
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG,
                                        SPropProblemArray**) override
    {
        return refuse("IMAPIProp::CopyProps");
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray**, GUID*, ULONG, ULONG*, MAPINAMEID***) override
    {
        return refuse("IMAPIProp::GetNamesFromIDs");
    }

protected:
    using ComObject<Interface>::ComObject;
};

/// @tparam Base  a class that serves IMAPIProp of an IMsgStore.
template <class Base>
class RefusingStore : public Base
{
public:
    HRESULT STDMETHODCALLTYPE SetReceiveFolder(void*, ULONG, ULONG, ENTRYID*) override
    {
        return refuse("IMsgStore::SetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(void*, ULONG, ULONG*, ENTRYID**, void**) override
    {
        return refuse("IMsgStore::GetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG, IMAPITable**) override
    {
        return refuse("IMsgStore::GetReceiveFolderTable");
    }
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG*) override { return refuse("IMsgStore::StoreLogoff"); }
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG, ENTRYID*, ULONG) override { return refuse("IMsgStore::AbortSubmit"); }
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG, IMAPITable**) override
    {
        return refuse("IMsgStore::GetOutgoingQueue");
    }
    HRESULT STDMETHODCALLTYPE SetLockState(IMessage*, ULONG) override { return refuse("IMsgStore::SetLockState"); }
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG, ULONG, ENTRYID*) override { return refuse("IMsgStore::FinishedMsg"); }
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION*) override { return refuse("IMsgStore::NotifyNewMail"); }

protected:
    using Base::Base;
};

/// @tparam Base  a class that serves IMAPIProp of an IMAPIFolder.
template <class Base>
class RefusingFolder : public Base
{
public:
    HRESULT STDMETHODCALLTYPE SetSearchCriteria(SRestriction*, ENTRYLIST*, ULONG) override
    {
        return refuse("IMAPIContainer::SetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG, SRestriction**, ENTRYLIST**, ULONG*) override
    {
        return refuse("IMAPIContainer::GetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE CreateMessage(const IID*, ULONG, IMessage**) override
    {
        return refuse("IMAPIFolder::CreateMessage");
    }
    HRESULT STDMETHODCALLTYPE CopyMessages(ENTRYLIST*, const IID*, void*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMAPIFolder::CopyMessages");
    }
    HRESULT STDMETHODCALLTYPE DeleteMessages(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMAPIFolder::DeleteMessages");
    }
    HRESULT STDMETHODCALLTYPE CreateFolder(ULONG, void*, void*, const IID*, ULONG, IMAPIFolder**) override
    {
        return refuse("IMAPIFolder::CreateFolder");
    }
    HRESULT STDMETHODCALLTYPE CopyFolder(ULONG, ENTRYID*, const IID*, void*, void*, ULONG_PTR, IMAPIProgress*,
                                         ULONG) override
    {
        return refuse("IMAPIFolder::CopyFolder");
    }
    HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG, ENTRYID*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMAPIFolder::DeleteFolder");
    }
    HRESULT STDMETHODCALLTYPE SetReadFlags(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMAPIFolder::SetReadFlags");
    }
    HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG*) override
    {
        return refuse("IMAPIFolder::GetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG, ULONG*) override
    {
        return refuse("IMAPIFolder::SetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet*, ULONG) override
    {
        return refuse("IMAPIFolder::SaveContentsSort");
    }
    HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMAPIFolder::EmptyFolder");
    }

protected:
    using Base::Base;
};

/// @tparam Base  a class that serves IMAPIProp of an IMessage.
template <class Base>
class RefusingMessage : public Base
{
public:
    HRESULT STDMETHODCALLTYPE GetAttachmentTable(ULONG, IMAPITable**) override
    {
        return refuse("IMessage::GetAttachmentTable");
    }
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG, const IID*, ULONG, IAttach**) override
    {
        return refuse("IMessage::OpenAttach");
    }
    HRESULT STDMETHODCALLTYPE CreateAttach(const IID*, ULONG, ULONG*, IAttach**) override
    {
        return refuse("IMessage::CreateAttach");
    }
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return refuse("IMessage::DeleteAttach");
    }
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG, IMAPITable**) override
    {
        return refuse("IMessage::GetRecipientTable");
    }
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG, ADRLIST*) override
    {
        return refuse("IMessage::ModifyRecipients");
    }
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) override { return refuse("IMessage::SubmitMessage"); }
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG) override { return refuse("IMessage::SetReadFlag"); }

protected:
    using Base::Base;
};

class RefusingTable : public ComObject<IMAPITable>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return refuse("IMAPITable::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return refuse("IMAPITable::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return refuse("IMAPITable::Unadvise"); }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) override { return refuse("IMAPITable::GetStatus"); }
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG, ULONG) override { return refuse("IMAPITable::SeekRowApprox"); }
    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet**) override { return refuse("IMAPITable::QuerySortOrder"); }
    HRESULT STDMETHODCALLTYPE Abort() override { return refuse("IMAPITable::Abort"); }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, BYTE*, ULONG, ULONG, SRowSet**, ULONG*) override
    {
        return refuse("IMAPITable::ExpandRow");
    }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, BYTE*, ULONG, ULONG*) override
    {
        return refuse("IMAPITable::CollapseRow");
    }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG*) override
    {
        return refuse("IMAPITable::WaitForCompletion");
    }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, BYTE*, ULONG*, BYTE**) override
    {
        return refuse("IMAPITable::GetCollapseState");
    }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, BYTE*, BOOKMARK*) override
    {
        return refuse("IMAPITable::SetCollapseState");
    }

protected:
    using ComObject<IMAPITable>::ComObject;
};

class RefusingSession : public ComObject<IMAPISession>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return refuse("IMAPISession::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR, const IID*, ULONG, IAddrBook**) override
    {
        return refuse("IMAPISession::OpenAddressBook");
    }
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect**) override
    {
        return refuse("IMAPISession::OpenProfileSection");
    }
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG, IMAPITable**) override
    {
        return refuse("IMAPISession::GetStatusTable");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return refuse("IMAPISession::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return refuse("IMAPISession::Unadvise"); }
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR, ULONG, void*, IMessage*) override
    {
        return refuse("IMAPISession::MessageOptions");
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(void*, ULONG, ULONG*, SPropValue**) override
    {
        return refuse("IMAPISession::QueryDefaultMessageOpt");
    }
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG, ULONG*, void***) override
    {
        return refuse("IMAPISession::EnumAdrTypes");
    }
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG*, ENTRYID**) override
    {
        return refuse("IMAPISession::QueryIdentity");
    }
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG, ULONG, ENTRYID*) override
    {
        return refuse("IMAPISession::SetDefaultStore");
    }
    HRESULT STDMETHODCALLTYPE AdminServices(ULONG, IMsgServiceAdmin**) override
    {
        return refuse("IMAPISession::AdminServices");
    }
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG_PTR, IMessage*, ULONG,
                                       ULONG, ULONG, ULONG, char*) override
    {
        return refuse("IMAPISession::ShowForm");
    }
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID*, IMessage*, ULONG_PTR*) override
    {
        return refuse("IMAPISession::PrepareForm");
    }

protected:
    using ComObject<IMAPISession>::ComObject;
};
} // namespace sandbox

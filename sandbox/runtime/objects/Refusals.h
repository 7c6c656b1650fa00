// Refusals.h: what the sandbox does not serve: each method of the interfaces that nothing here needs answers
// MAPI_E_NO_SUPPORT. The served ones are left to the derived classes.
#pragma once

#include "sandbox/runtime/objects/ComObject.h"

namespace sandbox
{
/// @tparam Interface  IMAPIProp or an interface derived from it.
template <class Interface>
class RefusingProp : public ComObject<Interface>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return this->refuse("IMAPIProp::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override { return this->refuse("IMAPIProp::SaveChanges"); }
    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG, const IID*, ULONG, ULONG, IUnknown**) override
    {
        return this->refuse("IMAPIProp::OpenProperty");
    }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG, SPropValue*, SPropProblemArray**) override
    {
        return this->refuse("IMAPIProp::SetProps");
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(SPropTagArray*, SPropProblemArray**) override
    {
        return this->refuse("IMAPIProp::DeleteProps");
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, const IID*, SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*,
                                     ULONG, SPropProblemArray**) override
    {
        return this->refuse("IMAPIProp::CopyTo");
    }
    HRESULT STDMETHODCALLTYPE CopyProps(SPropTagArray*, ULONG_PTR, IMAPIProgress*, const IID*, void*, ULONG,
                                        SPropProblemArray**) override
    {
        return this->refuse("IMAPIProp::CopyProps");
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(SPropTagArray**, GUID*, ULONG, ULONG*, MAPINAMEID***) override
    {
        return this->refuse("IMAPIProp::GetNamesFromIDs");
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
        return this->refuse("IMsgStore::SetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolder(void*, ULONG, ULONG*, ENTRYID**, void**) override
    {
        return this->refuse("IMsgStore::GetReceiveFolder");
    }
    HRESULT STDMETHODCALLTYPE GetReceiveFolderTable(ULONG, IMAPITable**) override
    {
        return this->refuse("IMsgStore::GetReceiveFolderTable");
    }
    HRESULT STDMETHODCALLTYPE StoreLogoff(ULONG*) override { return this->refuse("IMsgStore::StoreLogoff"); }
    HRESULT STDMETHODCALLTYPE AbortSubmit(ULONG, ENTRYID*, ULONG) override
    {
        return this->refuse("IMsgStore::AbortSubmit");
    }
    HRESULT STDMETHODCALLTYPE GetOutgoingQueue(ULONG, IMAPITable**) override
    {
        return this->refuse("IMsgStore::GetOutgoingQueue");
    }
    HRESULT STDMETHODCALLTYPE SetLockState(IMessage*, ULONG) override
    {
        return this->refuse("IMsgStore::SetLockState");
    }
    HRESULT STDMETHODCALLTYPE FinishedMsg(ULONG, ULONG, ENTRYID*) override
    {
        return this->refuse("IMsgStore::FinishedMsg");
    }
    HRESULT STDMETHODCALLTYPE NotifyNewMail(NOTIFICATION*) override { return this->refuse("IMsgStore::NotifyNewMail"); }

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
        return this->refuse("IMAPIContainer::SetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE GetSearchCriteria(ULONG, SRestriction**, ENTRYLIST**, ULONG*) override
    {
        return this->refuse("IMAPIContainer::GetSearchCriteria");
    }
    HRESULT STDMETHODCALLTYPE CreateMessage(const IID*, ULONG, IMessage**) override
    {
        return this->refuse("IMAPIFolder::CreateMessage");
    }
    HRESULT STDMETHODCALLTYPE CopyMessages(ENTRYLIST*, const IID*, void*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMAPIFolder::CopyMessages");
    }
    HRESULT STDMETHODCALLTYPE DeleteMessages(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMAPIFolder::DeleteMessages");
    }
    HRESULT STDMETHODCALLTYPE CreateFolder(ULONG, void*, void*, const IID*, ULONG, IMAPIFolder**) override
    {
        return this->refuse("IMAPIFolder::CreateFolder");
    }
    HRESULT STDMETHODCALLTYPE CopyFolder(ULONG, ENTRYID*, const IID*, void*, void*, ULONG_PTR, IMAPIProgress*,
                                         ULONG) override
    {
        return this->refuse("IMAPIFolder::CopyFolder");
    }
    HRESULT STDMETHODCALLTYPE DeleteFolder(ULONG, ENTRYID*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMAPIFolder::DeleteFolder");
    }
    HRESULT STDMETHODCALLTYPE SetReadFlags(ENTRYLIST*, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMAPIFolder::SetReadFlags");
    }
    HRESULT STDMETHODCALLTYPE GetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG*) override
    {
        return this->refuse("IMAPIFolder::GetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SetMessageStatus(ULONG, ENTRYID*, ULONG, ULONG, ULONG*) override
    {
        return this->refuse("IMAPIFolder::SetMessageStatus");
    }
    HRESULT STDMETHODCALLTYPE SaveContentsSort(SSortOrderSet*, ULONG) override
    {
        return this->refuse("IMAPIFolder::SaveContentsSort");
    }
    HRESULT STDMETHODCALLTYPE EmptyFolder(ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMAPIFolder::EmptyFolder");
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
        return this->refuse("IMessage::GetAttachmentTable");
    }
    HRESULT STDMETHODCALLTYPE OpenAttach(ULONG, const IID*, ULONG, IAttach**) override
    {
        return this->refuse("IMessage::OpenAttach");
    }
    HRESULT STDMETHODCALLTYPE CreateAttach(const IID*, ULONG, ULONG*, IAttach**) override
    {
        return this->refuse("IMessage::CreateAttach");
    }
    HRESULT STDMETHODCALLTYPE DeleteAttach(ULONG, ULONG_PTR, IMAPIProgress*, ULONG) override
    {
        return this->refuse("IMessage::DeleteAttach");
    }
    HRESULT STDMETHODCALLTYPE GetRecipientTable(ULONG, IMAPITable**) override
    {
        return this->refuse("IMessage::GetRecipientTable");
    }
    HRESULT STDMETHODCALLTYPE ModifyRecipients(ULONG, ADRLIST*) override
    {
        return this->refuse("IMessage::ModifyRecipients");
    }
    HRESULT STDMETHODCALLTYPE SubmitMessage(ULONG) override { return this->refuse("IMessage::SubmitMessage"); }
    HRESULT STDMETHODCALLTYPE SetReadFlag(ULONG) override { return this->refuse("IMessage::SetReadFlag"); }

protected:
    using Base::Base;
};

class RefusingTable : public ComObject<IMAPITable>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return this->refuse("IMAPITable::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return this->refuse("IMAPITable::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return this->refuse("IMAPITable::Unadvise"); }
    HRESULT STDMETHODCALLTYPE GetStatus(ULONG*, ULONG*) override { return this->refuse("IMAPITable::GetStatus"); }
    HRESULT STDMETHODCALLTYPE SeekRowApprox(ULONG, ULONG) override { return this->refuse("IMAPITable::SeekRowApprox"); }
    HRESULT STDMETHODCALLTYPE QuerySortOrder(SSortOrderSet**) override
    {
        return this->refuse("IMAPITable::QuerySortOrder");
    }
    HRESULT STDMETHODCALLTYPE Abort() override { return this->refuse("IMAPITable::Abort"); }
    HRESULT STDMETHODCALLTYPE ExpandRow(ULONG, BYTE*, ULONG, ULONG, SRowSet**, ULONG*) override
    {
        return this->refuse("IMAPITable::ExpandRow");
    }
    HRESULT STDMETHODCALLTYPE CollapseRow(ULONG, BYTE*, ULONG, ULONG*) override
    {
        return this->refuse("IMAPITable::CollapseRow");
    }
    HRESULT STDMETHODCALLTYPE WaitForCompletion(ULONG, ULONG, ULONG*) override
    {
        return this->refuse("IMAPITable::WaitForCompletion");
    }
    HRESULT STDMETHODCALLTYPE GetCollapseState(ULONG, ULONG, BYTE*, ULONG*, BYTE**) override
    {
        return this->refuse("IMAPITable::GetCollapseState");
    }
    HRESULT STDMETHODCALLTYPE SetCollapseState(ULONG, ULONG, BYTE*, BOOKMARK*) override
    {
        return this->refuse("IMAPITable::SetCollapseState");
    }

protected:
    using ComObject<IMAPITable>::ComObject;
};

class RefusingSession : public ComObject<IMAPISession>
{
public:
    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, MAPIERROR**) override
    {
        return this->refuse("IMAPISession::GetLastError");
    }
    HRESULT STDMETHODCALLTYPE OpenAddressBook(ULONG_PTR, const IID*, ULONG, IAddrBook**) override
    {
        return this->refuse("IMAPISession::OpenAddressBook");
    }
    HRESULT STDMETHODCALLTYPE OpenProfileSection(MAPIUID*, const IID*, ULONG, IProfSect**) override
    {
        return this->refuse("IMAPISession::OpenProfileSection");
    }
    HRESULT STDMETHODCALLTYPE GetStatusTable(ULONG, IMAPITable**) override
    {
        return this->refuse("IMAPISession::GetStatusTable");
    }
    HRESULT STDMETHODCALLTYPE Advise(ULONG, ENTRYID*, ULONG, IMAPIAdviseSink*, ULONG_PTR*) override
    {
        return this->refuse("IMAPISession::Advise");
    }
    HRESULT STDMETHODCALLTYPE Unadvise(ULONG_PTR) override { return this->refuse("IMAPISession::Unadvise"); }
    HRESULT STDMETHODCALLTYPE MessageOptions(ULONG_PTR, ULONG, void*, IMessage*) override
    {
        return this->refuse("IMAPISession::MessageOptions");
    }
    HRESULT STDMETHODCALLTYPE QueryDefaultMessageOpt(void*, ULONG, ULONG*, SPropValue**) override
    {
        return this->refuse("IMAPISession::QueryDefaultMessageOpt");
    }
    HRESULT STDMETHODCALLTYPE EnumAdrTypes(ULONG, ULONG*, void***) override
    {
        return this->refuse("IMAPISession::EnumAdrTypes");
    }
    HRESULT STDMETHODCALLTYPE QueryIdentity(ULONG*, ENTRYID**) override
    {
        return this->refuse("IMAPISession::QueryIdentity");
    }
    HRESULT STDMETHODCALLTYPE SetDefaultStore(ULONG, ULONG, ENTRYID*) override
    {
        return this->refuse("IMAPISession::SetDefaultStore");
    }
    HRESULT STDMETHODCALLTYPE AdminServices(ULONG, IMsgServiceAdmin**) override
    {
        return this->refuse("IMAPISession::AdminServices");
    }
    HRESULT STDMETHODCALLTYPE ShowForm(ULONG_PTR, IMsgStore*, IMAPIFolder*, const IID*, ULONG_PTR, IMessage*, ULONG,
                                       ULONG, ULONG, ULONG, char*) override
    {
        return this->refuse("IMAPISession::ShowForm");
    }
    HRESULT STDMETHODCALLTYPE PrepareForm(const IID*, IMessage*, ULONG_PTR*) override
    {
        return this->refuse("IMAPISession::PrepareForm");
    }

protected:
    using ComObject<IMAPISession>::ComObject;
};
} // namespace sandbox

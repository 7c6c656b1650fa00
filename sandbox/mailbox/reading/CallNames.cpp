#include "sandbox/mailbox/reading/CallNames.h"

#include <algorithm>
#include <iterator>

namespace sandbox
{
namespace
{
constexpr std::string_view callNames[] = {
    "FreeProws",
    "HrGetOneProp",
    "HrThisThreadAdviseSink",
    "MAPIAllocateBuffer",
    "MAPIAllocateMore",
    "MAPIFreeBuffer",
    "MAPIInitialize",
    "MAPILogonEx",
    "MAPIUninitialize",
    "IMAPIAdviseSink::OnNotify",
    "IMAPIClientShutdown::DoFastShutdown",
    "IMAPIClientShutdown::NotifyProcessShutdown",
    "IMAPIClientShutdown::QueryFastShutdown",
    "IMAPIContainer::GetContentsTable",
    "IMAPIContainer::GetHierarchyTable",
    "IMAPIContainer::GetSearchCriteria",
    "IMAPIContainer::OpenEntry",
    "IMAPIContainer::SetSearchCriteria",
    "IMAPIFolder::CopyFolder",
    "IMAPIFolder::CopyMessages",
    "IMAPIFolder::CreateFolder",
    "IMAPIFolder::CreateMessage",
    "IMAPIFolder::DeleteFolder",
    "IMAPIFolder::DeleteMessages",
    "IMAPIFolder::EmptyFolder",
    "IMAPIFolder::GetMessageStatus",
    "IMAPIFolder::SaveContentsSort",
    "IMAPIFolder::SetMessageStatus",
    "IMAPIFolder::SetReadFlags",
    "IMAPIProp::CopyProps",
    "IMAPIProp::CopyTo",
    "IMAPIProp::DeleteProps",
    "IMAPIProp::GetIDsFromNames",
    "IMAPIProp::GetLastError",
    "IMAPIProp::GetNamesFromIDs",
    "IMAPIProp::GetPropList",
    "IMAPIProp::GetProps",
    "IMAPIProp::OpenProperty",
    "IMAPIProp::SaveChanges",
    "IMAPIProp::SetProps",
    "IMAPISession::AdminServices",
    "IMAPISession::Advise",
    "IMAPISession::CompareEntryIDs",
    "IMAPISession::EnumAdrTypes",
    "IMAPISession::GetLastError",
    "IMAPISession::GetMsgStoresTable",
    "IMAPISession::GetStatusTable",
    "IMAPISession::Logoff",
    "IMAPISession::MessageOptions",
    "IMAPISession::OpenAddressBook",
    "IMAPISession::OpenEntry",
    "IMAPISession::OpenMsgStore",
    "IMAPISession::OpenProfileSection",
    "IMAPISession::PrepareForm",
    "IMAPISession::QueryDefaultMessageOpt",
    "IMAPISession::QueryIdentity",
    "IMAPISession::SetDefaultStore",
    "IMAPISession::ShowForm",
    "IMAPISession::Unadvise",
    "IMAPITable::Abort",
    "IMAPITable::Advise",
    "IMAPITable::CollapseRow",
    "IMAPITable::CreateBookmark",
    "IMAPITable::ExpandRow",
    "IMAPITable::FindRow",
    "IMAPITable::FreeBookmark",
    "IMAPITable::GetCollapseState",
    "IMAPITable::GetLastError",
    "IMAPITable::GetRowCount",
    "IMAPITable::GetStatus",
    "IMAPITable::QueryColumns",
    "IMAPITable::QueryPosition",
    "IMAPITable::QueryRows",
    "IMAPITable::QuerySortOrder",
    "IMAPITable::Restrict",
    "IMAPITable::SeekRow",
    "IMAPITable::SeekRowApprox",
    "IMAPITable::SetCollapseState",
    "IMAPITable::SetColumns",
    "IMAPITable::SortTable",
    "IMAPITable::Unadvise",
    "IMAPITable::WaitForCompletion",
    "IMessage::CreateAttach",
    "IMessage::DeleteAttach",
    "IMessage::GetAttachmentTable",
    "IMessage::GetRecipientTable",
    "IMessage::ModifyRecipients",
    "IMessage::OpenAttach",
    "IMessage::SetReadFlag",
    "IMessage::SubmitMessage",
    "IMsgStore::AbortSubmit",
    "IMsgStore::Advise",
    "IMsgStore::CompareEntryIDs",
    "IMsgStore::FinishedMsg",
    "IMsgStore::GetOutgoingQueue",
    "IMsgStore::GetReceiveFolder",
    "IMsgStore::GetReceiveFolderTable",
    "IMsgStore::NotifyNewMail",
    "IMsgStore::OpenEntry",
    "IMsgStore::SetLockState",
    "IMsgStore::SetReceiveFolder",
    "IMsgStore::StoreLogoff",
    "IMsgStore::Unadvise",
    "IUnknown::QueryInterface",
};

[[nodiscard]] std::string_view bareNameOf(std::string_view name) noexcept
{
    const std::size_t colons = name.rfind("::");
    return colons == std::string_view::npos ? name : name.substr(colons + 2);
}
} // namespace

bool isCallName(std::string_view name)
{
    return std::ranges::find(callNames, name) != std::end(callNames);
}

std::string callNamesLike(std::string_view name)
{
    std::string like;
    for (const std::string_view call : callNames)
    {
        if (bareNameOf(call) == bareNameOf(name))
            like += (like.empty() ? "" : ", ") + std::string(call);
    }
    return like;
}
} // namespace sandbox

#include "tests/support/sandbox/SandboxMapiTest.h"

#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/Rowset.h"
#include "mapiabi/MapiTags.h"
#include "utilities/StopRequested.h"

namespace tests
{
SandboxMapiTest::~SandboxMapiTest()
{
    utilities::stopRequested = false;
    mapi::Session::logoff();
    mapi::Session::s_session = nullptr;
    m_session.reset();
    EXPECT_THAT(m_sandbox.report(), testing::MatchesRegex(m_report));
}

void SandboxMapiTest::logon(const std::string& mailbox)
{
    m_sandbox.serve(mailbox);
    mapi::Session::open();
}

mapi::MessageStore SandboxMapiTest::openStore(std::size_t index) const
{
    const EntryId entryId = stores().at(index).entryId;
    return mapi::MessageStore(mapi::Session::openStore(mapi::entryIdSize(entryId), mapi::entryIdBytes(entryId)));
}

std::vector<mapi::MsgStoreInfo> SandboxMapiTest::stores()
{
    std::vector<mapi::MsgStoreInfo> found;
    mapi::Session::enumerateStores([&found](const mapi::MsgStoreInfo& info) { found.push_back(info); });
    return found;
}

IMAPIFolderPtr SandboxMapiTest::find(const mapi::MessageStore& store, const std::vector<std::wstring>& names)
{
    IMAPIFolderPtr folder = store.openIpmSubtree();
    for (const std::wstring& name : names)
    {
        IMAPIFolderPtr next;
        for (const IMAPIFolderPtr& subfolder : mapi::getSubfolders(folder, nullptr))
        {
            if (mapi::displayName(subfolder) == name)
                next = subfolder;
        }
        EXPECT_TRUE(next) << "no folder " << testing::PrintToString(name);
        folder = next;
    }
    return folder;
}

std::vector<EntryId> SandboxMapiTest::messageIds(const IMAPIFolderPtr& folder)
{
    std::vector<EntryId> found;
    IMAPITablePtr table = mapi::getContentsTable(folder);
    const mapi::PropTagArray columns{PR_ENTRYID};
    mapi::Rowset::enumerate(table, columns.get(), [&found](const mapi::Rowset::TableRow& row)
                            { found.push_back(mapi::impl::Reader<_SPropValue, SBinary>::read(&row[0])); });
    return found;
}
} // namespace tests

#include "tests/mapi/MapiTest.h"

#include <memory>
#include <sstream>

#include <nlohmann/json.hpp>

#include "agent/mapi/MapiRuntime.h"
#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/Rowset.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/mapi/FakeCom.h"
#include "utilities/StopRequested.h"

namespace tests
{
namespace
{
using Json = nlohmann::json;

std::unique_ptr<sandboxtest::SandboxDll> s_sandbox;

void useRuntime(const wchar_t* module)
{
    mapi::mapiModule = GetModuleHandleW(module);
    ++mapi::mapiGeneration;
}
} // namespace

MapiTest::MapiTest()
{
    startRuntime();
}

MapiTest::~MapiTest()
{
    utilities::stopRequested = false;
    mapi::Session::logoff();
    mapi::Session::s_session = nullptr;
    m_session.reset();
    EXPECT_EQ(support::s_liveFakes, 0) << "interface references are still held";
    EXPECT_EQ(sandbox().report(), "Nothing is held.\n");
    sandbox().sandboxReset();
    useRuntime(nullptr);
    mapi::mapiModule = nullptr;
}

sandboxtest::SandboxDll& MapiTest::sandbox()
{
    if (!s_sandbox)
        s_sandbox = std::make_unique<sandboxtest::SandboxDll>();
    return *s_sandbox;
}

void MapiTest::startRuntime()
{
    sandbox().serve("{}");
    showRuntime();
    m_session.emplace();
}

void MapiTest::logon(const std::string& mailbox)
{
    sandbox().serve(mailbox);
    mapi::Session::open();
}

mapi::MessageStore MapiTest::openStore(std::size_t index)
{
    const EntryId entryId = stores().at(index).entryId;
    return mapi::MessageStore(mapi::Session::openStore(mapi::entryIdSize(entryId), mapi::entryIdBytes(entryId)));
}

std::vector<mapi::MsgStoreInfo> MapiTest::stores()
{
    std::vector<mapi::MsgStoreInfo> found;
    mapi::Session::enumerateStores([&found](const mapi::MsgStoreInfo& info) { found.push_back(info); });
    return found;
}

IMAPIFolderPtr MapiTest::find(const mapi::MessageStore& store, const std::vector<std::wstring>& names)
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

std::vector<EntryId> MapiTest::messageIds(const IMAPIFolderPtr& folder)
{
    std::vector<EntryId> found;
    IMAPITablePtr table = mapi::getContentsTable(folder);
    const mapi::PropTagArray columns{PR_ENTRYID};
    mapi::Rowset::enumerate(table, columns.get(),
                            [&found](const mapi::Rowset::TableRow& row) { found.push_back(mapi::readBinary(row[0])); });
    return found;
}

void MapiTest::plan(const std::string& method, HRESULT result, unsigned times, unsigned call)
{
    std::ostringstream text;
    text << "0x" << std::hex << static_cast<ULONG>(result);
    sandbox().plan({{"method", method}, {"result", text.str()}, {"times", times}, {"call", call}});
}

void MapiTest::clearPlans()
{
    sandbox().clearPlans();
}

void MapiTest::hideRuntime()
{
    useRuntime(L"kernel32.dll");
}

void MapiTest::showRuntime()
{
    useRuntime(L"LinkwellSandbox.dll");
}

void MapiTest::startJournal()
{
    std::ignore = sandbox().takeJournal();
    sandbox().startJournal();
}

std::vector<std::string> MapiTest::takeCalls()
{
    std::vector<std::string> calls;
    for (const Json& call : sandbox().takeJournal())
    {
        calls.push_back(call.at("call"));
        for (const Json& argument : call.at("arguments"))
            calls.back() += " " + (argument.is_string() ? argument.get<std::string>() : argument.dump());
    }
    return calls;
}

std::int64_t MapiTest::liveBlocks()
{
    return sandbox().sandboxLiveBlocks();
}

std::int64_t MapiTest::dropLeftBlocks()
{
    const std::int64_t left = liveBlocks();
    m_session.reset();
    s_sandbox.reset();
    startRuntime();
    return left;
}
} // namespace tests

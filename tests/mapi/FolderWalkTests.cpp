// The subfolders that MapiUtilities finds and opens, and its walk over a folder and all below it.
#include <functional>
#include <map>
#include <stdexcept>

#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/Restriction.h"
#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"
#include "utilities/StopRequested.h"

namespace
{
using namespace tests;
using mapi::Restriction;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

/// What a message calls the function that opens the folder of a row.
const std::string opener = "mapi::getSubfolders::<lambda_1>::operator ()";

class FolderWalkTest : public MapiTest
{
protected:
    /// A mailbox with one store and these folders.
    static void logonToFolders(const std::string& folders, const std::string& more = "")
    {
        logon(R"({"stores": [{"name": "Mailbox", "folders": [)" + folders + "]}]" + more + "}");
    }

    /// The names of the folders that are not hidden and for which `test` holds, as a walk meets them.
    static std::vector<std::wstring> visible(const std::function<bool(const IMAPIFolderPtr&)>& test,
                                             const IMAPIFolderPtr& root = openStore().openIpmSubtree())
    {
        const auto filter = Restriction::build(
            Restriction::anyOf({Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN)),
                                Restriction::equals(mapi::PropValue::makeBoolean(PR_ATTR_HIDDEN, false))}));
        std::vector<std::wstring> names;
        mapi::traverseFolders(root, filter.get(),
                              [&](IMAPIFolderPtr folder)
                              {
                                  if (test(folder))
                                      names.push_back(mapi::displayName(folder));
                              });
        return names;
    }
    static std::vector<std::wstring> visible()
    {
        return visible([](const IMAPIFolderPtr&) { return true; });
    }
    /// Walks with a visitor that asks to stop in the folder of this name; gives what that throws, or what it visits.
    static std::wstring stoppedIn(const std::wstring& name)
    {
        return thrown(
            [&name]
            {
                std::ignore = visible(
                    [&name](const IMAPIFolderPtr& folder)
                    {
                        if (mapi::displayName(folder) == name)
                            utilities::requestStop();
                        return true;
                    });
            });
    }
};

const std::string tree =
    R"({"name": "A", "folders": [{"name": "A1", "hidden": true, "folders": [{"name": "below a hidden one"}]},
                                 {"name": "A2", "hidden": false, "folders": [{"name": "A21"}]}]},
       {"name": "B", "hidden": true}, {"name": "C"})";

// ---- What is walked ------------------------------------------------------------------------------------------------

TEST_F(FolderWalkTest, VisitsAFolderBeforeThoseBelowItAndThoseBeforeTheNextOne)
{
    logonToFolders(tree);
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"A", L"A2", L"A21", L"C"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: A", "subfolder found: C", "subfolder found: A2",
                                   "subfolder found: A21")); // a level is opened before any of it is visited
}

TEST_F(FolderWalkTest, WalksAllFoldersWithoutARestriction)
{
    logonToFolders(tree);
    EXPECT_EQ(mapi::getSubfolders(openStore().openIpmSubtree(), nullptr).size(), 3u);
}

TEST_F(FolderWalkTest, PassesRowsOverThatLackWhatAFolderNeeds)
{
    logonToFolders(R"({"name": "No identifier", "row": {"PR_ENTRYID": null}},
                      {"name": "Empty identifier", "row": {"PR_ENTRYID": ""}},
                      {"name": "No type", "row": {"PR_OBJECT_TYPE": null}},
                      {"name": "Message", "row": {"PR_OBJECT_TYPE": 5}},
                      {"name": "Nameless", "row": {"PR_DISPLAY_NAME_W": null}})");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"Nameless"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: "));
}

// One call reads a table: a provider that gives fewer rows is taken at its word.
TEST_F(FolderWalkTest, TakesTheRowsThatOneQueryGives)
{
    logonToFolders(R"({"name": "A"}, {"name": "B"}, {"name": "C"})", R"(, "rowsPerQuery": 2)");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"A", L"B"));
}

TEST_F(FolderWalkTest, HidesAFolderThatCannotBeOpenedOrOpensWithAWarning)
{
    logonToFolders(R"({"name": "Shut \"quoted\"", "folders": [{"name": "below"}]}, {"name": "Warning"},
                      {"name": "Open"})");
    const auto store = openStore();
    const auto subtree = store.openIpmSubtree();
    plan("IMAPIContainer::OpenEntry", MAPI_E_NO_ACCESS);
    plan("IMAPIContainer::OpenEntry", MAPI_W_ERRORS_RETURNED, 1, 2);
    const auto found = mapi::getSubfolders(subtree, nullptr);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(mapi::displayName(found[0]), L"Open");
    const std::string failed = "HRESULT logged: " + opener + ", line N: hr = 0x";
    EXPECT_THAT(log(),
                ElementsAre("subfolder found: Shut \"quoted\"",
                            failed + "80070005(OpenEntry failed for \"Shut \"quoted\"\")", "subfolder found: Warning",
                            failed + "40380(OpenEntry failed for \"Warning\")", "subfolder found: Open"));
}

TEST_F(FolderWalkTest, EndsWhenATableCannotBeHadOrRestricted)
{
    logonToFolders(tree);
    plan("IMAPIContainer::GetHierarchyTable", MAPI_E_CALL_FAILED, 1, 2);
    EXPECT_EQ(thrown([] { std::ignore = visible(); }),
              L"mapi::getHierarchyTable, line N: hr = 0x80004005(GetContentsTable)");
    clearPlans();
    plan("IMAPITable::Restrict", MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(thrown([] { std::ignore = visible(); }),
              L"mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)");
    plan("IMAPITable::Restrict", MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(visible().size(), 5u);
}

TEST_F(FolderWalkTest, PassesTheVisitorsException)
{
    logonToFolders(tree);
    EXPECT_THROW(std::ignore = visible([](const IMAPIFolderPtr&) -> bool { throw std::domain_error("visitor"); }),
                 std::domain_error);
    EXPECT_THROW(mapi::traverseFolders(openStore().openIpmSubtree(), nullptr, {}), std::bad_function_call);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(FolderWalkTest, DoesNothingForNull)
{
    EXPECT_THAT(mapi::getSubfolders({}, nullptr), IsEmpty());
    mapi::traverseFolders({}, nullptr, {});
}

// A folder that opens as null, which no provider should give, is one without a word.
TEST_F(FolderWalkTest, PassesANullSubfolderOver)
{
    const Mocked<MockFolder> folder;
    const Mocked<MockTable> table;
    ON_CALL(*folder, GetHierarchyTable(_, _)).WillByDefault(givesObject<1>(table));
    giveRows(table, {{Property::bytes(PR_ENTRYID, {1}), Property::number(PR_OBJECT_TYPE, 3)}});
    int visits = 0;
    mapi::traverseFolders(folder.pointer(), nullptr, [&visits](IMAPIFolderPtr) { ++visits; });
    EXPECT_EQ(visits, 1);
}

TEST_F(FolderWalkTest, FindsTheColumnsOfARowWhereverTheyStandAndLooksAtNoReportedType)
{
    const Mocked<MockFolder> folder;
    const Mocked<MockFolder> child;
    const Mocked<MockTable> table;
    ON_CALL(*folder, GetHierarchyTable(_, _)).WillByDefault(givesObject<1>(table));
    giveRows(table, {{Property::number(PR_DEPTH, 9), Property::number(PR_OBJECT_TYPE, 3),
                      Property::text(PR_DISPLAY_NAME_W, L"Friends"), Property::error(PR_PARENT_ENTRYID),
                      Property::bytes(PR_ENTRYID, {1, 2, 3})}});
    EXPECT_CALL(*folder, OpenEntry(3, _, _, MAPI_BEST_ACCESS, _, _))
        .WillOnce(testing::DoAll(testing::SetArgPointee<4>(static_cast<ULONG>(MAPI_MESSAGE)), givesObject<5>(child)));
    EXPECT_EQ(mapi::getSubfolders(folder.pointer(), nullptr).size(), 1u);
    EXPECT_THAT(log(), ElementsAre("subfolder found: Friends"));
}

// ---- Cancellation --------------------------------------------------------------------------------------------------

TEST_F(FolderWalkTest, IsCancelledBeforeTheTestForNull)
{
    utilities::requestStop();
    EXPECT_EQ(thrown([] { mapi::traverseFolders({}, nullptr, {}); }), L"mapi::traverseFolders: cancelled by request");
}

TEST_F(FolderWalkTest, IsCancelledByTheTableWhenAFolderHasSubfolders)
{
    logonToFolders(tree);
    EXPECT_EQ(stoppedIn(L"A"), L"mapi::Rowset::enumerate: cancelled by request");
}

TEST_F(FolderWalkTest, IsCancelledBetweenFoldersWhenAFolderHasNoSubfolders)
{
    logonToFolders(tree);
    EXPECT_EQ(stoppedIn(L"A21"), L"mapi::traverseFolders: cancelled by request");
}

TEST_F(FolderWalkTest, EndsAsUsualWhenStopIsRequestedInTheLastFolder)
{
    logonToFolders(R"({"name": "Last"})");
    const auto subtree = openStore().openIpmSubtree();
    std::vector<std::wstring> visited;
    mapi::traverseFolders(subtree, nullptr,
                          [&visited](IMAPIFolderPtr folder)
                          {
                              visited.push_back(mapi::displayName(folder));
                              if (visited.back() == L"Last")
                                  utilities::requestStop();
                          });
    EXPECT_EQ(visited.size(), 2u);
}

// The flag is set while the row is read, so behind the table's own test of it; also in a row that would be passed over.
TEST_F(FolderWalkTest, IsCancelledInARowBehindItsColumnsAndBeforeAnyCall)
{
    const Mocked<MockFolder> folder;
    const Mocked<MockTable> table;
    ON_CALL(*folder, GetHierarchyTable(_, _)).WillByDefault(givesObject<1>(table));
    EXPECT_CALL(*folder, OpenEntry(_, _, _, _, _, _)).Times(0);
    for (const LONG type : {3, 5})
    {
        const Properties row = {Property::bytes(PR_ENTRYID, {1, 2}), Property::number(PR_OBJECT_TYPE, type)};
        giveRows(table, {row});
        support::HeapWatch heap;
        EXPECT_CALL(*table, QueryRows(_, _, _))
            .WillOnce(
                [&row, &heap](LONG, ULONG, SRowSet** set)
                {
                    *set = makeRows({row});
                    heap.onAllocate = utilities::requestStop; // behind one step of a function and before the next
                    return S_OK;
                });
        EXPECT_EQ(thrown([&] { std::ignore = mapi::getSubfolders(folder.pointer(), nullptr); }),
                  std::wstring(opener.begin(), opener.end()) + L": cancelled by request");
        heap.onAllocate = nullptr;
        utilities::stopRequested = false;
    }
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Every call of a walk fails once, and once from then on ----------------------------------------------------------

class WalkFaultTest : public FolderWalkTest, public testing::WithParamInterface<unsigned>
{
};

// That nothing is held is seen at the end of each test.
TEST_P(WalkFaultTest, IsReportedAndLeavesNothingBehind)
{
    logonToFolders(R"({"name": "A", "class": "IPF.Contact", "folders": [{"name": "A1"}]},
                      {"name": "B", "messages": [{"class": "IPM.Contact"}]})");
    const IMAPIFolderPtr subtree = openStore().openIpmSubtree();
    const auto walk = [&subtree]
    {
        return visible([](const IMAPIFolderPtr& folder)
                       { return mapi::maybeContactFolder(folder) && !mapi::entryId(folder).empty(); }, subtree);
    };
    startJournal();
    const auto healthy = walk();
    EXPECT_THAT(healthy, ElementsAre(L"IPM_SUBTREE", L"A", L"A1", L"B"));
    std::map<std::string, unsigned> counts;
    for (const std::string& call : takeCalls())
    {
        if (call.starts_with("IMAPI"))
            ++counts[call.substr(0, call.find(' '))];
    }
    EXPECT_GT(counts.size(), 8u);

    for (const auto& [method, count] : counts)
    {
        for (unsigned call = 1; call <= count; ++call)
        {
            SCOPED_TRACE(method + " " + std::to_string(call));
            const std::size_t before = m_log.lines().size();
            plan(method, MAPI_E_CALL_FAILED, GetParam(), call);
            std::wstring failure;
            std::vector<std::wstring> found;
            try
            {
                found = walk();
            }
            catch (const utilities::exception& caught)
            {
                failure = caught.what();
            }
            clearPlans();
            const auto lines = m_log.lines();
            const bool reported =
                failure.find(L"80004005") != std::wstring::npos ||
                std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end(),
                            [](const std::string& line) { return line.find("80004005") != std::string::npos; });
            // A search that fails counts as found.
            EXPECT_EQ(reported, method != "IMAPITable::FindRow");
            if (!reported)
            {
                EXPECT_EQ(found, healthy);
            }
            EXPECT_EQ(walk(), healthy);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Faults, WalkFaultTest, testing::Values(1u, 0u),
                         [](const auto& times) { return times.param == 1 ? "Once" : "FromThenOn"; });
} // namespace

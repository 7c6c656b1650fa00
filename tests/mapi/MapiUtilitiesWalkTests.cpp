// The walk of MapiUtilities over a folder and all below it.
#include <algorithm>
#include <functional>
#include <stdexcept>

#include <gmock/gmock.h>

#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/Restriction.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::_;
using testing::AnyNumber;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

/// Gives the table, or the fault that is planned.
auto givesTable(const Mocked<MockTable>& table)
{
    return [give = givesObject<1>(table)](ULONG flags, IMAPITable** slot)
    {
        const HRESULT fault = interfaceFault();
        return fault < 0 ? fault : give(flags, slot);
    };
}

/// A folder of the tree below, with its table of subfolders and, without class, its table of messages.
struct Node
{
    Node(const std::wstring& displayName, EntryId entryId, const std::vector<Node*>& children, Properties more = {})
        : id(std::move(entryId)), name(displayName)
    {
        more.push_back(Property::bytes(PR_ENTRYID, id));
        more.push_back(Property::text(PR_DISPLAY_NAME_W, name));
        giveProperties(folder, more);
        std::vector<Properties> rows;
        for (const Node* const child : children)
            rows.push_back({Property::bytes(PR_ENTRYID, child->id), Property::text(PR_DISPLAY_NAME_W, child->name),
                            Property::number(PR_OBJECT_TYPE, 3)});
        giveRows(hierarchy, rows);
        EXPECT_CALL(*folder, GetHierarchyTable(_, _)).Times(AnyNumber()).WillRepeatedly(givesTable(hierarchy));
        EXPECT_CALL(*folder, GetContentsTable(_, _)).Times(AnyNumber()).WillRepeatedly(givesTable(contents));
        EXPECT_CALL(*hierarchy, Restrict(_, TBL_BATCH))
            .Times(AnyNumber())
            .WillRepeatedly([] { return interfaceFault(); });
        EXPECT_CALL(*folder, OpenEntry(_, _, _, _, _, _))
            .Times(AnyNumber())
            .WillRepeatedly(
                [children](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object) -> HRESULT
                {
                    if (const HRESULT fault = interfaceFault(); fault < 0)
                        return fault;
                    for (const Node* const child : children)
                    {
                        if (child->id != mapi::makeEntryId(size, bytes))
                            continue;
                        TestRuntime::current().note("open " + std::string(child->name.begin(), child->name.end()));
                        child->folder->AddRef();
                        *object = child->folder.get();
                        return S_OK;
                    }
                    return MAPI_E_NOT_FOUND;
                });
    }

    const EntryId id;
    const std::wstring name;
    const Mocked<MockFolder> folder;
    const Mocked<MockTable> hierarchy;
    const Mocked<MockTable> contents;
};

class TraverseFoldersTest : public MapiTest
{
protected:
    ~TraverseFoldersTest() override { expectNoReferences(); }

    void expectNoReferences()
    {
        for (const Node* const node : {&m_root, &m_a, &m_a1, &m_a2, &m_b})
        {
            EXPECT_EQ(node->folder->references(), 1) << testing::PrintToString(node->name);
            EXPECT_EQ(node->hierarchy->references(), 1) << testing::PrintToString(node->name);
            EXPECT_EQ(node->contents->references(), 1) << testing::PrintToString(node->name);
        }
    }

    void traverse(const mapi::FolderVisitor& visitor, SRestriction* restriction = nullptr)
    {
        mapi::traverseFolders(m_root.folder.pointer(), restriction, visitor);
    }
    mapi::FolderVisitor visitor()
    {
        return [this](IMAPIFolderPtr folder)
        {
            m_visited.push_back(mapi::displayName(folder));
        };
    }
    /// As `visitor`; asks to stop when it is in the folder of this name.
    mapi::FolderVisitor stoppingIn(const std::wstring& name)
    {
        return [this, name](IMAPIFolderPtr folder)
        {
            visitor()(folder);
            if (m_visited.back() == name)
                utilities::requestStop();
        };
    }

    Node m_a1{L"a1", {0, 11}, {}};
    Node m_a2{L"a2", {0, 12}, {}};
    Node m_b{L"b", {0, 2}, {}};
    Node m_a{L"a", {0, 1}, {&m_a1, &m_a2}};
    Node m_root{L"root", {9}, {&m_a, &m_b}};
    std::vector<std::wstring> m_visited;
};

TEST_F(TraverseFoldersTest, VisitsAFolderBeforeThoseBelowItAndThoseBeforeTheNextOne)
{
    traverse(visitor());
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a", L"a1", L"a2", L"b"));
    EXPECT_THAT(log(),
                ElementsAre("subfolder found: a", "subfolder found: b", "subfolder found: a1", "subfolder found: a2"));
}

TEST_F(TraverseFoldersTest, OpensAllFoldersOfALevelAtOnce)
{
    m_runtime.clearCalls();
    traverse([this](IMAPIFolderPtr) { m_runtime.note("visit"); });
    std::vector<std::string> order;
    for (const std::string& call : m_runtime.calls())
    {
        if (call == "visit" || call.starts_with("open"))
            order.push_back(call);
    }
    EXPECT_THAT(order,
                ElementsAre("visit", "open a", "open b", "visit", "open a1", "open a2", "visit", "visit", "visit"));
}

TEST_F(TraverseFoldersTest, HoldsTheFoldersOfALevelWhileItWalks)
{
    std::vector<std::wstring> held;
    traverse(
        [&](IMAPIFolderPtr folder)
        {
            if (mapi::displayName(folder) != L"a2")
                return;
            for (const Node* const node : {&m_a, &m_a1, &m_b})
            {
                if (node->folder->references() > 1)
                    held.push_back(node->name);
            }
        });
    EXPECT_THAT(held, ElementsAre(L"a", L"a1", L"b"));
}

TEST_F(TraverseFoldersTest, PutsTheRestrictionOnEachTableOfSubfolders)
{
    SRestriction filter{};
    for (const Node* const node : {&m_root, &m_a, &m_a1, &m_a2, &m_b})
        EXPECT_CALL(*node->hierarchy, Restrict(&filter, TBL_BATCH)).WillOnce(Return(S_OK));
    traverse(visitor(), &filter);
    EXPECT_EQ(m_visited.size(), 5u);
}

TEST_F(TraverseFoldersTest, DoesNothingForNull)
{
    mapi::traverseFolders({}, nullptr, visitor());
    mapi::traverseFolders({}, nullptr, {});
    EXPECT_THAT(m_visited, IsEmpty());
}

TEST_F(TraverseFoldersTest, PassesANullSubfolderOver)
{
    EXPECT_CALL(*m_root.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(Return(S_OK)) // and gives no folder
        .WillOnce(givesObject<5>(m_b.folder));
    traverse(visitor());
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"b"));
}

TEST_F(TraverseFoldersTest, HidesAFolderThatCannotBeOpenedAndWhatIsBelowIt)
{
    EXPECT_CALL(*m_root.folder, OpenEntry(_, _, _, _, _, _))
        .WillOnce(Return(MAPI_E_NO_ACCESS))
        .WillOnce(givesObject<5>(m_b.folder));
    traverse(visitor());
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"b"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: a",
                                   "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: "
                                   "hr = 0x80070005(OpenEntry failed for \"a\")",
                                   "subfolder found: b"));
}

TEST_F(TraverseFoldersTest, GoesOnWhenTheRowsOfOneFolderCannotBeRead)
{
    EXPECT_CALL(*m_a.hierarchy, QueryRows(_, _, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    traverse(visitor());
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a", L"b"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: a", "subfolder found: b",
                                   "An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(TraverseFoldersTest, EndsWhenAHierarchyTableCannotBeHad)
{
    EXPECT_CALL(*m_a.folder, GetHierarchyTable(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(thrown([this] { traverse(visitor()); }),
              L"mapi::getHierarchyTable, line N: hr = 0x80004005(GetContentsTable)");
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a"));
}

TEST_F(TraverseFoldersTest, PassesTheVisitorsException)
{
    const auto failing = [this](IMAPIFolderPtr folder)
    {
        visitor()(folder);
        if (m_visited.back() == L"a1")
            throw std::domain_error("visitor");
    };
    EXPECT_THROW(traverse(failing), std::domain_error);
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a", L"a1"));
}

TEST_F(TraverseFoldersTest, RaisesTheBadCallOfAnEmptyVisitor)
{
    EXPECT_THROW(traverse({}), std::bad_function_call);
    EXPECT_THAT(log(), IsEmpty()); // not even the tables are asked for
}

TEST_F(TraverseFoldersTest, IsCancelledBeforeTheTestForNull)
{
    utilities::stopRequested = true;
    EXPECT_EQ(thrown([this] { mapi::traverseFolders({}, nullptr, visitor()); }),
              L"mapi::traverseFolders: cancelled by request");
    EXPECT_EQ(thrown([this] { traverse(visitor()); }), L"mapi::traverseFolders: cancelled by request");
    EXPECT_THAT(m_visited, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(TraverseFoldersTest, IsCancelledByTheTableWhenAFolderHasSubfolders)
{
    EXPECT_EQ(thrown([this] { traverse(stoppingIn(L"a")); }), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a"));
}

TEST_F(TraverseFoldersTest, IsCancelledBetweenFoldersWhenAFolderHasNoSubfolders)
{
    EXPECT_EQ(thrown([this] { traverse(stoppingIn(L"a1")); }), L"mapi::traverseFolders: cancelled by request");
    EXPECT_THAT(m_visited, ElementsAre(L"root", L"a", L"a1"));
}

TEST_F(TraverseFoldersTest, EndsAsUsualWhenStopIsRequestedInTheLastFolder)
{
    traverse(stoppingIn(L"b"));
    EXPECT_EQ(m_visited.size(), 5u);
}

// ---- Every call of a walk fails once, and once from then on ----------------------------------------------------------

class WalkFaultTest : public TraverseFoldersTest, public testing::WithParamInterface<bool>
{
protected:
    /// What the agent does with a store: walk the visible folders and ask each whether it holds contacts.
    std::vector<EntryId> walk()
    {
        std::vector<EntryId> found;
        const auto filter = mapi::Restriction::build(mapi::Restriction::exists(PR_ATTR_HIDDEN));
        mapi::traverseFolders(m_root.folder.pointer(), filter.get(),
                              [&found](IMAPIFolderPtr folder)
                              {
                                  if (mapi::maybeContactFolder(folder))
                                      found.push_back(mapi::entryId(folder));
                              });
        return found;
    }
};

TEST_P(WalkFaultTest, LeavesNothingBehindAndIsReported)
{
    giveProperties(m_a.folder,
                   {Property::text(PR_CONTAINER_CLASS_W, L"IPF.Contact"), Property::bytes(PR_ENTRYID, m_a.id)});
    for (const Node* const node : {&m_root, &m_a1, &m_a2, &m_b})
        giveRows(node->contents, {});
    giveRows(m_b.contents, {{Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")}});
    EXPECT_CALL(*m_b.contents, FindRow(_, _, _)).Times(AnyNumber()).WillRepeatedly([] { return interfaceFault(); });
    const auto healthy = walk();
    ASSERT_THAT(healthy, ElementsAre(m_root.id, m_a.id, m_a1.id, m_a2.id, m_b.id));
    constexpr std::size_t healthyLines = 4;
    std::size_t linesBefore = log().size();
    EXPECT_EQ(linesBefore, healthyLines);

    unsigned calls = 0;
    unsigned unreported = 0;
    for (bool met = true; met; ++calls)
    {
        SCOPED_TRACE(calls);
        m_runtime.plan(TestRuntime::Call::Interface, MAPI_E_CALL_FAILED, calls, GetParam());
        bool threw = false;
        std::vector<EntryId> found;
        try
        {
            found = walk();
        }
        catch (const utilities::exception&)
        {
            threw = true;
        }
        met = m_runtime.plansMet() != 0;
        m_runtime.clearPlans();
        const auto lines = m_log.lines();
        const bool reported =
            threw || std::any_of(lines.begin() + static_cast<std::ptrdiff_t>(linesBefore), lines.end(),
                                 [](const std::string& line) { return line.find("80004005") != std::string::npos; });
        if (met && !reported)
        {
            ++unreported;
            EXPECT_EQ(found, healthy); // only a search that fails goes by unreported: it counts as found
        }
        if (!met)
        {
            EXPECT_EQ(found, healthy);
        }
        expectNoReferences();
        EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
        EXPECT_EQ(walk(), healthy);
        linesBefore = lines.size() + healthyLines;
        if (HasFailure())
            break;
    }
    EXPECT_GT(calls, 40u);
    EXPECT_EQ(unreported, GetParam() ? 0u : 1u);
}

INSTANTIATE_TEST_SUITE_P(Faults, WalkFaultTest, testing::Bool(),
                         [](const auto& fault) { return fault.param ? "FromThenOn" : "Once"; });
} // namespace

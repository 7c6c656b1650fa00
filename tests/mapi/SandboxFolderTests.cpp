// The finding of contact folders and the small reads, on the sandbox.
#include <algorithm>

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "agent/mapi/MapiUtilities.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/Restriction.h"
#include "agent/mapi/Rowset.h"
#include "tests/support/sandbox/SandboxMapiTest.h"
#include "utilities/StopRequested.h"

namespace
{
using mapi::Restriction;
using testing::ElementsAre;
using testing::IsEmpty;

class SandboxFolderTest : public tests::SandboxMapiTest
{
protected:
    /// A mailbox with one store and these folders.
    void logonToFolders(const std::string& folders, const std::string& more = "")
    {
        logon(R"({"stores": [{"name": "Mailbox", "folders": [)" + folders + "]}]" + more + "}");
    }

    /// The names of the folders that are not hidden and for which `test` holds, as a walk meets them.
    template <class Test>
    std::vector<std::wstring> visible(Test test)
    {
        const auto filter = Restriction::build(
            Restriction::anyOf({Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN)),
                                Restriction::equals(mapi::PropValue::makeBoolean(PR_ATTR_HIDDEN, false))}));
        std::vector<std::wstring> names;
        mapi::traverseFolders(openStore().openIpmSubtree(), filter.get(),
                              [&](IMAPIFolderPtr folder)
                              {
                                  if (test(folder))
                                      names.push_back(mapi::displayName(folder));
                              });
        return names;
    }
    std::vector<std::wstring> visible()
    {
        return visible([](const IMAPIFolderPtr&) { return true; });
    }
};

TEST_F(SandboxFolderTest, WalksTheVisibleFolders)
{
    logonToFolders(R"({"name": "A", "folders": [
                          {"name": "A1", "hidden": true, "folders": [{"name": "below a hidden one"}]},
                          {"name": "A2", "hidden": false, "folders": [{"name": "A21"}]}]},
                      {"name": "B", "hidden": true},
                      {"name": "C"})");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"A", L"A2", L"A21", L"C"));
    EXPECT_THAT(log(),
                ElementsAre("subfolder found: A", "subfolder found: C", "subfolder found: A2", "subfolder found: A21"));
}

TEST_F(SandboxFolderTest, WalksOnPastAFolderThatCannotBeOpened)
{
    logonToFolders(R"({"name": "Shut", "openError": "0x80070005", "folders": [{"name": "below"}]},
                      {"name": "Warning", "openError": "MAPI_W_ERRORS_RETURNED"},
                      {"name": "Open"})");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"Open"));
    const std::string failed = "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: hr = 0x";
    EXPECT_THAT(log(), ElementsAre("subfolder found: Shut", failed + "80070005(OpenEntry failed for \"Shut\")",
                                   "subfolder found: Warning", failed + "40380(OpenEntry failed for \"Warning\")",
                                   "subfolder found: Open"));
}

TEST_F(SandboxFolderTest, PassesRowsOverThatLackWhatAFolderNeeds)
{
    logonToFolders(R"({"name": "No identifier", "row": {"PR_ENTRYID": null}},
                      {"name": "No type", "row": {"PR_OBJECT_TYPE": null}},
                      {"name": "Message", "row": {"PR_OBJECT_TYPE": 5}},
                      {"name": "Nameless", "row": {"PR_DISPLAY_NAME_W": null}})");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"Nameless"));
    EXPECT_THAT(log(), ElementsAre("subfolder found: "));
}

TEST_F(SandboxFolderTest, KnowsContactFoldersByBothTests)
{
    logonToFolders(R"({"name": "class", "class": "IPF.Contact"},
                      {"name": "class, other messages", "class": "IPF.Contact", "messages": [{"class": "IPM.Note"}]},
                      {"name": "case", "class": "IPF.CONTACT", "messages": [{}]},
                      {"name": "dotted", "class": "IPF.Contact.Sub", "messages": [{}]},
                      {"name": "other class", "class": "IPF.Note", "messages": [{}]},
                      {"name": "empty class", "properties": {"PR_CONTAINER_CLASS_W": ""}, "messages": [{}]},
                      {"name": "none, empty"},
                      {"name": "none, a contact", "messages": [{"class": "IPM.Note"}, {"class": "IPM.Contact"}]},
                      {"name": "none, no contact", "messages": [{"class": "IPM.Note"}, {"class": "IPM.Contact.Sub"},
                                                                {"class": "IPM.CONTACT"}, {"class": null}]})");
    EXPECT_THAT(visible([](const IMAPIFolderPtr& folder) { return mapi::isContactFolder(folder); }),
                ElementsAre(L"class", L"class, other messages"));
    EXPECT_THAT(visible([](const IMAPIFolderPtr& folder) { return mapi::maybeContactFolder(folder); }),
                ElementsAre(L"IPM_SUBTREE", L"class", L"class, other messages", L"none, empty", L"none, a contact"));
}

TEST_F(SandboxFolderTest, TakesAFolderThatCannotBeReadForNone)
{
    logonToFolders(R"({"name": "class", "properties": {"PR_CONTAINER_CLASS_W": {"error": "0x8007000E"}}},
                      {"name": "contents", "results": {"GetContentsTable": "0x80070005"}},
                      {"name": "count", "results": {"ContentsTable.GetRowCount": "0x80040102"}},
                      {"name": "search", "messages": [{"class": "IPM.Note"}],
                       "results": {"ContentsTable.FindRow": "0x80040117"}})");
    const auto maybe = [](const IMAPIFolderPtr& folder)
    {
        return mapi::maybeContactFolder(folder);
    };
    EXPECT_THAT(visible(maybe), ElementsAre(L"IPM_SUBTREE", L"search"));
    auto lines = log();
    std::erase_if(lines, [](const std::string& text) { return text.starts_with("subfolder found: "); });
    EXPECT_THAT(lines, ElementsAre("An exception has been caught in mapi::isContactFolder : "
                                   "mapi::PropValue::read, line N: hr = 0x8007000e(MAPI call failed)",
                                   "An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)",
                                   "An exception has been caught in mapi::maybeContactFolder : "
                                   "mapi::tableRowCount, line N: hr = 0x80040102(MAPI call failed)"));
}

TEST_F(SandboxFolderTest, ReadsWhatAnObjectLacks)
{
    logonToFolders(R"({"name": "Bare", "entryId": "00000000C1",
                       "row": {"PR_ENTRYID": "00000000C1", "PR_OBJECT_TYPE": 3, "PR_DISPLAY_NAME_W": "Bare"},
                       "properties": {"PR_ENTRYID": null, "PR_OBJECT_TYPE": null, "PR_DISPLAY_NAME_W": null,
                                      "PR_PARENT_ENTRYID": null}})");
    const auto folders = mapi::getSubfolders(openStore().openIpmSubtree(), nullptr);
    ASSERT_EQ(folders.size(), 1u);
    const IMAPIFolderPtr& bare = folders[0];
    EXPECT_EQ(mapi::displayName(bare), L"(cannot resolve)");
    EXPECT_FALSE(mapi::isFolder(bare));
    EXPECT_FALSE(mapi::hasProperty(bare, PR_PARENT_ENTRYID));
    const std::wstring missing = L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_EQ(thrown([&] { (void)mapi::entryId(bare); }), missing);
    EXPECT_EQ(thrown([&] { (void)mapi::parentEntryId(bare); }), missing);
    const std::string rethrown = ": Exception has been caught and will be rethrown: "
                                 "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_THAT(log(),
                ElementsAre("subfolder found: Bare", "mapi::entryId" + rethrown, "mapi::parentEntryId" + rethrown));
}

TEST_F(SandboxFolderTest, ReadsWhatAnswersAsSomethingElse)
{
    logonToFolders(R"({"name": "Odd", "row": {"PR_OBJECT_TYPE": 3}, "properties": {
                          "PR_OBJECT_TYPE": {"answersAs": "0x0FFE000B", "value": true},
                          "PR_COMMENT_W": {"error": "0x8007000E"},
                          "PR_PARENT_ENTRYID": {"answersAs": "0x0E090003", "value": 5}}})");
    const IMAPIFolderPtr odd = find(openStore(), {L"Odd"});
    EXPECT_TRUE(mapi::hasProperty(odd, PR_OBJECT_TYPE));
    EXPECT_FALSE(mapi::isFolder(odd));
    EXPECT_EQ(thrown([&] { (void)mapi::readText(odd, PR_COMMENT_W); }),
              L"mapi::PropValue::read, line N: hr = 0x8007000e(MAPI call failed)");
    EXPECT_EQ(thrown([&] { (void)mapi::parentEntryId(odd); }),
              L"mapi::impl::PropValueAccessorT<258,0>::read: Incompatible property type. "
              L"proptag=0xe090003provided proptype=3, expected proptype=102");
}

// One call reads a table: a provider that gives fewer rows is taken at its word.
TEST_F(SandboxFolderTest, TakesTheRowsThatOneQueryGives)
{
    logonToFolders(R"({"name": "A"}, {"name": "B"}, {"name": "C"})", R"(, "rowsPerQuery": 2)");
    EXPECT_THAT(visible(), ElementsAre(L"IPM_SUBTREE", L"A", L"B"));
}

TEST_F(SandboxFolderTest, ReadsALargeFolderInOneBatch)
{
    logonToFolders(R"({"name": "Contacts", "class": "IPF.Contact", "generate": {"contacts": 5000}})");
    const auto ids = messageIds(find(openStore(), {L"Contacts"}));
    EXPECT_EQ(ids.size(), 5000u);
}

TEST_F(SandboxFolderTest, LeavesNothingBehindWhenItIsCancelled)
{
    logonToFolders(R"({"name": "A", "folders": [{"name": "A1"}, {"name": "A2"}]}, {"name": "B"})");
    EXPECT_EQ(thrown(
                  [this]
                  {
                      (void)visible(
                          [](const IMAPIFolderPtr& folder)
                          {
                              if (mapi::displayName(folder) == L"A1")
                                  utilities::requestStop();
                              return true;
                          });
                  }),
              L"mapi::traverseFolders: cancelled by request");
    EXPECT_EQ(m_sandbox.liveBlocks(), 0);
}

// ---- Each call of a folder fails -------------------------------------------------------------------------------------

class SandboxFaultTest : public SandboxFolderTest, public testing::WithParamInterface<std::string>
{
};

// That nothing is held is seen at the end of each test.
TEST_P(SandboxFaultTest, WalkLeavesNothingBehind)
{
    const std::string faults = R"("results": {")" + GetParam() + R"(": "0x80004005"})";
    logonToFolders(R"({"name": "A", "messages": [{"class": "IPM.Note"}], )" + faults +
                   R"(, "folders": [{"name": "A1"}]}, {"name": "B", )" + faults + "}");
    std::vector<std::wstring> found;
    try
    {
        found = visible([](const IMAPIFolderPtr& folder)
                        { return mapi::maybeContactFolder(folder) && !mapi::entryId(folder).empty(); });
    }
    catch (const utilities::exception& thrown)
    {
        EXPECT_NE(thrown.what().find(L"hr = 0x80004005"), std::wstring::npos) << testing::PrintToString(thrown.what());
        return;
    }
    // Tolerated, with a line in the log; or a search that fails, which counts as found.
    const auto lines = log();
    const bool logged =
        std::any_of(lines.begin(), lines.end(),
                    [](const std::string& text) { return text.find("hr = 0x80004005") != std::string::npos; });
    EXPECT_EQ(logged, GetParam() != "ContentsTable.FindRow");
    EXPECT_THAT(found, testing::Contains(L"IPM_SUBTREE"));
}

INSTANTIATE_TEST_SUITE_P(Calls, SandboxFaultTest,
                         testing::Values("GetProps", "GetPropList", "OpenEntry", "GetContentsTable",
                                         "GetHierarchyTable", "HierarchyTable.Restrict", "HierarchyTable.SetColumns",
                                         "HierarchyTable.GetRowCount", "HierarchyTable.QueryRows",
                                         "ContentsTable.GetRowCount", "ContentsTable.FindRow"),
                         [](const auto& call)
                         {
                             std::string name = call.param;
                             std::erase(name, '.');
                             return name;
                         });
} // namespace

// The folders of a store: which are visited, in which order, and which count as contact folders.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
using testing::ElementsAre;

class AgentFoldersTest : public EndToEndTest
{
protected:
    /// A mailbox of one default store, "Mailbox", with these folders, and more keys of the store.
    static std::string mailbox(const std::string& folders, const std::string& more = "")
    {
        return R"({"stores": [{"name": "Mailbox", "default": true, "folders": [)" + folders + "]" +
               (more.empty() ? "" : ", " + more) + "}]}";
    }

    /// The log of a whole run with these records between the start of the snapshot and its count, and one message.
    Records wholeLog(const Records& reading, std::size_t contacts, const std::string& message) const
    {
        Records records = {storeFound("Mailbox", 1, true), "createSnapshot for \"Mailbox\" started"};
        records.insert(records.end(), reading.begin(), reading.end());
        records.push_back("createSnapshot for \"Mailbox\": " + std::to_string(contacts) + " contact(s) found");
        if (contacts != 0)
            records.push_back("Sending data:\n" + message);
        records.push_back("Subscribe to Mailbox");
        return logOfClosedWindow(records);
    }

    /// Runs the agent on this mailbox; it must read the store as told, and send these lines in one message, or nothing.
    void expectLines(const std::string& json, const Records& reading, const std::vector<std::string>& contacts)
    {
        std::string message = "2;snapshot;contact;0;1";
        for (const std::string& line : contacts)
            message += "\n" + line;
        const AgentRun run = runUntilSubscribed(json, "Mailbox");
        EXPECT_EQ(run.exitValue, 0U);
        EXPECT_EQ(run.messages, std::vector<std::string>(contacts.empty() ? 0 : 1, message));
        EXPECT_EQ(run.log, wholeLog(reading, contacts.size(), message));
        EXPECT_EQ(run.report, nothingHeld);
    }

    /// Runs the agent on this mailbox; the reading of the store must end the worker, with these records.
    void expectEndOfWorker(const std::string& json, const Records& reading)
    {
        serveHost();
        const AgentRun run = runUntilWorkerEnds(json);
        Records records = {storeFound("Mailbox", 1, true), "createSnapshot for \"Mailbox\" started"};
        records.insert(records.end(), reading.begin(), reading.end());
        EXPECT_EQ(run.exitValue, 0U);
        EXPECT_THAT(run.messages, ElementsAre());
        EXPECT_EQ(run.log, logOfEndedWorker(records));
        EXPECT_EQ(run.report, nothingHeld);
    }
};

TEST_F(AgentFoldersTest, WithAClassCountByThatClassAlone)
{
    expectLines(mailbox(R"(
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]},
        {"name": "Notes in a contact folder", "class": "IPF.Contact",
         "messages": [{"class": "IPM.StickyNote", "displayName": "2"}]},
        {"name": "Contacts in a note folder", "class": "IPF.Note", "messages": [{"displayName": "3"}]},
        {"name": "Further part", "class": "IPF.Contact.X", "messages": [{"displayName": "4"}]},
        {"name": "Lower case", "class": "ipf.contact", "messages": [{"displayName": "5"}]},
        {"name": "Upper case", "class": "IPF.CONTACT", "messages": [{"displayName": "6"}]},
        {"name": "Beginning", "class": "IPF.Contac", "messages": [{"displayName": "7"}]},
        {"name": "Empty class", "class": "", "messages": [{"displayName": "8"}]},
        {"name": "Empty folder", "class": "IPF.Contact"})"),
                {"subfolder found: Contacts", "subfolder found: Notes in a contact folder",
                 "subfolder found: Contacts in a note folder", "subfolder found: Further part",
                 "subfolder found: Lower case", "subfolder found: Upper case", "subfolder found: Beginning",
                 "subfolder found: Empty class", "subfolder found: Empty folder"},
                {namedLine("1", 1, 3, 1), namedLine("2", 1, 4, 2)});
}

TEST_F(AgentFoldersTest, WithoutAClassCountByTheirMessages)
{
    expectLines(mailbox(R"(
        {"name": "Mixed", "messages": [{"class": "IPM.Note", "displayName": "1"}, {"displayName": "2"},
                                       {"class": null, "displayName": "3"}]},
        {"name": "Mail", "messages": [{"class": "IPM.Note", "displayName": "4"}]},
        {"name": "Further part", "messages": [{"class": "IPM.Contact.Custom", "displayName": "5"}]},
        {"name": "Other case", "messages": [{"class": "IPM.CONTACT", "displayName": "6"}]},
        {"name": "No message class", "messages": [{"class": null, "displayName": "7"}]},
        {"name": "Empty"})"),
                {"subfolder found: Mixed", "subfolder found: Mail", "subfolder found: Further part",
                 "subfolder found: Other case", "subfolder found: No message class", "subfolder found: Empty"},
                {namedLine("1", 1, 3, 1), namedLine("2", 1, 3, 2), namedLine("3", 1, 3, 3)});
}

TEST_F(AgentFoldersTest, AreVisitedDepthFirstEachBeforeThoseBelowIt)
{
    expectLines(mailbox(R"(
        {"name": "A", "class": "IPF.Contact", "messages": [{"displayName": "a"}], "folders": [
            {"name": "A1", "class": "IPF.Note", "folders": [
                {"name": "A1x", "class": "IPF.Contact", "messages": [{"displayName": "a1x"}]}]},
            {"name": "A2", "class": "IPF.Contact", "messages": [{"displayName": "a2"}]}]},
        {"name": "B", "class": "IPF.Contact", "messages": [{"displayName": "b"}], "folders": [
            {"name": "B1", "class": "IPF.Contact", "messages": [{"displayName": "b1"}]}]})",
                        R"("ipmSubtree": {"messages": [{"displayName": "top"}]})"),
                {"subfolder found: A", "subfolder found: B", "subfolder found: A1", "subfolder found: A2",
                 "subfolder found: A1x", "subfolder found: B1"},
                {namedLine("top", 1, ipmSubtree, 1), namedLine("a", 1, 3, 2), namedLine("a1x", 1, 5, 3),
                 namedLine("a2", 1, 6, 4), namedLine("b", 1, 7, 5), namedLine("b1", 1, 8, 6)});
}

TEST_F(AgentFoldersTest, ThatAreHiddenHideWhatLiesBelowThem)
{
    expectLines(mailbox(R"(
        {"name": "Hidden", "class": "IPF.Contact", "hidden": true, "messages": [{"displayName": "1"}], "folders": [
            {"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]},
        {"name": "Shown", "class": "IPF.Contact", "hidden": false, "messages": [{"displayName": "3"}], "folders": [
            {"name": "Hidden too", "class": "IPF.Contact", "hidden": true, "messages": [{"displayName": "4"}]}]})"),
                {"subfolder found: Shown"}, {namedLine("3", 1, 5, 3)});
}

TEST_F(AgentFoldersTest, AreSeenBelowAHiddenIpmSubtree)
{
    expectLines(mailbox(R"({"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]})",
                        R"("ipmSubtree": {"hidden": true})"),
                {"subfolder found: Contacts"}, {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, OutsideTheIpmSubtreeAreNotSeen)
{
    expectLines(mailbox(R"({"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]})",
                        R"("root": {"messages": [{"displayName": "2"}]}, "rootFolders": [
                              {"name": "Common Views", "class": "IPF.Contact", "messages": [{"displayName": "3"}]}])"),
                {"subfolder found: Contacts"}, {namedLine("1", 1, 3, 2)}); // the root's message is number 1
}

TEST_F(AgentFoldersTest, ThatCannotBeOpenedHideOnlyWhatLiesBelowThem)
{
    expectLines(mailbox(R"(
        {"name": "Closed", "class": "IPF.Contact", "openError": "0x80070005", "messages": [{"displayName": "1"}],
         "folders": [{"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]},
        {"name": "Warning", "class": "IPF.Contact", "openError": "0x00040380", "messages": [{"displayName": "3"}]},
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "4"}]})"),
                {"subfolder found: Closed",
                 "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: "
                 "hr = 0x80070005(OpenEntry failed for \"Closed\")",
                 "subfolder found: Warning",
                 "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: "
                 "hr = 0x40380(OpenEntry failed for \"Warning\")",
                 "subfolder found: Contacts"},
                {namedLine("4", 1, 6, 4)});
}

TEST_F(AgentFoldersTest, WhoseRowsLackColumnsArePassedOverButForTheName)
{
    expectLines(mailbox(R"(
        {"name": "No identifier", "class": "IPF.Contact", "row": {"PR_ENTRYID": null},
         "messages": [{"displayName": "1"}]},
        {"name": "No type", "class": "IPF.Contact", "row": {"PR_OBJECT_TYPE": null}, "messages": [{"displayName": "2"}]},
        {"name": "No folder", "class": "IPF.Contact", "row": {"PR_OBJECT_TYPE": 5}, "messages": [{"displayName": "3"}]},
        {"name": "Unreadable type", "class": "IPF.Contact", "row": {"PR_OBJECT_TYPE": {"error": "0x8007000E"}},
         "messages": [{"displayName": "4"}]},
        {"name": "No name", "class": "IPF.Contact", "row": {"PR_DISPLAY_NAME_W": null},
         "messages": [{"displayName": "5"}]})"),
                {"subfolder found: "}, {namedLine("5", 1, 7, 5)});
}

TEST_F(AgentFoldersTest, ThatDoNotTellTheirPropertiesAreNoContactFolders)
{
    expectLines(mailbox(R"(
        {"name": "Silent", "class": "IPF.Contact", "results": {"GetPropList": "0x80070005"},
         "messages": [{"displayName": "1"}], "folders": [
            {"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]})"),
                {"subfolder found: Silent",
                 "An exception has been caught in mapi::maybeContactFolder : "
                 "mapi::hasProperty, line N: hr = 0x80070005(MAPI call failed)",
                 "subfolder found: Below"},
                {namedLine("2", 1, 4, 2)});
}

TEST_F(AgentFoldersTest, WithAClassThatCannotBeReadAreNoContactFolders)
{
    expectLines(mailbox(R"(
        {"name": "Unreadable", "properties": {"PR_CONTAINER_CLASS_W": {"error": "0x8007000E"}},
         "messages": [{"displayName": "1"}]},
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "2"}]})"),
                {"subfolder found: Unreadable", "subfolder found: Contacts",
                 "An exception has been caught in mapi::isContactFolder : "
                 "mapi::PropValue::read, line N: hr = 0x8007000e(MAPI call failed)"},
                {namedLine("2", 1, 4, 2)});
}

TEST_F(AgentFoldersTest, WithoutAClassWhoseContentsCannotBeHadAreNoContactFolders)
{
    expectLines(mailbox(R"(
        {"name": "Closed", "results": {"GetContentsTable": "0x80070005"}, "messages": [{"displayName": "1"}]},
        {"name": "Uncounted", "results": {"ContentsTable.GetRowCount": "0x80040115"},
         "messages": [{"displayName": "2"}]})"),
                {"subfolder found: Closed", "subfolder found: Uncounted",
                 "An exception has been caught in mapi::maybeContactFolder : "
                 "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)",
                 "An exception has been caught in mapi::maybeContactFolder : "
                 "mapi::tableRowCount, line N: hr = 0x80040115(MAPI call failed)"},
                {});
}

TEST_F(AgentFoldersTest, WithoutAClassThatCannotBeSearchedAreContactFolders)
{
    expectLines(mailbox(R"(
        {"name": "Unsearched", "results": {"ContentsTable.FindRow": "MAPI_E_TOO_COMPLEX"},
         "messages": [{"class": "IPM.Note", "displayName": "1"}]})"),
                {"subfolder found: Unsearched"}, {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, WhoseContentsCannotBeReadAreEmpty)
{
    expectLines(mailbox(R"(
        {"name": "Columns", "class": "IPF.Contact", "results": {"ContentsTable.SetColumns": "0x80040102"},
         "messages": [{"displayName": "1"}]},
        {"name": "Count", "class": "IPF.Contact", "results": {"ContentsTable.GetRowCount": "0x80040115"},
         "messages": [{"displayName": "2"}]},
        {"name": "Rows", "class": "IPF.Contact", "results": {"ContentsTable.QueryRows": "MAPI_E_NOT_ENOUGH_MEMORY"},
         "messages": [{"displayName": "3"}]})"),
                {"subfolder found: Columns", "subfolder found: Count", "subfolder found: Rows",
                 "An exception has been caught in mapi::Rowset::enumerate : "
                 "mapi::Rowset::enumerate, line N: hr = 0x80040102(MAPI call failed)",
                 "An exception has been caught in mapi::Rowset::enumerate : "
                 "mapi::tableRowCount, line N: hr = 0x80040115(MAPI call failed)",
                 "An exception has been caught in mapi::Rowset::enumerate : "
                 "mapi::Rowset::enumerate, line N: hr = 0x8007000e(MAPI call failed)"},
                {});
}

TEST_F(AgentFoldersTest, WhoseSubfoldersCannotBeReadHaveNone)
{
    expectLines(mailbox(R"(
        {"name": "Contacts", "class": "IPF.Contact", "results": {"HierarchyTable.QueryRows": "0x80040115"},
         "messages": [{"displayName": "1"}], "folders": [
            {"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]})"),
                {"subfolder found: Contacts", "An exception has been caught in mapi::Rowset::enumerate : "
                                              "mapi::Rowset::enumerate, line N: hr = 0x80040115(MAPI call failed)"},
                {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, AreReadInOneBatchHoweverShort)
{
    const std::string folders = R"({"name": "A", "class": "IPF.Contact", "messages": [
                                        {"displayName": "1"}, {"displayName": "2"}, {"displayName": "3"}]},
                                   {"name": "B", "class": "IPF.Contact", "messages": [{"displayName": "4"}]},
                                   {"name": "C", "class": "IPF.Contact", "messages": [{"displayName": "5"}]})";
    expectLines(R"({"rowsPerQuery": 2, "stores": [{"name": "Mailbox", "default": true, "folders": [)" + folders +
                    "]}]}",
                {"subfolder found: A", "subfolder found: B"},
                {namedLine("1", 1, 3, 1), namedLine("2", 1, 3, 2), namedLine("4", 1, 4, 4)});
}

TEST_F(AgentFoldersTest, EndTheWorkerWhenTheirHierarchyTableCannotBeHad)
{
    expectEndOfWorker(mailbox(R"(
        {"name": "Closed", "class": "IPF.Contact", "results": {"GetHierarchyTable": "0x80070005"},
         "messages": [{"displayName": "1"}]})"),
                      {"subfolder found: Closed",
                       "An exception has been caught in AsyncMapiHelper::run : "
                       "mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)"});
}

TEST_F(AgentFoldersTest, EndTheWorkerWhenTheirHierarchyTableCannotBeRestricted)
{
    expectEndOfWorker(mailbox(R"(
        {"name": "Odd", "class": "IPF.Contact", "results": {"HierarchyTable.Restrict": "MAPI_E_TOO_COMPLEX"}})"),
                      {"subfolder found: Odd", "An exception has been caught in AsyncMapiHelper::run : "
                                               "mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)"});
}

TEST_F(AgentFoldersTest, EndTheWorkerWhenAContactFoldersContentsTableCannotBeHad)
{
    expectEndOfWorker(mailbox(R"(
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]},
        {"name": "Closed", "class": "IPF.Contact", "results": {"GetContentsTable": "0x80070005"}})"),
                      {"subfolder found: Contacts", "subfolder found: Closed",
                       "An exception has been caught in AsyncMapiHelper::run : "
                       "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)"});
}
} // namespace
} // namespace endtoend

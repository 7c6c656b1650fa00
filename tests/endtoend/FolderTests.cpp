// The folders of a store: which are visited, in which order, and which count as contact folders.
#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
const std::string rowsetFailed = "mapi::Rowset::enumerate";
const std::string judgingFailed = "mapi::maybeContactFolder";

Records found(std::initializer_list<std::string_view> folders)
{
    Records records;
    for (const std::string_view folder : folders)
        records.push_back("subfolder found: " + std::string(folder));
    return records;
}

class AgentFoldersTest : public EndToEndTest
{
protected:
    /// A mailbox of one default store, "Mailbox", with these folders, and more keys of the store and of the mailbox.
    static std::string mailbox(const std::string& folders, const std::string& moreOfStore = "",
                               const std::string& more = "")
    {
        return R"({"stores": [{"name": "Mailbox", "default": true, "folders": [)" + folders + "]" +
               (moreOfStore.empty() ? "" : ", " + moreOfStore) + "}]" + (more.empty() ? "" : ", " + more) + "}";
    }

    /// Runs the agent on this mailbox; it must read the store with these records, and send these lines in one message, or
    /// nothing.
    void expectLines(const std::string& json, const Records& reading, const std::vector<std::string>& contacts)
    {
        expectClosedRun(json, "Mailbox",
                        joined({{storeFound("Mailbox", 1, true)},
                                snapshot("Mailbox", "0;1", contacts, reading),
                                {"Subscribe to Mailbox"}}));
    }

    /// Runs the agent on this mailbox; the reading of the store must end the worker, with these records.
    void expectEnd(const std::string& json, const Records& reading)
    {
        expectEndedWorker(
            json, joined({{storeFound("Mailbox", 1, true), "createSnapshot for \"Mailbox\" started"}, reading}));
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
                found({"Contacts", "Notes in a contact folder", "Contacts in a note folder", "Further part",
                       "Lower case", "Upper case", "Beginning", "Empty class", "Empty folder"}),
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
                found({"Mixed", "Mail", "Further part", "Other case", "No message class", "Empty"}),
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
                found({"A", "B", "A1", "A2", "A1x", "B1"}),
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
                found({"Shown"}), {namedLine("3", 1, 5, 3)});
}

TEST_F(AgentFoldersTest, AreSeenBelowAHiddenIpmSubtree)
{
    expectLines(mailbox(R"({"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]})",
                        R"("ipmSubtree": {"hidden": true})"),
                found({"Contacts"}), {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, OutsideTheIpmSubtreeAreNotSeen)
{
    expectLines(mailbox(R"({"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}]})",
                        R"("root": {"messages": [{"displayName": "2"}]}, "rootFolders": [
                              {"name": "Common Views", "class": "IPF.Contact", "messages": [{"displayName": "3"}]}])"),
                found({"Contacts"}), {namedLine("1", 1, 3, 2)}); // the root's message is number 1
}

TEST_F(AgentFoldersTest, ThatCannotBeOpenedHideOnlyWhatLiesBelowThem)
{
    const auto refused = [](std::string_view code, std::string_view folder)
    {
        return "HRESULT logged: mapi::getSubfolders::<lambda_1>::operator (), line N: hr = 0x" + std::string(code) +
               "(OpenEntry failed for \"" + std::string(folder) + "\")";
    };
    expectLines(mailbox(R"(
        {"name": "Closed", "class": "IPF.Contact", "messages": [{"displayName": "1"}],
         "folders": [{"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]},
        {"name": "Warning", "class": "IPF.Contact", "messages": [{"displayName": "3"}]},
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "4"}]})",
                        "",
                        plansFor({{R"("opens": "Mailbox/Closed")", "0x80070005"},
                                  {R"("opens": "Mailbox/Warning")", "0x00040380"}})),
                joined({found({"Closed"}),
                        {refused("80070005", "Closed")},
                        found({"Warning"}),
                        {refused("40380", "Warning")},
                        found({"Contacts"})}),
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
                found({""}), {namedLine("5", 1, 7, 5)});
}

TEST_F(AgentFoldersTest, WhosePropertiesCannotBeReadAreNoContactFolders)
{
    expectLines(
        mailbox(R"(
        {"name": "Silent", "class": "IPF.Contact", "messages": [{"displayName": "1"}], "folders": [
            {"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]},
        {"name": "Unreadable", "properties": {"PR_CONTAINER_CLASS_W": {"error": "0x8007000E"}},
         "messages": [{"displayName": "3"}]})",
                "", plansFor({{R"("method": "IMAPIProp::GetPropList", "on": "Mailbox/Silent")", "0x80070005"}})),
        joined({found({"Silent", "Unreadable"}),
                {caught(judgingFailed, "mapi::hasProperty, line N: hr = 0x80070005(MAPI call failed)")},
                found({"Below"}),
                {caught("mapi::isContactFolder", "mapi::PropValue::read, line N: hr = 0x8007000e(MAPI call failed)")}}),
        {namedLine("2", 1, 4, 2)});
}

TEST_F(AgentFoldersTest, WithoutAClassWhoseContentsCannotBeHadAreNoContactFolders)
{
    expectLines(
        mailbox(R"({"name": "Closed", "messages": [{"displayName": "1"}]},
                   {"name": "Uncounted", "messages": [{"displayName": "2"}]})",
                "",
                plansFor({{R"("method": "IMAPIContainer::GetContentsTable", "on": "Mailbox/Closed")", "0x80070005"},
                          {R"("method": "IMAPITable::GetRowCount", "table": "contents", "on": "Mailbox/Uncounted")",
                           "0x80040115"}})),
        joined({found({"Closed", "Uncounted"}),
                {caught(judgingFailed, "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)"),
                 caught(judgingFailed, "mapi::tableRowCount, line N: hr = 0x80040115(MAPI call failed)")}}),
        {});
}

TEST_F(AgentFoldersTest, WithoutAClassThatCannotBeSearchedAreContactFolders)
{
    expectLines(
        mailbox(R"({"name": "Unsearched", "messages": [{"class": "IPM.Note", "displayName": "1"}]})", "",
                plansFor({{R"("method": "IMAPITable::FindRow", "on": "Mailbox/Unsearched")", "MAPI_E_TOO_COMPLEX"}})),
        found({"Unsearched"}), {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, WhoseContentsCannotBeReadAreEmpty)
{
    expectLines(
        mailbox(
            R"(
        {"name": "Columns", "class": "IPF.Contact", "messages": [{"displayName": "1"}]},
        {"name": "Count", "class": "IPF.Contact", "messages": [{"displayName": "2"}]},
        {"name": "Rows", "class": "IPF.Contact", "messages": [{"displayName": "3"}]})",
            "",
            plansFor(
                {{R"("method": "IMAPITable::SetColumns", "table": "contents", "on": "Mailbox/Columns")", "0x80040102"},
                 {R"("method": "IMAPITable::GetRowCount", "table": "contents", "on": "Mailbox/Count")", "0x80040115"},
                 {R"("method": "IMAPITable::QueryRows", "table": "contents", "on": "Mailbox/Rows")",
                  "MAPI_E_NOT_ENOUGH_MEMORY"}})),
        joined({found({"Columns", "Count", "Rows"}),
                {caught(rowsetFailed, "mapi::Rowset::enumerate, line N: hr = 0x80040102(MAPI call failed)"),
                 caught(rowsetFailed, "mapi::tableRowCount, line N: hr = 0x80040115(MAPI call failed)"),
                 caught(rowsetFailed, "mapi::Rowset::enumerate, line N: hr = 0x8007000e(MAPI call failed)")}}),
        {});
}

TEST_F(AgentFoldersTest, WhoseSubfoldersCannotBeReadHaveNone)
{
    expectLines(
        mailbox(R"({"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "1"}], "folders": [
                        {"name": "Below", "class": "IPF.Contact", "messages": [{"displayName": "2"}]}]})",
                "",
                plansFor({{R"("method": "IMAPITable::QueryRows", "table": "hierarchy", "on": "Mailbox/Contacts")",
                           "0x80040115"}})),
        joined({found({"Contacts"}),
                {caught(rowsetFailed, "mapi::Rowset::enumerate, line N: hr = 0x80040115(MAPI call failed)")}}),
        {namedLine("1", 1, 3, 1)});
}

TEST_F(AgentFoldersTest, AreReadInOneBatchHoweverShort)
{
    expectLines(mailbox(R"({"name": "A", "class": "IPF.Contact", "messages": [
                                {"displayName": "1"}, {"displayName": "2"}, {"displayName": "3"}]},
                           {"name": "B", "class": "IPF.Contact", "messages": [{"displayName": "4"}]},
                           {"name": "C", "class": "IPF.Contact", "messages": [{"displayName": "5"}]})",
                        "", R"("rowsPerQuery": 2)"),
                found({"A", "B"}), {namedLine("1", 1, 3, 1), namedLine("2", 1, 3, 2), namedLine("4", 1, 4, 4)});
}

/// Calls whose failure ends the worker.
struct FatalCall
{
    const char* keys; // of the plan
    const char* result;
    const char* failure; // in the log
};

class AgentFatalFolderTest : public AgentFoldersTest, public testing::WithParamInterface<FatalCall>
{
};

TEST_P(AgentFatalFolderTest, EndsTheWorker)
{
    expectEnd(mailbox(R"({"name": "First", "class": "IPF.Contact", "messages": [{"displayName": "1"}]},
                         {"name": "Odd", "class": "IPF.Contact"})",
                      "", plansFor({{GetParam().keys, GetParam().result}})),
              joined({found({"First", "Odd"}), {workerFailed(GetParam().failure)}}));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, AgentFatalFolderTest,
    testing::Values(FatalCall{R"("method": "IMAPIContainer::GetHierarchyTable", "on": "Mailbox/Odd")", "0x80070005",
                              "mapi::getHierarchyTable, line N: hr = 0x80070005(GetContentsTable)"},
                    FatalCall{R"("method": "IMAPITable::Restrict", "on": "Mailbox/Odd")", "MAPI_E_TOO_COMPLEX",
                              "mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)"},
                    FatalCall{R"("method": "IMAPIContainer::GetContentsTable", "on": "Mailbox/Odd")", "0x80070005",
                              "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)"}),
    [](const auto& test) { return "Call" + std::to_string(test.index); });
} // namespace
} // namespace endtoend

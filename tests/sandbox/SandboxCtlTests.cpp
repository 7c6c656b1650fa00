// sandboxctl as a program: the request that each command line makes, what it prints, and its exit status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "sandbox/control/ControlServer.h"
#include "tests/sandbox/RecordingHandler.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "tests/support/TempFolder.h"
#include "tests/support/sandbox/SandboxDll.h"

using nlohmann::json;
using sandboxtest::RecordingHandler;
using support::ProgramRun;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
/// Runs sandboxctl against a sandbox that answers as the test decides.
class SandboxCtlTest : public testing::Test
{
protected:
    [[nodiscard]] static ProgramRun runAlone(const std::wstring& arguments, const std::string& input = {})
    {
        return support::runProgram(L'"' + sandboxtest::besideThisProgram(L"sandboxctl.exe") + L"\" " + arguments,
                                   input);
    }
    [[nodiscard]] ProgramRun run(const std::wstring& arguments, const std::string& input = {}) const
    {
        return runAlone(L"--pipe " + m_name + L' ' + arguments, input);
    }
    /// What is printed for this answer; here it may have several lines.
    [[nodiscard]] std::string printed(const std::wstring& arguments, const std::string& answer)
    {
        m_answer = json::parse(answer).dump();
        const ProgramRun ended = run(arguments);
        EXPECT_EQ(ended.status, 0u) << ended.errors;
        EXPECT_EQ(ended.errors, "");
        return ended.output;
    }
    /// What is printed about a command line that is wrong.
    [[nodiscard]] std::string complaint(const std::wstring& arguments, const std::string& input = {}) const
    {
        const ProgramRun ended = run(arguments, input);
        EXPECT_EQ(ended.status, 2u);
        EXPECT_EQ(ended.output, "");
        EXPECT_THAT(m_handler.requests(), IsEmpty());
        EXPECT_THAT(ended.errors, StartsWith("sandboxctl: "));
        EXPECT_THAT(ended.errors, HasSubstr("sandboxctl VERB --help"));
        return ended.errors;
    }

    const std::wstring m_name = support::uniqueName(L"LinkwellControl");
    std::string m_answer = R"({"ok":true})";
    RecordingHandler m_handler{[this](const std::string&, HANDLE)
                               {
                                   return m_answer;
                               }};
    std::optional<sandbox::ControlServer> m_server{std::in_place, m_name, std::ref(m_handler)};
};

struct RequestCase
{
    const char* name;
    const wchar_t* arguments;
    const char* request; // JSON
};

void PrintTo(const RequestCase& value, std::ostream* stream)
{
    *stream << value.name;
}

class SandboxCtlRequestTest : public SandboxCtlTest, public testing::WithParamInterface<RequestCase>
{
};

const RequestCase requestCases[] = {
    {"List", L"list", R"({"do":"list"})"},
    {"ListPath", L"list \"Mailbox/Łódź \\/ Büro/春子\"", R"({"do":"list","path":"Mailbox/Łódź \\/ Büro/春子"})"},
    {"ListPathLikeAVerb", L"list list", R"({"do":"list","path":"list"})"},
    {"ListPathLikeAnOptionOfWindows", L"list /json", R"({"do":"list","path":"/json"})"},
    {"AddEmptyContact", L"add contact Mailbox/Contacts",
     R"({"do":"addContact","folder":"Mailbox/Contacts","contact":{}})"},
    {"AddContact",
     L"add contact folder --name \"Mara Lindqvist\" --given Mara --middle Q. --surname Lindqvist --company \"\" "
     L"--email mara@example.com --business 1 --home 2 --mobile \"+44 7700 900123\" --fax 4 --class IPM.Contact.Own",
     R"({"do":"addContact","folder":"folder","contact":{"displayName":"Mara Lindqvist","givenName":"Mara",
         "middleName":"Q.","surname":"Lindqvist","company":"","email":"mara@example.com","businessPhone":"1",
         "homePhone":"2","mobilePhone":"+44 7700 900123","businessFax":"4","class":"IPM.Contact.Own"}})"},
    {"AddContactOfJson",
     LR"(add contact X --name Mara --json-text "{\"email\": {\"type\": null}, \"displayName\": \"Mara\"}")",
     R"({"do":"addContact","folder":"X","contact":{"displayName":"Mara","email":{"type":null}}})"},
    {"AddFolder", L"add folder Mailbox New", R"({"do":"addFolder","parent":"Mailbox","folder":{"name":"New"}})"},
    {"AddFolderOfJson", LR"(add folder #00AB New --class IPF.Contact --hidden --json-text "{\"messages\": [{}]}")",
     R"({"do":"addFolder","parent":"#00AB",
         "folder":{"name":"New","class":"IPF.Contact","hidden":true,"messages":[{}]}})"},
    {"EditContact", LR"(edit contact A/B/C --mobile 7 --clear home --clear email --json-text "{\"row\": null}")",
     R"({"do":"editContact","contact":"A/B/C",
         "set":{"mobilePhone":"7","homePhone":null,"email":null,"row":null}})"},
    {"RenameFolder", L"edit folder A/B --rename C --class IPF.Note --hide",
     R"({"do":"editFolder","folder":"A/B","set":{"name":"C","class":"IPF.Note","hidden":true}})"},
    {"ShowFolder", L"edit folder A/B --show", R"({"do":"editFolder","folder":"A/B","set":{"hidden":false}})"},
    {"EditFolderOfJson", LR"(edit folder A/B --json-text "{\"class\": null}")",
     R"({"do":"editFolder","folder":"A/B","set":{"class":null}})"},
    {"PublicStore", L"edit store A --public", R"({"do":"editStore","store":"A","set":{"public":true}})"},
    {"PrivateStore", L"edit store A --private --rename B",
     R"({"do":"editStore","store":"A","set":{"public":false,"name":"B"}})"},
    {"Move", L"move A/B A/C", R"({"do":"move","object":"A/B","to":"A/C"})"},
    {"MoveWithId", L"move A/B A/C --keep-id", R"({"do":"move","object":"A/B","to":"A/C","keepId":true})"},
    {"Copy", L"copy A/B A/C", R"({"do":"copy","object":"A/B","to":"A/C"})"},
    {"Delete", L"delete A/B", R"({"do":"delete","object":"A/B"})"},
    {"InjectNumbers", L"inject A --event 4 --type 0x5",
     R"({"do":"inject","store":"A","notifications":[{"event":4,"objectType":"0x5"}]})"},
    {"InjectAll",
     L"inject A --event fnevObjectMoved --type MAPI_MESSAGE --id A/B/C --parent #0011 --old-id \"{\\\"size\\\": 5}\" "
     L"--old-parent \"{\\\"bytes\\\": \\\"0011\\\", \\\"size\\\": 0}\" --prop-tag 0x3001001F --prop-tag 0x3003001F",
     R"({"do":"inject","store":"A","notifications":[{"event":"fnevObjectMoved","objectType":"MAPI_MESSAGE",
         "entryId":"A/B/C","parentId":"#0011","oldId":{"size":5},"oldParentId":{"bytes":"0011","size":0},
         "propTags":["0x3001001F","0x3003001F"]}]})"},
    {"Plan", L"plan IMAPITable::QueryRows", R"({"do":"plan","method":"IMAPITable::QueryRows"})"},
    {"PlanAll",
     L"plan M --on A/B --call 2 --times 0 --result MAPI_E_NOT_FOUND --gives empty --delay 50 --hold gate --deliver",
     R"({"do":"plan","method":"M","on":"A/B","call":2,"times":0,"result":"MAPI_E_NOT_FOUND","gives":"empty","delay":50,"hold":"gate",
         "deliver":true})"},
    {"PlanOpening", L"plan --opens A/B --delay 1", R"({"do":"plan","opens":"A/B","delay":1})"},
    {"PlanTable", L"plan M --table contents --delay 1", R"({"do":"plan","method":"M","table":"contents","delay":1})"},
    {"ClearPlans", L"plan --clear", R"({"do":"clearPlans"})"},
    {"Release", L"release gate", R"({"do":"release","hold":"gate"})"},
    {"WaitIdle", L"wait idle", R"({"do":"wait","for":"idle"})"},
    {"WaitAdvised", L"wait advised 3 --timeout 500", R"({"do":"wait","for":"advised","count":3,"timeout":500})"},
    {"WaitHeld", L"wait --timeout 0 held gate", R"({"do":"wait","for":"held","hold":"gate","timeout":0})"},
    {"JournalStart", L"journal start", R"({"do":"journal","action":"start"})"},
    {"JournalStop", L"journal stop", R"({"do":"journal","action":"stop"})"},
    {"JournalClear", L"journal clear", R"({"do":"journal","action":"clear"})"},
    {"Subscriptions", L"subscriptions", R"({"do":"subscriptions"})"},
};
} // namespace

TEST_P(SandboxCtlRequestTest, MakesOneRequest)
{
    m_answer = R"({"ok":true,"items":[],"calls":[],"lost":0,"subscriptions":[]})";
    const ProgramRun ended = run(GetParam().arguments);
    EXPECT_EQ(ended.status, 0u);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "");
    const auto requests = m_handler.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(json::parse(requests[0]), json::parse(GetParam().request));
}

INSTANTIATE_TEST_SUITE_P(Verbs, SandboxCtlRequestTest, testing::ValuesIn(requestCases),
                         [](const testing::TestParamInfo<RequestCase>& tested) { return tested.param.name; });

TEST_F(SandboxCtlTest, SendsABatchFromAFileOrItsInput)
{
    const support::TempFolder folder;
    const std::string requests = "// two of them\n[{\"do\": \"delete\", \"object\": \"Å\"},\n {\"do\": \"list\"}]\n";
    support::writeBytes(folder.path() / L"Stapel Ä.json", requests);
    m_answer = R"({"ok":true,"answers":[]})";
    EXPECT_EQ(run(L"batch \"" + folder.file(L"Stapel Ä.json") + L'"').status, 0u);
    EXPECT_EQ(run(L"batch -", requests).status, 0u);
    const std::string expected = R"({"do":"batch","requests":[{"do":"delete","object":"Å"},{"do":"list"}]})";
    EXPECT_THAT(m_handler.requests(), ElementsAre(expected, expected));
}

TEST_F(SandboxCtlTest, TakesTheOptionsOfTheProgramAnywhere)
{
    m_answer = "{\"ok\": true,  \"items\": []}";
    const ProgramRun ended = runAlone(L"list --json A --pipe \\\\.\\pipe\\" + m_name + L" --connect-timeout 30000");
    EXPECT_EQ(ended.status, 0u);
    EXPECT_EQ(ended.output, m_answer + '\n');
    EXPECT_THAT(m_handler.requests(), ElementsAre(R"({"do":"list","path":"A"})"));
}

TEST_F(SandboxCtlTest, TakesThePipeFromTheEnvironment)
{
    const support::EnvironmentVariable pipe(L"LINKWELL_SANDBOX_CONTROL", m_name);
    EXPECT_EQ(runAlone(L"plan --clear").status, 0u);
    EXPECT_THAT(m_handler.requests(), ElementsAre(R"({"do":"clearPlans"})"));
}

TEST_F(SandboxCtlTest, PrintsATree)
{
    EXPECT_EQ(printed(L"list", R"({"ok":true,"items":[
                  {"kind":"store","name":"Mailbox","entryId":"00AA","default":true,"public":false,"items":[
                    {"kind":"folder","name":"Kontakte","entryId":"00BB","class":"IPF.Contact","hidden":true,"items":[
                      {"kind":"message","name":"Łukasz\nNoor","entryId":"#00CC","class":"IPM.Contact"},
                      {"kind":"message","entryId":"00DD","class":null}]},
                    {"kind":"folder","name":"Empty","entryId":"00EE","hidden":false,"items":[]}]},
                  {"kind":"store","name":"All","entryId":"00FF","public":true}]})"),
              "Mailbox  (store, default)  #00AA\n"
              "  Kontakte  (folder, IPF.Contact, hidden)  #00BB\n"
              "    Łukasz\\nNoor  (message, IPM.Contact)  #00CC\n"
              "    (no name)  (message)  #00DD\n"
              "  Empty  (folder)  #00EE\n"
              "All  (store, public)  #00FF\n");
}

TEST_F(SandboxCtlTest, PrintsTheIdentifierOfWhatIsNew)
{
    const std::string answer = R"({"ok":true,"entryId":"00AB"})";
    for (const wchar_t* arguments : {L"add contact A", L"add folder A B", L"move A B", L"copy A B"})
        EXPECT_EQ(printed(arguments, answer), "#00AB\n");
}

TEST_F(SandboxCtlTest, PrintsTheIdentifiersOfABatch)
{
    m_answer = R"({"ok":true,"answers":[{"ok":true,"entryId":"00AA"},{"ok":true},{"ok":true,"entryId":"00BB"}]})";
    EXPECT_EQ(run(L"batch -", "[{},{},{}]").output, "1: #00AA\n3: #00BB\n");
}

TEST_F(SandboxCtlTest, PrintsACallALine)
{
    EXPECT_EQ(printed(L"journal read --clear", R"({"ok":true,"lost":7,"calls":[
                  {"call":"MAPIInitialize","arguments":{},"result":"0x0","thread":1},
                  {"call":"IMAPIContainer::OpenEntry","on":"00AB","result":"0x8004010F","thread":2,"arguments":
                    {"cbEntryID":"0x18","lpInterface":"IID_IMAPIFolder","lpszName":"two words",
                     "lpTags":["0x3001001F"]}}]})"),
              "(7 earlier calls are no longer kept)\n"
              "thread 1: MAPIInitialize() -> 0x0\n"
              "thread 2: IMAPIContainer::OpenEntry(cbEntryID=0x18, lpInterface=IID_IMAPIFolder, "
              "lpTags=[\"0x3001001F\"], lpszName=\"two words\") on #00AB -> 0x8004010F\n");
    EXPECT_THAT(m_handler.requests(), ElementsAre(R"({"action":"read","clear":true,"do":"journal"})"));
}

TEST_F(SandboxCtlTest, PrintsASubscriptionALine)
{
    EXPECT_EQ(printed(L"subscriptions", R"({"ok":true,"subscriptions":[
                  {"connection":"0x100000001","store":"Mailbox","mask":"0x7C"}]})"),
              "connection 0x100000001: mask 0x7C, store Mailbox\n");
}

TEST_F(SandboxCtlTest, PrintsARefusal)
{
    m_answer = R"({"ok":false,"error":"there is no 'Ärger'"})";
    const ProgramRun ended = run(L"delete Ärger");
    EXPECT_EQ(ended.status, 1u);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "sandboxctl: there is no 'Ärger'\n");
    EXPECT_EQ(run(L"--json delete Ärger").output, m_answer + '\n');
    EXPECT_EQ(run(L"--json delete Ärger").status, 1u);
}

TEST_F(SandboxCtlTest, SaysWhenNoSandboxAnswers)
{
    m_server.reset();
    const ProgramRun ended = run(L"--connect-timeout 0 list");
    EXPECT_EQ(ended.status, 3u);
    EXPECT_EQ(ended.output, "");
    EXPECT_EQ(ended.errors, "sandboxctl: no sandbox answers at \\\\.\\pipe\\" +
                                std::string(m_name.begin(), m_name.end()) + ": there is no such pipe\n");
}

TEST_F(SandboxCtlTest, RefusesAnAnswerThatItDoesNotUnderstand)
{
    for (const char* answer : {"nonsense", R"({"ok":true})", R"({"ok":true,"items":[{"name":5}]})"})
    {
        m_answer = answer;
        const ProgramRun ended = run(L"list");
        EXPECT_EQ(ended.status, 3u);
        EXPECT_EQ(ended.output, "");
        EXPECT_NE(ended.errors, "");
    }
}

TEST_F(SandboxCtlTest, RefusesACommandLineThatIsWrong)
{
    EXPECT_THAT(complaint(L"list --nonsense"), HasSubstr("--nonsense"));
    EXPECT_THAT(complaint(L"list A B"), HasSubstr("B"));
    EXPECT_THAT(complaint(L"delete"), HasSubstr("PATH is required"));
    EXPECT_THAT(complaint(L"inject A --event 4"), HasSubstr("--type is required"));
    EXPECT_THAT(complaint(L"wait advised many"), HasSubstr("many"));
    EXPECT_THAT(complaint(L"wait idle --timeout -1"), HasSubstr("--timeout"));
    EXPECT_THAT(complaint(L"list --connect-timeout 5000000000"), HasSubstr("--connect-timeout"));
    EXPECT_THAT(complaint(L"plan"), HasSubstr("METHOD is required"));
    EXPECT_THAT(complaint(L"plan --clear --hold gate"), HasSubstr("excludes"));
    EXPECT_THAT(complaint(L"inject A --event 4 --type 5 --id {"), HasSubstr("--id: "));
}

TEST_F(SandboxCtlTest, NamesTheVerbsWhereOneIsMissingOrUnknown)
{
    const std::string verbs =
        ": list, add, edit, move, copy, delete, inject, batch, plan, release, wait, journal, subscriptions\n";
    EXPECT_THAT(complaint(L""), StartsWith("sandboxctl: a verb is required" + verbs));
    EXPECT_THAT(complaint(L"edit"),
                StartsWith("sandboxctl: a verb is required behind 'edit': contact, folder, store\n"));
    EXPECT_THAT(complaint(L"wait"), StartsWith("sandboxctl: a verb is required behind 'wait': idle, advised, held\n"));
    EXPECT_THAT(complaint(L"lst Mailbox"), StartsWith("sandboxctl: there is no verb 'lst'" + verbs));
    EXPECT_THAT(complaint(L"edit contcat A --name B"),
                StartsWith("sandboxctl: there is no verb 'contcat' behind 'edit': contact, folder, store\n"));
    EXPECT_THAT(complaint(L"wait --timeout 5 idel"),
                StartsWith("sandboxctl: there is no verb 'idel' behind 'wait': idle, advised, held\n"));
}

TEST_F(SandboxCtlTest, RefusesADescriptionThatContradictsItself)
{
    EXPECT_THAT(complaint(LR"(add contact A --name B --json-text "{\"displayName\": \"C\"}")"),
                HasSubstr("--name: contradicts what the command line says otherwise about 'displayName'"));
    EXPECT_THAT(complaint(LR"(add folder A B --json-text "{\"name\": \"C\"}")"), HasSubstr("NAME: contradicts"));
    EXPECT_THAT(complaint(L"edit folder A --hide --show"), HasSubstr("--show: contradicts"));
    EXPECT_THAT(complaint(L"edit store A --private --public"), HasSubstr("--private: contradicts"));
    EXPECT_THAT(complaint(L"edit contact A --home 1 --clear home"), HasSubstr("--clear home: contradicts"));
    EXPECT_THAT(complaint(L"edit contact A --clear hom"), HasSubstr("there is no option --hom"));
    EXPECT_THAT(complaint(L"edit contact A"), HasSubstr("there is nothing to change"));
    EXPECT_THAT(complaint(L"edit contact A --json-text []"), HasSubstr("must be a JSON object"));
    EXPECT_THAT(complaint(L"edit contact A --json-text {"), HasSubstr("--json-text: "));
}

TEST_F(SandboxCtlTest, RefusesAFileThatIsNoBatch)
{
    EXPECT_THAT(complaint(L"batch C:\\nowhere.json"), HasSubstr("FILE: C:\\nowhere.json can't be opened"));
    EXPECT_THAT(complaint(L"batch -", "{}"), HasSubstr("FILE: - is no list of requests"));
    EXPECT_THAT(complaint(L"batch -", "[\n1,"), HasSubstr("line 2, column 3"));
}

TEST_F(SandboxCtlTest, AsksWhichSandbox)
{
    const ProgramRun ended = runAlone(L"list");
    EXPECT_EQ(ended.status, 2u);
    EXPECT_EQ(ended.errors, "sandboxctl: which sandbox? Neither --pipe nor LINKWELL_SANDBOX_CONTROL names a pipe\n");
}

TEST_F(SandboxCtlTest, HelpsWithoutASandbox)
{
    const ProgramRun ended = runAlone(L"--help");
    EXPECT_EQ(ended.status, 0u);
    EXPECT_EQ(ended.errors, "");
    for (const char* verb : {"list", "add", "edit", "move", "copy", "delete", "inject", "batch", "plan", "release",
                             "wait", "journal", "subscriptions"})
        EXPECT_THAT(ended.output, HasSubstr("\n  " + std::string(verb) + "  "));
    EXPECT_THAT(runAlone(L"add contact --help").output, HasSubstr("--surname TEXT"));
}

TEST_F(SandboxCtlTest, TellsItsVersionWithoutASandbox)
{
    const ProgramRun ended = runAlone(L"--version");
    EXPECT_EQ(ended.status, 0u);
    EXPECT_EQ(ended.errors, "");
    EXPECT_EQ(ended.output, "sandboxctl " LINKWELL_VERSION "\n");
}

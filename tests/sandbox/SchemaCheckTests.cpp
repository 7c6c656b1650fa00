// The published schemas: what they refuse and in which words, and that they know what the documentation does.
#include "sandbox/mailbox/reading/SchemaCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "sandbox/mailbox/reading/MailboxReader.h"

using namespace sandbox;
using testing::StartsWith;

namespace
{
struct Case
{
    const char* name;
    std::string json;
    std::string complaint; // the whole, or its beginning when it ends in "..."
};

void PrintTo(const Case& one, std::ostream* stream)
{
    *stream << one.json;
}

/// What `check` throws.
template <class Check>
[[nodiscard]] std::string complaintOf(Check check)
{
    try
    {
        check();
        return "no complaint";
    }
    catch (const MailboxError& error)
    {
        return error.what();
    }
}

void expectComplaint(const std::string& complaint, std::string expected)
{
    if (expected.ends_with("..."))
        EXPECT_THAT(complaint, StartsWith(expected.erase(expected.size() - 3)));
    else
        EXPECT_EQ(complaint, expected);
}

[[nodiscard]] std::string sourceFile(const char* path)
{
    const char* folder = std::getenv("LINKWELL_SOURCE");
    if (folder == nullptr)
        throw std::runtime_error("LINKWELL_SOURCE does not name the source folder; ctest sets it");
    return std::string(folder) + "/" + path;
}
} // namespace

class MailboxSchemaTest : public testing::TestWithParam<Case>
{
};

TEST_P(MailboxSchemaTest, RefusesTheFileWithLineAndColumn)
{
    expectComplaint(complaintOf([] { (void)readMailbox(GetParam().json); }), GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Files, MailboxSchemaTest,
    testing::Values(
        Case{"NotAnObject", "[]", "line 1, column 1: /: must be an object: a mailbox"},
        Case{"KeyTwice", R"({"stores":[{"name":"A"},{"name":"B","name":"C"}]})",
             "line 1, column 37: /stores/1/name: this key is given twice"},
        Case{"KeyTwiceInFrontOfAnOpenEnd", R"({"stores":[{"name":"A","name":"B")",
             "line 1, column 24: /stores/0/name: this key is given twice"},
        Case{"UnknownKey", R"({"store":[]})",
             "line 1, column 2: /store: unknown key; known here are $schema, addressBook, fastShutdown, plans, "
             "rowsPerQuery, stores"},
        Case{"UnknownStoreKey", R"({"stores":[{"name":"S","colour":"red"}]})",
             "line 1, column 24: /stores/0/colour: unknown key..."},
        Case{"UnknownFolderKey", R"({
  "stores": [ // one
    { "name": "S", "folders": [ { "name": "F",
      "hiden": true } ] }
  ]
})",
             "line 4, column 7: /stores/0/folders/0/hiden: unknown key..."},
        Case{"UnknownMessageKey", R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"name":"x"}]}]}]})",
             "line 1, column 60: /stores/0/folders/0/messages/0/name: unknown key..."},
        Case{"UnknownEmailKey",
             R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"email":{"adress":"x"}}]}]}]})",
             "line 1, column 69: /stores/0/folders/0/messages/0/email/adress: unknown key; known here are address, "
             "addressBook, displayName, originalEntryId, type"},
        Case{
            "UnknownKeyOfAValue",
            R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"properties":{"PR_BODY":{"utf8":"41"}}}]}]}]})",
            "line 1, column 85: /stores/0/folders/0/messages/0/properties/PR_BODY/utf8: unknown key..."},
        Case{"FoldersInRoot", R"({"stores":[{"name":"S","root":{"folders":[]}}]})",
             "line 1, column 32: /stores/0/root/folders: unknown key..."},
        Case{"OldKey", R"({"stores":[{"name":"S","folders":[{"name":"F","openError":"MAPI_E_NOT_FOUND"}]}]})",
             "line 1, column 47: /stores/0/folders/0/openError: unknown key..."},
        Case{"KeyWithSlash", R"({"addressBook":{"a/b~c":1}})",
             "line 1, column 17: /addressBook/a~1b~0c: must be an object: a user"},
        Case{"StoresNoList", R"({"stores":{}})", "line 1, column 2: /stores: must be a list of stores"},
        Case{"StoreNoObject", R"({"stores":[{"name":"a\"]"}, // "
  17]})",
             "line 2, column 3: /stores/1: must be an object: a store"},
        Case{"StoreATextWithQuotes", R"({"stores":[{"name":"S"},"a\\\"b"]})",
             "line 1, column 25: /stores/1: must be an object: a store"},
        Case{"StoreWithoutName", R"({"stores":[{}]})", "line 1, column 12: /stores/0: 'name' is missing"},
        Case{"FolderWithoutName", R"({"stores":[{"name":"S","folders":[{}]}]})",
             "line 1, column 35: /stores/0/folders/0: 'name' is missing"},
        Case{"FolderBelowWithoutName",
             R"({"stores":[{"name":"S","folders":[{"name":"F","folders":[{"name":"G"}, {}]}]}]})",
             "line 1, column 72: /stores/0/folders/0/folders/1: 'name' is missing"},
        Case{"NameNoText", R"({"stores":[{"name":7}]})", "line 1, column 13: /stores/0/name: must be a text"},
        Case{"HiddenNoBoolean", R"({"stores":[{"name":"S","folders":[{"name":"F","hidden":"yes"}]}]})",
             "line 1, column 47: /stores/0/folders/0/hidden: must be true or false"},
        Case{"ClassNoTextNorNull", R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"class":false}]}]}]})",
             "line 1, column 60: /stores/0/folders/0/messages/0/class: must be a text or null"},
        Case{"EmailNoAddress", R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"email":5}]}]}]})",
             "line 1, column 60: /stores/0/folders/0/messages/0/email: must be an SMTP address, or an object with the "
             "parts of an address"},
        Case{"GenerateWithoutCount", R"({"stores":[{"name":"S","folders":[{"name":"F","generate":{}}]}]})",
             "line 1, column 47: /stores/0/folders/0/generate: 'contacts' is missing"},
        Case{"GenerateNegative", R"({"stores":[{"name":"S","folders":[{"name":"F","generate":{"contacts":-1}}]}]})",
             "line 1, column 59: /stores/0/folders/0/generate/contacts: must be an integer from 0 to 10000000"},
        Case{"RowsPerQueryZero", R"({"rowsPerQuery":0})",
             "line 1, column 2: /rowsPerQuery: must be an integer from 1 to 2147483647"},
        Case{"RowsPerQueryHuge", R"({"rowsPerQuery":18446744073709551615})",
             "line 1, column 2: /rowsPerQuery: must be an integer from 1 to 2147483647"},
        Case{"FastShutdownWord", R"({"fastShutdown":"no"})",
             R"(line 1, column 2: /fastShutdown: must be "supported" or "unsupported")"},
        Case{
            "ErrorNoResult",
            R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"properties":{"PR_BODY":{"error":"bad"}}}]}]}]})",
            "line 1, column 85: /stores/0/folders/0/messages/0/properties/PR_BODY/error: must be a result: a published "
            "name, or 0x and up to eight digits"},
        Case{
            "AnswersAsAlone",
            R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"properties":{"PR_BODY":{"answersAs":"0x30010003"}}}]}]}]})",
            "line 1, column 74: /stores/0/folders/0/messages/0/properties/PR_BODY: must be a property's value..."},
        Case{"PlanAboutNoCall", R"({"plans":[{"result":"S_OK"}]})",
             "line 1, column 11: /plans/0: 'method' or 'opens' is missing"},
        Case{"PlanWithoutEffect", R"({"plans":[{"method":"MAPILogonEx"}]})",
             "line 1, column 11: /plans/0: 'result', 'gives', 'delay', 'hold' or 'deliver' is missing"},
        Case{"PlanThatDeliversNot", R"({"plans":[{"method":"MAPILogonEx","deliver":false}]})",
             "line 1, column 35: /plans/0/deliver: must be true"},
        Case{"PlanOfNoTable", R"({"plans":[{"method":"IMAPITable::FindRow","table":"rows","delay":1}]})",
             R"(line 1, column 43: /plans/0/table: must be "stores", "contents" or "hierarchy")"},
        Case{"PlanThatTakesTooLong", R"({"plans":[{"method":"MAPILogonEx","delay":3600001}]})",
             "line 1, column 35: /plans/0/delay: must be an integer from 0 to 3600000"},
        Case{"TextWithNul", R"({"stores":[{"name":"a\u0000b"}]})",
             "line 1, column 13: /stores/0/name: a text can't hold the character U+0000"},
        Case{"ReadersRule", R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{"entryId":"00000000"}]}]}]})",
             "line 1, column 60: /stores/0/folders/0/messages/0/entryId: an entry identifier has at least five bytes"}),
    [](const auto& one) { return one.param.name; });

class RequestSchemaTest : public testing::TestWithParam<Case>
{
};

TEST_P(RequestSchemaTest, RefusesTheRequestWithThePath)
{
    expectComplaint(complaintOf([] { checkRequest(Json::parse(GetParam().json), ""); }), GetParam().complaint);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, RequestSchemaTest,
    testing::Values(
        Case{"ContactMissing", R"({"do":"addContact","folder":"A"})", "/: 'contact' is missing"},
        Case{"ContactOfTheFile", R"({"do":"addContact","folder":"A","contact":{"surname":1}})",
             "/contact/surname: must be a text"},
        Case{"FolderOfTheFile", R"({"do":"addFolder","parent":"A","folder":{"hidden":true}})",
             "/folder: 'name' is missing"},
        Case{"EmptyPath", R"({"do":"delete","object":""})",
             "/object: must be a path of names, '#' and an entry identifier, or '@' and a key of the address book"},
        Case{"IdentifierCannotChange", R"({"do":"editContact","contact":"A","set":{"entryId":"0000000001"}})",
             "/set/entryId: unknown key..."},
        Case{"NameCannotGo", R"({"do":"editFolder","folder":"A","set":{"name":null}})", "/set/name: must be a text"},
        Case{"HiddenNoFlag", R"({"do":"editFolder","folder":"A","set":{"hidden":"yes"}})",
             "/set/hidden: must be true, false or null"},
        Case{"PropertiesCannotGo", R"({"do":"editStore","store":"A","set":{"properties":null}})",
             "/set/properties: must be an object from properties to values"},
        Case{"DefaultCannotChange", R"({"do":"editStore","store":"A","set":{"default":true}})",
             "/set/default: unknown key..."},
        Case{"KeepIdNoFlag", R"({"do":"move","object":"A","to":"B","keepId":1})", "/keepId: must be true or false"},
        Case{"NothingInjected", R"({"do":"inject","store":"A","notifications":[]})",
             "/notifications: must be a list of at least one notification"},
        Case{"EventMissing", R"({"do":"inject","store":"A","notifications":[{"objectType":5}]})",
             "/notifications/0: 'event' is missing"},
        Case{"NegativeEvent", R"({"do":"inject","store":"A","notifications":[{"event":-1,"objectType":5}]})",
             "/notifications/0/event: must be a number, 0x and up to eight digits, or a published name"},
        Case{"EmptyIdentifier",
             R"({"do":"inject","store":"A","notifications":[{"event":4,"objectType":5,"entryId":{}}]})",
             "/notifications/0/entryId: must be a path, '#' and hexadecimal, or an object with 'bytes' or 'size'"},
        Case{"NotificationKey",
             R"({"do":"inject","store":"A","notifications":[{"event":4,"objectType":5,"id":"#11"}]})",
             "/notifications/0/id: unknown key..."},
        Case{"PlanKey", R"({"do":"plan","method":"MAPILogonEx","delay":1,"after":1})", "/after: unknown key..."},
        Case{"PlanWithoutEffect", R"({"do":"plan","opens":"A"})",
             "/: 'result', 'gives', 'delay', 'hold' or 'deliver' is missing"},
        Case{"NoHold", R"({"do":"release","hold":""})", "/hold: must be a name"},
        Case{"CountMissing", R"({"do":"wait","for":"advised"})", "/: 'count' is missing"},
        Case{"CountForNothing", R"({"do":"wait","for":"idle","count":2})",
             R"(/count: must be an integer from 0 to 1000000, with 'for': "advised" alone)"},
        Case{"WaitForEver", R"({"do":"wait","for":"ever"})", R"(/for: must be "idle", "advised" or "held")"},
        Case{"JournalAction", R"({"do":"journal","action":"burn"})",
             R"(/action: must be "start", "stop", "clear" or "read")"},
        Case{"ClearForNothing", R"({"do":"journal","action":"stop","clear":true})",
             R"(/clear: must be true or false, with 'action': "read" alone)"}),
    [](const auto& one) { return one.param.name; });

TEST(SchemaTest, AcceptsTheSampleMailbox)
{
    EXPECT_EQ(readMailboxFile(sourceFile("sandbox/mailboxes/sample.json"))->stores().size(), 5u);
}

// The keys of a table stand in its first column: | `a`, `b` | ... |
TEST(SchemaTest, KnowsTheKeysThatTheDocumentationHas)
{
    const std::pair<const char*, const char*> tables[] = {{"### The mailbox", "mailbox"},
                                                          {"### A store", "store"},
                                                          {"### A folder", "folder"},
                                                          {"### A message", "message"},
                                                          {"### Address book", "user"}};
    std::ifstream schemaFile(sourceFile("docs/mailbox.schema.json"));
    const Json schema = Json::parse(schemaFile);
    for (const auto& [heading, definition] : tables)
    {
        std::ifstream documentation(sourceFile("docs/sandbox.md"));
        std::string line;
        while (std::getline(documentation, line) && line != heading)
            continue;
        while (std::getline(documentation, line) && !line.starts_with("| `"))
            continue;
        std::set<std::string> documented;
        for (; line.starts_with("| `"); std::getline(documentation, line))
        {
            std::istringstream cell(line.substr(0, line.find('|', 1)));
            std::string part;
            for (bool isKey = false; std::getline(cell, part, '`'); isKey = !isKey)
            {
                if (isKey)
                    documented.insert(part);
            }
        }
        std::set<std::string> known;
        for (const auto& [key, node] : schema.at("definitions").at(definition).at("properties").items())
            known.insert(key);
        EXPECT_EQ(documented, known) << heading;
    }
}

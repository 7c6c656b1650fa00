// The contacts of a folder: what becomes of their properties on the wire.
#include <regex>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
namespace
{
class AgentContactsTest : public EndToEndTest
{
protected:
    /// Exchange users that can be opened, that have no SMTP address, and that can't be opened.
    static constexpr std::string_view addressBook = R"("addressBook": {
        "mei": {"displayName": "Mei", "smtpAddress": "mei@example.com"},
        "silent": {"displayName": "No address"},
        "empty": {"smtpAddress": ""},
        "closed": {"smtpAddress": "closed@example.com"},
        "warning": {"smtpAddress": "warning@example.com"},
        "unreadable": {"properties": {"PR_SMTP_ADDRESS_W": {"error": "0x8007000E"}}}})";

    /// A mailbox of one default store, "Mailbox", whose one folder, "Contacts", has these messages. A second store has a
    /// contact too.
    static std::string mailbox(const std::string& messages, const std::string& moreOfFolder = "",
                               const std::string& plans = plansFor({}))
    {
        return "{" + std::string(addressBook) +
               R"(, "stores": [{"name": "Mailbox", "default": true, "folders": [{"name": "Contacts", "class": "IPF.Contact", )" +
               moreOfFolder + R"("messages": [)" + messages + R"(]}]}, {"name": "Archive", "folders": [
               {"name": "Old", "class": "IPF.Contact", "messages": [{"displayName": "Later store"}]}]}], )" +
               plans + "}";
    }

    /// Runs the agent on such a mailbox; the folder's contacts must give these lines, and its reading these records.
    void expectLines(const std::string& json, const std::vector<std::string>& contacts, const Records& reading = {},
                     const std::string& report = std::string(nothingHeld))
    {
        const AgentRun run = runUntilSubscribed(json, "Archive");
        const Records log = logOfClosedWindow(
            joined({{storeFound("Mailbox", 1, true), storeFound("Archive", 2)},
                    snapshot("Mailbox", "0;2", contacts, joined({{"subfolder found: Contacts"}, reading})),
                    snapshot("Archive", "1;2", {namedLine("Later store", 2, firstFolder, 1)}, {"subfolder found: Old"}),
                    {"Subscribe to Mailbox", "Subscribe to Archive"}}));
        // Without the sizes of the blocks, which are the sandbox's affair.
        EXPECT_EQ(std::regex_replace(run.report, std::regex(", [0-9]+ bytes"), ", N bytes"), report);
        expectRun(run, log, sentIn(log), run.report);
    }

    /// Runs the agent on such a mailbox; the reading of the folder must end the worker, with this report.
    void expectEnd(const std::string& json, const std::string& failure)
    {
        expectEndedWorker(json, {storeFound("Mailbox", 1, true), storeFound("Archive", 2),
                                 "createSnapshot for \"Mailbox\" started", "subfolder found: Contacts",
                                 workerFailed(failure)});
    }

    /// The line of message `number` of the folder.
    static std::string line(std::string_view tenFields, unsigned number)
    {
        return contactLine(tenFields, 1, firstFolder, number);
    }
};

TEST_F(AgentContactsTest, HaveTwelveFields)
{
    expectLines(
        mailbox(R"({"displayName": "Dr. Anna M. Berg", "givenName": "Anna", "middleName": "Maria", "surname": "Berg",
                    "company": "Nordlicht AG", "email": "anna.berg@example.com", "businessPhone": "+49 30 1111",
                    "homePhone": "+49 30 2222", "mobilePhone": "+49 170 3333", "businessFax": "+49 30 4444",
                    "properties": {"PR_NICKNAME_W": "Anni", "PR_TITLE_W": "Head of Sales"}})"),
        {line("Dr. Anna M. Berg;Anna;Maria;Berg;Nordlicht AG;anna.berg@example.com;+49 30 1111;+49 30 2222;"
              "+49 170 3333;+49 30 4444",
              1)});
}

TEST_F(AgentContactsTest, HaveEmptyFieldsForWhatIsAbsentOrEmpty)
{
    expectLines(mailbox(R"({"displayName": "Only a name"}, {"businessFax": "+44 1632 960001"}, {},
                               {"displayName": "", "givenName": "", "middleName": "", "surname": "", "company": "",
                                "email": "", "businessPhone": "", "homePhone": "", "mobilePhone": "", "businessFax": ""},
                               {"surname": "Unreadable", "properties": {"PR_GIVEN_NAME_W": {"error": "0x8007000E"}}})"),
                {line("Only a name;;;;;;;;;", 1), line(";;;;;;;;;+44 1632 960001", 2), line(";;;;;;;;;", 3),
                 line(";;;;;;;;;", 4), line(";;;Unreadable;;;;;;", 5)});
}

TEST_F(AgentContactsTest, KeepSeparatorsAndLineBreaksAsTheyAre)
{
    expectLines(
        mailbox(R"({"displayName": "Berg; Anna", "company": "Nord\nLicht\r\nAG\r", "surname": " Berg\t"},
                   {"displayName": "\n", "givenName": ";", "company": "\"quoted\" \\ 'text'"})"),
        {line("Berg; Anna;;; Berg\t;Nord\nLicht\r\nAG\r;;;;;", 1), line("\n;;;;;\"quoted\" \\ 'text';;;;;", 2)});
}

TEST_F(AgentContactsTest, KeepTheirScriptsInUtf8)
{
    expectLines(
        mailbox(
            R"({"displayName": "Дарья Иванова", "givenName": "Γιώργος", "surname": "김소연", "company": "株式会社 春"},
                   {"displayName": "𝔘𝔫𝔦 😀", "givenName": "עדה", "surname": "مريم", "company": "Straße"},
                   {"properties": {"PR_DISPLAY_NAME_W": {"utf16": "0041D83D0042"}, "PR_GIVEN_NAME_W": {"utf16": "DE00"}}})"),
        {line("Дарья Иванова;Γιώργος;;김소연;株式会社 春;;;;;", 1), line("𝔘𝔫𝔦 😀;עדה;;مريم;Straße;;;;;", 2),
         line("A\xEF\xBF\xBD"
              "B;\xEF\xBF\xBD;;;;;;;;",
              3)}); // a surrogate that stands alone has no UTF-8 form
}

TEST_F(AgentContactsTest, HaveTheirOwnIdentifiersWhenTheTableTellsShortTermOnes)
{
    expectLines(mailbox(R"({"displayName": "1"}, {"displayName": "2"})", "\"shortTermIds\": true, "),
                {line("1;;;;;;;;;", 1), line("2;;;;;;;;;", 2)});
}

TEST_F(AgentContactsTest, HaveEmptyFieldsForIdentifiersThatTheyDoNotTell)
{
    expectLines(mailbox(R"({"displayName": "1", "properties": {"PR_PARENT_ENTRYID": null}},
                   {"displayName": "2", "properties": {"PR_ENTRYID": ""}, "row": {"PR_ENTRYID": ")" +
                        messageId(1, firstFolder, 2) + R"("}},
                   {"properties": {"PR_ENTRYID": null, "PR_PARENT_ENTRYID": null}, "row": {"PR_ENTRYID": "00000000AB"},
                    "aliases": ["00000000AB"]},
                   {"displayName": "4", "entryId": "000A0BFF01", "properties": {"PR_PARENT_ENTRYID": "0F"}})"),
                {"1;;;;;;;;;;" + messageId(1, firstFolder, 1) + ";", "2;;;;;;;;;;;" + folderId(1, firstFolder),
                 ";;;;;;;;;;;", "4;;;;;;;;;;000A0BFF01;0F"});
}

TEST_F(AgentContactsTest, AreAllMessagesOfAContactFolder)
{
    expectLines(
        mailbox(R"({"class": "IPM.DistList", "displayName": "Everyone"}, {"displayName": "Ada"},
                   {"class": "IPM.Contact.Custom", "displayName": "Bea"}, {"class": null, "displayName": "Cid"})"),
        {line("Everyone;;;;;;;;;", 1), line("Ada;;;;;;;;;", 2), line("Bea;;;;;;;;;", 3), line("Cid;;;;;;;;;", 4)});
}

TEST_F(AgentContactsTest, HaveTheAddressOfTheirFirstSlotAsItStands)
{
    expectLines(mailbox(R"({"displayName": "1", "email": "plain@example.com"},
                   {"displayName": "2", "email": {"type": "FAX", "address": "+44 1632 960001"}},
                   {"displayName": "3", "email": {"type": "ex", "address": "/o=Example/cn=lower"}},
                   {"displayName": "4", "email": {"type": "EX ", "address": "/o=Example/cn=blank"}},
                   {"displayName": "5", "email": {"type": "Ex", "addressBook": "mei"}},
                   {"displayName": "6", "email": {"type": null, "address": "no type"}},
                   {"displayName": "7", "email": {"type": "", "address": "empty type"}},
                   {"displayName": "8", "email": {"type": "SMTP"}},
                   {"displayName": "9", "email": {"address": "name@example.com", "displayName": "Somebody else"}},
                   {"displayName": "10", "properties": {"PSETID_Address:0x8093:text": "second@example.com"}})"),
                {line("1;;;;;plain@example.com;;;;", 1), line("2;;;;;+44 1632 960001;;;;", 2),
                 line("3;;;;;/o=Example/cn=lower;;;;", 3), line("4;;;;;/o=Example/cn=blank;;;;", 4),
                 line("5;;;;;/o=Example/cn=Recipients/cn=mei;;;;", 5), line("6;;;;;no type;;;;", 6),
                 line("7;;;;;empty type;;;;", 7), line("8;;;;;;;;;", 8), line("9;;;;;name@example.com;;;;", 9),
                 line("10;;;;;;;;;", 10)});
}

TEST_F(AgentContactsTest, DoNotHaveTheAddressOfTheMessageItself)
{
    expectLines(mailbox(R"({"displayName": "1", "properties": {"PR_SMTP_ADDRESS_W": "message@example.com"}},
                   {"displayName": "2", "email": "slot@example.com",
                    "properties": {"PR_SMTP_ADDRESS_W": "message@example.com"}})"),
                {line("1;;;;;;;;;", 1), line("2;;;;;slot@example.com;;;;", 2)});
}

TEST_F(AgentContactsTest, HaveTheSmtpAddressOfTheirExchangeUser)
{
    // The value that holds the address is left to the runtime: one block for each address that was found.
    expectLines(mailbox(R"({"displayName": "1", "email": {"addressBook": "mei"}},
                   {"displayName": "2", "email": {"addressBook": "warning", "address": "not used"}})",
                        "", plansFor({{R"("opens": "@warning")", "0x00040380"}})),
                {line("1;;;;;mei@example.com;;;;", 1), line("2;;;;;warning@example.com;;;;", 2)}, {},
                "HrGetOneProp: 2 block(s), N bytes\n");
}

TEST_F(AgentContactsTest, HaveNoAddressWhenTheirExchangeUserCannotBeResolved)
{
    expectLines(mailbox(R"({"displayName": "1", "email": {"addressBook": "closed"}},
                   {"displayName": "2", "email": {"addressBook": "silent"}},
                   {"displayName": "3", "email": {"addressBook": "unreadable"}},
                   {"displayName": "4", "email": {"type": "EX", "address": "/o=Example/cn=no identifier"}},
                   {"displayName": "5", "email": {"type": "EX", "address": "x", "originalEntryId": "0000000099"}})",
                        "", plansFor({{R"("opens": "@closed")", "0x80070005"}})),
                {line("1;;;;;;;;;", 1), line("2;;;;;;;;;", 2), line("3;;;;;;;;;", 3), line("4;;;;;;;;;", 4),
                 line("5;;;;;;;;;", 5)});
}

TEST_F(AgentContactsTest, HaveNoAddressWhenTheirExchangeUsersIsEmpty)
{
    expectLines(mailbox(R"({"displayName": "1", "email": {"addressBook": "empty"}})"), {line("1;;;;;;;;;", 1)}, {},
                "HrGetOneProp: 1 block(s), N bytes\n");
}

TEST_F(AgentContactsTest, AreSkippedWhenTheyCannotBeOpened)
{
    expectLines(mailbox(R"({"displayName": "1"}, {"displayName": "2"}, {"displayName": "3"}, {"displayName": "4"})", "",
                        plansFor({{R"("opens": "Mailbox/Contacts/2")", "0x80070005"},
                                  {R"("opens": "Mailbox/Contacts/3")", "MAPI_E_OBJECT_DELETED"},
                                  {R"("opens": "Mailbox/Contacts/4")", "0x00040380"}})),
                {line("1;;;;;;;;;", 1), line("4;;;;;;;;;", 4)},
                {"Cannot open contact: hr = 80070005", "Cannot open contact: hr = 8004010a"});
}

TEST_F(AgentContactsTest, AreSkippedWhenTheirRowsHaveNoIdentifier)
{
    expectLines(mailbox(R"({"displayName": "1", "row": {"PR_ENTRYID": null}},
                   {"displayName": "2", "row": {"PR_ENTRYID": {"error": "0x8007000E"}}},
                   {"displayName": "3", "row": {"PR_ENTRYID": ""}}, {"displayName": "4"})"),
                {line("4;;;;;;;;;", 4)}, {emptyIdPassed, "Cannot open contact: hr = 80070057"});
}

TEST_F(AgentContactsTest, IgnoreValuesOfAnotherTypeThanText)
{
    expectLines(
        mailbox(R"({"displayName": "1", "properties": {"PR_GIVEN_NAME_W": {"answersAs": "0x3A060003", "value": 7},
                                                       "PR_SURNAME_W": {"answersAs": "0x3A11001E", "value": "narrow"}}},
                   {"displayName": "2", "properties": {"PR_GIVEN_NAME_W":
                                                       {"answersAs": "0x3A11001F", "value": "elsewhere"}}})"),
        {line("1;;;;;;;;;", 1), line("2;;;elsewhere;;;;;;", 2)});
}

TEST_F(AgentContactsTest, HaveTheAddressFieldAloneWhenTheirPropertiesComeWithAnotherWarning)
{
    // The values that came with the warning are neither looked at nor freed: those of the contact, those of its address.
    expectLines(mailbox(R"({"displayName": "1", "email": "unread@example.com"}, {"displayName": "2"})", "",
                        plansFor({{R"("method": "IMAPIProp::GetProps", "on": "Mailbox/Contacts/1")", "0x00040203"}})),
                {";;;;;;;;;;;", line("2;;;;;;;;;", 2)}, {}, "IMAPIProp::GetProps: 2 block(s), N bytes\n");
}

TEST_F(AgentContactsTest, EndTheWorkerWhenTheirPropertiesCannotBeRead)
{
    expectEnd(mailbox(R"({"displayName": "1"}, {"displayName": "2"}, {"displayName": "3"})", "",
                      plansFor({{R"("method": "IMAPIProp::GetProps", "on": "Mailbox/Contacts/2")", "0x8007000E"}})),
              "OutlookContact::load, line N: hr = 0x8007000e(MAPI call failed)");
}

TEST_F(AgentContactsTest, EndTheWorkerWhenTheirNamedPropertiesCannotBeResolved)
{
    expectEnd(mailbox(R"({"displayName": "1"}, {"displayName": "2"})", "",
                      plansFor({{R"("method": "IMAPIProp::GetIDsFromNames")", "MAPI_E_NO_SUPPORT"}})),
              "mapi::PropTagArray::at: index is out of scope");
}
} // namespace
} // namespace endtoend

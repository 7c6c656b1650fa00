#include "sandbox/mailbox/reading/MailboxReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/MailboxError.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "tests/support/TempFolder.h"

using namespace sandbox;
using testing::StartsWith;

namespace
{
/// A mailbox with one store, which has these members beside its name.
std::string store(const std::string& members)
{
    return R"({"stores":[{"name":"S")" + (members.empty() ? "" : "," + members) + "}]}";
}

/// A mailbox with one folder, which has these members beside its name.
std::string folder(const std::string& members)
{
    return store(R"("folders":[{"name":"F",)" + members + "}]");
}

/// A mailbox with one message with these members.
std::string message(const std::string& members)
{
    return folder(R"("messages":[{)" + members + "}]");
}

std::string complaintAbout(const std::string& json)
{
    try
    {
        (void)readMailbox(json);
        return "no complaint";
    }
    catch (const MailboxError& error)
    {
        // Where a value stands in the text is another test's matter; with a path, this goes on behind the position.
        const std::string text = error.what();
        const std::size_t path = text.find(": /");
        return path != std::string::npos ? text.substr(path + 2) : text;
    }
}

std::shared_ptr<Message> readMessage(const std::string& members)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(message(members));
    // The mailbox owns what its objects refer to, so the pointer keeps all of it.
    return {mailbox, mailbox->stores().at(0)->ipmSubtree()->folders().at(0)->messages().at(0).get()};
}

template <class Held>
Held valueOf(const MailboxObject& object, ULONG tag)
{
    const std::optional<Property> property = object.property(PROP_ID(tag));
    if (!property || property->tag != tag)
        throw std::runtime_error("no such property");
    return std::get<Held>(property->value);
}

/// The tag that the store of this message gives to a number of PSETID_Address.
ULONG namedTag(const Message& message, LONG number, ULONG type)
{
    return PROP_TAG(type, message.store().names().find(addressProperty(number)).value());
}
} // namespace

// ---- Complaints ----------------------------------------------------------------------------------------------------

struct Complaint
{
    const char* name;
    std::string json;
    std::string text; // the whole complaint, or its beginning when it ends in "..."
};

class MailboxReaderComplaintTest : public testing::TestWithParam<Complaint>
{
};

TEST_P(MailboxReaderComplaintTest, NamesThePlace)
{
    std::string expected = GetParam().text;
    const std::string complaint = complaintAbout(GetParam().json);
    if (expected.ends_with("..."))
        EXPECT_THAT(complaint, StartsWith(expected.substr(0, expected.size() - 3)));
    else
        EXPECT_EQ(complaint, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Syntax, MailboxReaderComplaintTest,
    testing::Values(Complaint{"Empty", "", "line 1, column 1: unexpected end of input..."},
                    Complaint{"OpenEnd", "{\n  \"stores\": [", "line 2, column 14: unexpected end of input..."},
                    Complaint{"WrongBracket", "{\n  \"stores\": }\n", "line 2, column 13: unexpected '}'..."},
                    Complaint{"ColumnsAreCharacters", "{ \"Ж\": }", "line 1, column 8: unexpected '}'..."},
                    Complaint{
                        "BadUtf8", "{ \"\xC3\x28\": 1 }",
                        "line 1, column 5: invalid string: ill-formed UTF-8 byte; last read: '\"\xEF\xBF\xBD('..."},
                    Complaint{"NumberBeyondAll", "{\n  \"rowsPerQuery\": -1e999, \"stores\": []}",
                              "line 2, column 19: number overflow parsing '-1e999'"},
                    Complaint{"KeyTwiceBehindNesting", R"({"stores":[{"folders":[[],{"a":[1,{}]}],"x":1,"x":2}]})",
                              "/stores/0/x: this key is given twice"}),
    [](const auto& entry) { return entry.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Values, MailboxReaderComplaintTest,
    testing::Values(
        Complaint{"UnknownName", message(R"("properties":{"PR_NICK_NAME":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/PR_NICK_NAME: no property has this name..."},
        Complaint{"WideFormOfNumber", message(R"("properties":{"PR_OBJECT_TYPE_W":1})"),
                  "/stores/0/folders/0/messages/0/properties/PR_OBJECT_TYPE_W: no property has this name..."},
        Complaint{"ShortTag", message(R"("properties":{"0x3A4F":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/0x3A4F: must be a property tag: 0x and eight digits"},
        Complaint{"UnservedType", message(R"("properties":{"0x3A4F000D":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/0x3A4F000D: the sandbox serves no property of this type"},
        Complaint{"NamedByTag", message(R"("properties":{"0x8083001F":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/0x8083001F: properties from 8000 on are named ones..."},
        Complaint{"BadSet", message(R"("properties":{"PSETID_Adress:0x8083:text":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/PSETID_Adress:0x8083:text: 'PSETID_Adress' is no..."},
        Complaint{"BadNamedType", message(R"("properties":{"PSETID_Address:0x8083:string":"x"})"),
                  "/stores/0/folders/0/messages/0/properties/PSETID_Address:0x8083:string: 'string' is no type..."},
        Complaint{"OddHex", message(R"("properties":{"PR_SEARCH_KEY":"ABC"})"),
                  "/stores/0/folders/0/messages/0/properties/PR_SEARCH_KEY: must be hexadecimal digits in pairs"},
        Complaint{"BadHexDigit", message(R"("entryId":"0000000G00")"),
                  "/stores/0/folders/0/messages/0/entryId: must be hexadecimal digits in pairs"},
        Complaint{"LongTooLarge", message(R"("properties":{"PR_MESSAGE_FLAGS":4294967296})"),
                  "/stores/0/folders/0/messages/0/properties/PR_MESSAGE_FLAGS: must be an integer from..."},
        Complaint{"HugeNumber", message(R"("properties":{"PR_MESSAGE_FLAGS":18446744073709551615})"),
                  "/stores/0/folders/0/messages/0/properties/PR_MESSAGE_FLAGS: must be an integer from..."},
        Complaint{"FractionForLong", message(R"("properties":{"PR_MESSAGE_FLAGS":1.5})"),
                  "/stores/0/folders/0/messages/0/properties/PR_MESSAGE_FLAGS: must be an integer from..."},
        Complaint{"BadDate", message(R"("properties":{"PR_BIRTHDAY":"2023-02-29T00:00:00Z"})"),
                  "/stores/0/folders/0/messages/0/properties/PR_BIRTHDAY: must be a time like..."}),
    [](const auto& entry) { return entry.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Contradictions, MailboxReaderComplaintTest,
    testing::Values(
        Complaint{"PropertyAndShortForm", message(R"("displayName":"a","properties":{"PR_DISPLAY_NAME_W":"b"})"),
                  "/stores/0/folders/0/messages/0/properties/PR_DISPLAY_NAME_W: this property is given already..."},
        Complaint{"NameAndTag", message(R"("properties":{"PR_NICKNAME":"a","0x3A4F001F":"b"})"),
                  "/stores/0/folders/0/messages/0/properties/PR_NICKNAME: this property is given already..."},
        Complaint{"EmailAndNamed", message(R"("email":"a","properties":{"PidLidEmail1EmailAddress":"b"})"),
                  "/stores/0/folders/0/messages/0/properties/PidLidEmail1EmailAddress: this property is given..."},
        Complaint{"PublicAndProvider", store(R"("public":true,"properties":{"PR_MDB_PROVIDER":"00"})"),
                  "/stores/0/properties: says what 'public' says already"},
        Complaint{"ClassTwice", folder(R"("class":"IPF.Contact","properties":{"PR_CONTAINER_CLASS":"IPF.Note"})"),
                  "/stores/0/folders/0/properties: says what 'class' or 'hidden' says already"},
        Complaint{"AddressBookAndId",
                  R"({"addressBook":{"u":{}},"stores":[{"name":"S","folders":[{"name":"F","messages":
                     [{"email":{"addressBook":"u","originalEntryId":"0000000001"}}]}]}]})",
                  "/stores/0/folders/0/messages/0/email: 'originalEntryId' and 'addressBook' contradict each other"},
        Complaint{"NoSuchUser", message(R"("email":{"addressBook":"u"})"),
                  "/stores/0/folders/0/messages/0/email/addressBook: the address book has no 'u'"},
        Complaint{"ShortId", message(R"("entryId":"00000000")"),
                  "/stores/0/folders/0/messages/0/entryId: an entry identifier has at least five bytes"},
        Complaint{"ShortTermId", message(R"("entryId":"8000000001")"),
                  "/stores/0/folders/0/messages/0/entryId: a long-term entry identifier begins with 00..."},
        Complaint{"IdTwice", folder(R"("messages":[{"entryId":"0000000001"},{"aliases":["0000000002","0000000001"]}])"),
                  "/stores/0/folders/0/messages/1: the entry identifier 0000000001 stands for another object already"},
        Complaint{"NamedOnUser", R"({"addressBook":{"u":{"properties":{"PidLidFileUnder":"x"}}}})",
                  "/addressBook/u/properties/PidLidFileUnder: this object can't have named properties"}),
    [](const auto& entry) { return entry.param.name; });

TEST(MailboxReaderTest, ComplainsWhenAnExplicitIdIsThatOfALaterGeneratedOne)
{
    const std::string uid = "4C696E6B77656C6C53616E64626F7801";
    const std::string second = "00000000" + uid + "0700" + uid + "0000000000030000" + uid + "0000000000020000";
    EXPECT_EQ(complaintAbout(folder(R"("messages":[{"entryId":")" + second + R"("},{}])")),
              "/stores/0/folders/0/messages/1: the entry identifier " + second + " stands for another object already");
}

TEST(MailboxReaderTest, ComplainsWhenAnExplicitIdIsThatOfAnEarlierGeneratedOne)
{
    const std::string uid = "4C696E6B77656C6C53616E64626F7801";
    const std::string first = "80000000" + uid + "0700000000000001";
    EXPECT_EQ(complaintAbout(folder(R"("messages":[{},{"aliases":[")" + first + R"("]}])")),
              "/stores/0/folders/0/messages/1: the entry identifier " + first + " stands for another object already");
}

TEST(MailboxReaderTest, ComplainsWhenFoldersAreNestedTooDeeply)
{
    std::string open;
    std::string close;
    std::string path = "/stores/0";
    for (int level = 0; level < 2001; ++level)
    {
        open += R"("folders":[{"name":"F",)";
        close += "}]";
        path += "/folders/0";
    }
    EXPECT_EQ(complaintAbout(store(open + R"("hidden":false)" + close)),
              path + ": folders are nested deeper than 2000 levels");
}

TEST(MailboxReaderTest, ComplainsWhenTheFileIsAbsent)
{
    const support::TempFolder folder;
    try
    {
        (void)readMailboxFile(folder.path() / "nothing.json");
        FAIL() << "no complaint";
    }
    catch (const MailboxError& error)
    {
        EXPECT_STREQ(error.what(), "the file can't be opened");
    }
}

TEST(MailboxReaderTest, SurvivesEveryCutOfAValidFile)
{
    const std::string whole = R"({"rowsPerQuery":1,"addressBook":{"u":{"smtpAddress":"a@example.com"}},)"
                              R"("stores":[{"name":"Sé","folders":[{"name":"F","messages":[{"email":)"
                              R"({"addressBook":"u"},"properties":{"PR_SEARCH_KEY":"00FF"}}]}]}]})";
    ASSERT_EQ(complaintAbout(whole), "no complaint");
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_THAT(complaintAbout(whole.substr(0, length)), StartsWith("line 1, column ")) << length;
}

TEST(MailboxReaderTest, SurvivesDeepBrackets)
{
    EXPECT_THAT(complaintAbout(std::string(1'000'000, '[')), StartsWith("line 1, column 1000001"));
}

// ---- What is read --------------------------------------------------------------------------------------------------

TEST(MailboxReaderTest, ReadsAnEmptyMailbox)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox("{}");
    EXPECT_TRUE(mailbox->stores().empty());
    EXPECT_TRUE(mailbox->supportsFastShutdown());
    EXPECT_EQ(mailbox->rowsPerQuery(), 0u);
}

TEST(MailboxReaderTest, AllowsCommentsAndAByteOrderMark)
{
    EXPECT_EQ(complaintAbout("\xEF\xBB\xBF// a\n{ /* b */ \"stores\": [] }"), "no complaint");
}

TEST(MailboxReaderTest, ReadsTheMailboxSettings)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(R"({"fastShutdown":"unsupported","rowsPerQuery":3})");
    EXPECT_FALSE(mailbox->supportsFastShutdown());
    EXPECT_EQ(mailbox->rowsPerQuery(), 3u);
}

TEST(MailboxReaderTest, ReadsTheShortFormsOfAContact)
{
    const std::shared_ptr<Message> contact = readMessage(
        R"("displayName":"D","givenName":"G","middleName":"","surname":"S","company":"C","businessPhone":"1",
           "homePhone":"2","mobilePhone":"3","businessFax":"4")");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_MESSAGE_CLASS_W), L"IPM.Contact");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_DISPLAY_NAME_W), L"D");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_GIVEN_NAME_W), L"G");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_MIDDLE_NAME_W), L"");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_SURNAME_W), L"S");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_COMPANY_NAME_W), L"C");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_BUSINESS_TELEPHONE_NUMBER_W), L"1");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_HOME_TELEPHONE_NUMBER_W), L"2");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_MOBILE_TELEPHONE_NUMBER_W), L"3");
    EXPECT_EQ(valueOf<std::wstring>(*contact, PR_BUSINESS_FAX_NUMBER_W), L"4");
}

TEST(MailboxReaderTest, ReadsAMessageWithoutClass)
{
    EXPECT_FALSE(readMessage(R"("class":null)")->property(PROP_ID(PR_MESSAGE_CLASS_W)));
}

TEST(MailboxReaderTest, ReadsAnEmailText)
{
    const std::shared_ptr<Message> contact = readMessage(R"("email":"a@example.com")");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, PidLidEmail1AddressType, PT_UNICODE)), L"SMTP");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, PidLidEmail1EmailAddress, PT_UNICODE)),
              L"a@example.com");
}

TEST(MailboxReaderTest, ReadsAnEmailObject)
{
    const std::shared_ptr<Message> contact =
        readMessage(R"("email":{"type":"ex","address":"a","displayName":"n","originalEntryId":"00 01"})");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, PidLidEmail1AddressType, PT_UNICODE)), L"ex");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, PidLidEmail1EmailAddress, PT_UNICODE)), L"a");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, 0x8080, PT_UNICODE)), L"n");
    EXPECT_EQ(valueOf<Bytes>(*contact, namedTag(*contact, PidLidEmail1OriginalEntryId, PT_BINARY)), Bytes({0, 1}));
}

TEST(MailboxReaderTest, ReadsAnEmailWithoutType)
{
    const std::shared_ptr<Message> contact = readMessage(R"("email":{"type":null,"address":"a"})");
    EXPECT_FALSE(contact->store().names().find(addressProperty(PidLidEmail1AddressType)));
}

TEST(MailboxReaderTest, TakesTheAddressBookEntryAsEmail)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(
        R"({"addressBook":{"u":{"displayName":"User","smtpAddress":"u@example.com"}},
            "stores":[{"name":"S","folders":[{"name":"F","messages":[{"email":{"addressBook":"u"}}]}]}]})");
    const Message& contact = *mailbox->stores().at(0)->ipmSubtree()->folders().at(0)->messages().at(0);
    EXPECT_EQ(valueOf<std::wstring>(contact, namedTag(contact, PidLidEmail1AddressType, PT_UNICODE)), L"EX");
    EXPECT_EQ(valueOf<std::wstring>(contact, namedTag(contact, PidLidEmail1EmailAddress, PT_UNICODE)),
              L"/o=Example/cn=Recipients/cn=u");
    const Bytes id = valueOf<Bytes>(contact, namedTag(contact, PidLidEmail1OriginalEntryId, PT_BINARY));
    const std::shared_ptr<MailboxObject> user = mailbox->find(id);
    ASSERT_NE(user, nullptr);
    EXPECT_EQ(user->type(), MAPI_MAILUSER);
    EXPECT_EQ(valueOf<std::wstring>(*user, PR_SMTP_ADDRESS_W), L"u@example.com");
}

TEST(MailboxReaderTest, ReadsEachTypeOfValue)
{
    const std::shared_ptr<Message> contact = readMessage(
        R"("properties":{"PR_NICKNAME":"n","0x3A500003":-5,"PR_MESSAGE_FLAGS":"0xFFFFFFFF","PR_GENDER":2,
           "0x66100014":9007199254740993,"0x66110005":0.5,"PR_ATTR_HIDDEN":true,"PR_BIRTHDAY":"1601-01-02T00:00:01Z",
           "0x66120048":"{01020304-0506-0708-090A-0B0C0D0E0F10}","PR_SEARCH_KEY":"0A ff","0x66131003":[1,"0x2"],
           "0x6614101F":["a","b"],"0x66151102":["00",""],"0x6616001E":"narrow","PR_BODY":{"utf16":"D83D 0041"}})");
    EXPECT_EQ(valueOf<std::wstring>(*contact, 0x3A4F001F), L"n");
    EXPECT_EQ(valueOf<std::int32_t>(*contact, 0x3A500003), -5);
    EXPECT_EQ(valueOf<std::int32_t>(*contact, PR_MESSAGE_FLAGS), -1);
    EXPECT_EQ(valueOf<std::int32_t>(*contact, 0x3A4D0002), 2);
    EXPECT_EQ(valueOf<std::int64_t>(*contact, 0x66100014), 9007199254740993);
    EXPECT_EQ(valueOf<double>(*contact, 0x66110005), 0.5);
    EXPECT_EQ(valueOf<bool>(*contact, PR_ATTR_HIDDEN), true);
    EXPECT_EQ(valueOf<std::int64_t>(*contact, 0x3A420040), 864'010'000'000);
    const GUID guid = valueOf<GUID>(*contact, 0x66120048);
    EXPECT_EQ(guid.Data1, 0x01020304u);
    EXPECT_EQ(guid.Data3, 0x0708u);
    EXPECT_EQ(guid.Data4[7], 0x10u);
    EXPECT_EQ(valueOf<Bytes>(*contact, 0x300B0102), Bytes({0x0A, 0xFF}));
    EXPECT_EQ(valueOf<std::vector<std::int32_t>>(*contact, 0x66131003), std::vector<std::int32_t>({1, 2}));
    EXPECT_EQ(valueOf<std::vector<std::wstring>>(*contact, 0x6614101F), std::vector<std::wstring>({L"a", L"b"}));
    EXPECT_EQ(valueOf<std::vector<Bytes>>(*contact, 0x66151102), std::vector<Bytes>({Bytes({0}), Bytes()}));
    EXPECT_EQ(valueOf<std::wstring>(*contact, 0x6616001E), L"narrow");
    EXPECT_EQ(valueOf<std::wstring>(*contact, 0x1000001F), std::wstring({wchar_t(0xD83D), L'A'}));
}

TEST(MailboxReaderTest, ReadsNamedProperties)
{
    const std::shared_ptr<Message> contact = readMessage(
        R"("properties":{"PidLidFileUnder":"f","PSETID_Address:0x8062:text":"im",
           "{00062008-0000-0000-C000-000000000046}:0x8503:boolean":true,"PS_PUBLIC_STRINGS:Keywords:texts":["k"]})");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, 0x8005, PT_UNICODE)), L"f");
    EXPECT_EQ(valueOf<std::wstring>(*contact, namedTag(*contact, 0x8062, PT_UNICODE)), L"im");
    const NameMapping& names = contact->store().names();
    const GUID common = {0x00062008, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const GUID strings = {0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    EXPECT_TRUE(valueOf<bool>(*contact, PROP_TAG(PT_BOOLEAN, names.find({common, LONG(0x8503)}).value())));
    EXPECT_EQ(valueOf<std::vector<std::wstring>>(
                  *contact, PROP_TAG(MV_FLAG | PT_UNICODE, names.find({strings, std::wstring(L"Keywords")}).value())),
              std::vector<std::wstring>({L"k"}));
}

TEST(MailboxReaderTest, ReadsErrorsAbsenceAndForeignAnswers)
{
    const std::shared_ptr<Message> contact = readMessage(
        R"("properties":{"PR_BODY":{"error":"0x8007000E"},"PR_MESSAGE_FLAGS":null,
           "PR_NICKNAME":{"answersAs":"0x30010003","value":5}})");
    EXPECT_EQ(std::get<PropertyError>(contact->property(0x1000)->value).code, MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_FALSE(contact->property(PROP_ID(PR_MESSAGE_FLAGS)));
    const std::optional<Property> foreign = contact->property(0x3A4F);
    ASSERT_TRUE(foreign);
    EXPECT_EQ(foreign->tag, 0x3A4F001Fu);
    EXPECT_EQ(foreign->answersAs, 0x30010003u);
    EXPECT_EQ(std::get<std::int32_t>(foreign->value), 5);
}

TEST(MailboxReaderTest, ReadsFoldersInAndBesideTheIpmSubtree)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(
        store(R"("folders":[{"name":"A","folders":[{"name":"AA"}]},{"name":"B"}],"rootFolders":[{"name":"C"}],
                 "root":{"messages":[{}]},"ipmSubtree":{"name":"Top","class":"IPF.Note"})"));
    const Store& read = *mailbox->stores().at(0);
    ASSERT_EQ(read.root()->folders().size(), 2u);
    EXPECT_EQ(read.root()->folders()[0], read.ipmSubtree());
    EXPECT_EQ(valueOf<std::wstring>(*read.root()->folders()[1], PR_DISPLAY_NAME_W), L"C");
    EXPECT_EQ(read.root()->messages().size(), 1u);
    EXPECT_EQ(valueOf<std::wstring>(*read.root(), PR_DISPLAY_NAME_W), L"Root");
    EXPECT_EQ(valueOf<std::wstring>(*read.ipmSubtree(), PR_DISPLAY_NAME_W), L"Top");
    EXPECT_EQ(valueOf<std::wstring>(*read.ipmSubtree(), PR_CONTAINER_CLASS_W), L"IPF.Note");
    ASSERT_EQ(read.ipmSubtree()->folders().size(), 2u);
    EXPECT_EQ(valueOf<std::wstring>(*read.ipmSubtree()->folders()[0]->folders().at(0), PR_DISPLAY_NAME_W), L"AA");
    EXPECT_EQ(valueOf<std::wstring>(*read.ipmSubtree()->folders()[1], PR_DISPLAY_NAME_W), L"B");
}

TEST(MailboxReaderTest, ReadsAFileWithANameInAnyScript)
{
    const support::TempFolder folder;
    const std::filesystem::path path = folder.path() / L"\u0416\u6625.json";
    support::writeBytes(path, store(""));
    EXPECT_EQ(readMailboxFile(path)->stores().size(), 1u);
}

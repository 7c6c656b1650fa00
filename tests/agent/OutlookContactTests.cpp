// What end to end doesn't show of a contact: what a record holds that is not a message's, or after a failure, and values
// that are malformed.
#include "agent/OutlookContact.h"

#include "agent/ContactLoading.h"
#include "mapiabi/MapiTags.h"
#include "tests/agent/AgentTest.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using testing::_;
using testing::IsEmpty;

const EntryId contactId = {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4};
constexpr const wchar_t* onlyContactId = L";;;;;;;;;;00000000A1B2C3D4;";
constexpr const wchar_t* outOfScope = L"mapi::PropTagArray::at: index is out of scope";

std::wstring loaded(const IMAPIPropPtr& message)
{
    OutlookContact contact;
    contact.load(message);
    return contact.toString();
}

TEST(OutlookContactRecordTest, HoldsTheIdentifiersThatItIsGiven)
{
    EXPECT_EQ(OutlookContact().toString(), L"");
    EXPECT_EQ(OutlookContact({}, {}).toString(), L"");
    EXPECT_EQ(OutlookContact(contactId, {}).toString(), onlyContactId);
    EXPECT_EQ(OutlookContact({}, {0x0A}).toString(), L";;;;;;;;;;;0A");
    EXPECT_EQ(OutlookContact({0x00}, {0x0A}).toString(), L";;;;;;;;;;00;0A");
}

TEST(OutlookContactRecordTest, GivesALineThatTakesNoMoreMemoryThanItNeeds)
{
    const std::wstring line = OutlookContact(EntryId(100, 0x0A), EntryId(300, 0x0B)).toString();
    EXPECT_LE(line.capacity(), line.size() + 16); // libraries round it up
}

TEST(OutlookContactRecordTest, StaysAsItIsWhenTheMessageIsNull)
{
    OutlookContact contact(contactId, {});
    contact.load({});
    EXPECT_EQ(contact.toString(), onlyContactId);
    EXPECT_EQ(OutlookContact::resolveEmailAddress({}), L"");
}

/// A contact of the sandbox.
class OutlookContactTest : public tests::AgentTest
{
protected:
    /// Logs on to a mailbox with this message, and opens it.
    [[nodiscard]] IMAPIPropPtr open(const std::string& message, const std::string& addressBook = "")
    {
        logon(R"({"stores": [{"name": "Mailbox", "folders": [{"name": "Contacts", "messages": [)" + message +
              R"(]}]}], "addressBook": {)" + addressBook + "}}");
        const IMAPIFolderPtr folder = find(openStore(), {L"Contacts"});
        const IMAPIPropPtr opened = openContact(folder, messageIds(folder).at(0));
        (void)newLines();
        return opened;
    }

    /// Loading must throw this, and leave the record alone.
    void expectFailure(const IMAPIPropPtr& message, const std::wstring& failure) const
    {
        OutlookContact contact(contactId, {});
        EXPECT_EQ(thrown([&] { contact.load(message); }), failure);
        EXPECT_EQ(contact.toString(), onlyContactId);
    }
};

/// The value of an Exchange user's address, found or not, stays allocated.
constexpr const char* valueLeft = "HrGetOneProp: 1 block\\(s\\), \\d+ bytes\n";

const std::string withoutIds = R"("properties": {"PR_ENTRYID": null, "PR_PARENT_ENTRYID": null)";

TEST_F(OutlookContactTest, ReplacesWhatItHeld)
{
    const IMAPIPropPtr message = open(R"({"surname": "Berg", "row": {"PR_ENTRYID": "00000000AB"},
                                          "aliases": ["00000000AB"], )" +
                                      withoutIds + "}}");
    OutlookContact contact(contactId, {0x0A});
    contact.load(message);
    EXPECT_EQ(contact.toString(), L";;;Berg;;;;;;;;");
}

TEST_F(OutlookContactTest, KeepsTheLastOfSeveralValuesUnderOneTagButNoEmptyOne)
{
    const IMAPIPropPtr message = open(R"({"company": "", "row": {"PR_ENTRYID": "00000000AB"},
        "aliases": ["00000000AB"], )" +
                                      withoutIds +
                                      R"(,
        "PR_GIVEN_NAME_W": {"answersAs": "0x3A44001F", "value": "first"},
        "PR_MIDDLE_NAME_W": "second",
        "PR_SURNAME_W": {"answersAs": "0x3A44001F", "value": ""}}})");
    EXPECT_EQ(loaded(message), L";;second;;;;;;;;;");
}

TEST_F(OutlookContactTest, TakesOneBlockOfMemoryForEachTextAndOneForAllOfThemAndOneForTheLine)
{
    const IMAPIPropPtr message = open(R"({"displayName": "display name", "givenName": "given name",
        "middleName": "middle name", "surname": "sur name", "company": "company name", "email": "someone@example.com",
        "businessPhone": "+44 1632 960001", "homePhone": "+44 1632 960002", "mobilePhone": "+44 7700 900003",
        "businessFax": "+44 1632 960004"})");
    const support::HeapWatch heap;
    std::ignore = loaded(message);
    EXPECT_EQ(heap.count(), 12U + 2U);
}

TEST_F(OutlookContactTest, StaysAsItWasWhenItsPropertiesOrNamesCannotBeHad)
{
    const IMAPIPropPtr message = open(R"({"displayName": "Ada"})");
    planResult("IMAPIProp::GetProps", "0x8007000E");
    expectFailure(message, L"OutlookContact::load, line N: hr = 0x8007000e(MAPI call failed)");
    planResult("IMAPIProp::GetIDsFromNames", "0x80040102");
    expectFailure(message, outOfScope);
}

TEST_F(OutlookContactTest, HasNoAddressAndNoLineInTheLogWhenTheSlotCannotBeRead)
{
    const IMAPIPropPtr message = open(R"({"displayName": "Ada", "email": "ada@example.com"})");
    planResult("IMAPIProp::GetProps", "0x80070005");
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"");
    EXPECT_THAT(newLines(), IsEmpty());
}

TEST_F(OutlookContactTest, TakesTheNamesWithAWarning)
{
    const IMAPIPropPtr message = open(R"({"email": "ada@example.com"})");
    planResult("IMAPIProp::GetIDsFromNames", "MAPI_W_ERRORS_RETURNED");
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"ada@example.com");
}

TEST_F(OutlookContactTest, TakesTheAddressOfAnExchangeUserWithAWarning)
{
    const IMAPIPropPtr message =
        open(R"({"email": {"addressBook": "ada"}})", R"("ada": {"smtpAddress": "ada@example.com"})");
    planResult("HrGetOneProp", "0x00040380");
    sandbox().startJournal();
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"ada@example.com");
    const std::string calls = sandbox().takeJournal().dump(); // no other test sees how the user is opened
    EXPECT_THAT(calls, testing::HasSubstr(
                           R"("lpInterface":"IID_IMAPIProp","ulFlags":"0x10"},"call":"IMAPISession::OpenEntry")"));
    m_report = valueLeft;
}

TEST_F(OutlookContactTest, HasNoAddressWhenThatOfAnExchangeUserComesUnderAnotherTag)
{
    const IMAPIPropPtr message = open(
        R"({"email": {"addressBook": "ada"}})",
        R"("ada": {"properties": {"PR_SMTP_ADDRESS_W": {"answersAs": "0x3003001F", "value": "ada@example.com"}}})");
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"");
    m_report = valueLeft;
}

TEST_F(OutlookContactTest, HasNoAddressOfAnExchangeUserWithoutASession)
{
    const IMAPIPropPtr message =
        open(R"({"email": {"addressBook": "ada"}})", R"("ada": {"smtpAddress": "ada@example.com"})");
    const auto session = mapi::Session::s_session;
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"");
    mapi::Session::s_session = session;
}

TEST_F(OutlookContactTest, HoldsTheSessionWhileItOpensAnExchangeUser)
{
    const IMAPIPropPtr message =
        open(R"({"email": {"addressBook": "ada"}})", R"("ada": {"smtpAddress": "ada@example.com"})");
    const tests::Mocked<tests::MockSession> mock;
    EXPECT_CALL(*mock, OpenEntry(_, _, _, _, _, _))
        .WillOnce(
            [&mock](auto...)
            {
                mapi::Session::s_session = nullptr;
                EXPECT_EQ(mock->references(), 2);
                return MAPI_E_CALL_FAILED;
            });
    const auto session = mapi::Session::s_session;
    mapi::Session::s_session = mock.pointer();
    EXPECT_EQ(OutlookContact::resolveEmailAddress(message), L"");
    mapi::Session::s_session = session;
}

// ---- What the sandbox never answers --------------------------------------------------------------------------------

/// A message as a mock: no mailbox file gives texts without a pointer, or one tag to two names.
class MalformedContactTest : public tests::AgentTest
{
protected:
    /// @param addressTag  what the second name of the e-mail slot gets; the first one gets 0x81010000.
    void give(const tests::Properties& values, ULONG addressTag = 0x81020000)
    {
        EXPECT_CALL(*m_message, GetIDsFromNames(3, _, MAPI_CREATE, _))
            .WillOnce(
                [addressTag](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
                {
                    *tags = tests::makeTags({0x81010000, addressTag, 0x81030000});
                    return S_OK;
                });
        tests::giveProperties(m_message, values);
    }

    const tests::Mocked<tests::MockProp> m_message;
};

TEST_F(MalformedContactTest, HasEmptyFieldsForTextsWithoutAPointer)
{
    give({tests::Property::nullText(PR_DISPLAY_NAME_W), tests::Property::nullText(0x8101001F),
          tests::Property::nullText(0x8102001F)});
    EXPECT_EQ(loaded(m_message.pointer()), L";;;;;;;;;;;");
}

TEST_F(MalformedContactTest, IsNotLoadedWhenFewerTagsComeThanNames)
{
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _))
        .WillOnce(testing::Return(S_OK))
        .WillOnce(
            [](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
            {
                *tags = tests::makeTags({0x81010000, 0x81020000});
                return S_OK;
            });
    for (int call = 0; call < 2; ++call)
        EXPECT_EQ(thrown([this] { std::ignore = OutlookContact::resolveEmailAddress(m_message.pointer()); }),
                  outOfScope);
}

TEST_F(MalformedContactTest, ReadsTheTypeFirstWhenTwoNamesHaveOneTag)
{
    give({tests::Property::text(0x8101001F, L"SMTP")}, 0x81010000);
    EXPECT_EQ(OutlookContact::resolveEmailAddress(m_message.pointer()), L"");
}
} // namespace

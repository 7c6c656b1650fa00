#include "agent/OutlookContact.h"

#include "mapiabi/MapiTags.h"

#include <vector>

#include <gmock/gmock.h>

#include "agent/SyncItem.h"
#include "tests/agent/ContactFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

class OutlookContactTest : public ContactFixture
{
};

// ---- The line ------------------------------------------------------------------------------------------------------

TEST_F(OutlookContactTest, HasNoTextWhenTheRecordIsEmpty)
{
    EXPECT_EQ(OutlookContact().toString(), L"");
    EXPECT_EQ(OutlookContact({}, {}).toString(), L"");
}

TEST_F(OutlookContactTest, HoldsItsIdentifiersInHexadecimal)
{
    EXPECT_EQ(OutlookContact(contactId, {}).toString(), L";;;;;;;;;;00000000A1B2C3D4;");
    EXPECT_EQ(OutlookContact({}, folderId).toString(), L";;;;;;;;;;;00000000E5F60718");
    EXPECT_EQ(OutlookContact({0x0A}, {0x00}).toString(), L";;;;;;;;;;0A;00");
}

TEST_F(OutlookContactTest, WritesTwelveFieldsWithHomeBeforeMobile)
{
    giveMessage(allFields(), emailSlot(L"SMTP", L"slot@example.com"));
    EXPECT_EQ(loaded(), L"display;first;middle;last;company;slot@example.com;business;home;mobile;fax;"
                        L"00000000A1B2C3D4;00000000E5F60718");
}

TEST_F(OutlookContactTest, LeavesTheFieldsOfAbsentPropertiesEmpty)
{
    giveMessage({
        Property::text(PR_DISPLAY_NAME_W, L"Anna Berg"),
        Property::text(PR_GIVEN_NAME_W, L"Anna"),
        Property::text(PR_SURNAME_W, L"Berg"),
        Property::text(PR_COMPANY_NAME_W, L"Nordlicht AG"),
        Property::text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"+49 30 1111"),
        Property::text(PR_MOBILE_TELEPHONE_NUMBER_W, L"+49 170 2222"),
        Property::bytes(PR_ENTRYID, contactId),
        Property::bytes(PR_PARENT_ENTRYID, folderId),
    });
    EXPECT_EQ(loaded(),
              L"Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718");
}

TEST_F(OutlookContactTest, WritesANameAndAnIdentifierAlone)
{
    giveMessage({Property::text(PR_DISPLAY_NAME_W, L"Anna"), Property::bytes(PR_ENTRYID, contactId)});
    EXPECT_EQ(loaded(), L"Anna;;;;;;;;;;00000000A1B2C3D4;");
}

TEST_F(OutlookContactTest, IsElevenSeparatorsWhenNothingCouldBeRead)
{
    giveMessage({});
    EXPECT_EQ(loaded(), onlySeparators);
}

TEST_F(OutlookContactTest, CopiesTextsWithoutAnyEscaping)
{
    giveMessage({Property::text(PR_DISPLAY_NAME_W, L" Berg; \"Anna\"\\"),
                 Property::text(PR_COMPANY_NAME_W, L"Nordlicht\r\nAG\n")},
                emailSlot(L"SMTP", L"<a;b>"));
    EXPECT_EQ(loaded(), L" Berg; \"Anna\"\\;;;;Nordlicht\r\nAG\n;<a;b>;;;;;;");
}

TEST_F(OutlookContactTest, CannotTellAnEmptyPropertyFromAnAbsentOne)
{
    giveMessage({Property::text(PR_DISPLAY_NAME_W, L""), Property::text(PR_SURNAME_W, L"Berg"),
                 Property::nullText(PR_COMPANY_NAME_W), Property::bytes(PR_ENTRYID, {})});
    EXPECT_EQ(loaded(), L";;;Berg;;;;;;;;");
}

// ---- load ----------------------------------------------------------------------------------------------------------

TEST_F(OutlookContactTest, AsksOnceForTheTwelveTagsThenForTheNamesThenForTheSlot)
{
    const testing::InSequence inSequence;
    EXPECT_CALL(*m_message, GetProps(_, MAPI_UNICODE, _, _))
        .WillOnce(
            [](SPropTagArray* tags, ULONG, ULONG* count, SPropValue** values)
            {
                EXPECT_THAT(tagsOf(tags),
                            ElementsAre(0x3001001F, 0x3A06001F, 0x3A44001F, 0x3A11001F, 0x3A16001F, 0x39FE001F,
                                        0x3A08001F, 0x3A1C001F, 0x3A09001F, 0x3A24001F, 0x0FFF0102, 0x0E090102));
                return getProps(allFields(), tags, count, values);
            });
    EXPECT_CALL(*m_message, GetIDsFromNames(3, _, MAPI_CREATE, _))
        .WillOnce(
            [](ULONG, MAPINAMEID** names, ULONG, SPropTagArray** tags)
            {
                EXPECT_EQ(names[0]->Kind.lID, 0x8082);
                EXPECT_EQ(names[1]->Kind.lID, 0x8083);
                EXPECT_EQ(names[2]->Kind.lID, 0x8085);
                *tags = makeTags({0x81010000, 0x81020000, 0x81030000});
                return S_OK;
            });
    EXPECT_CALL(*m_message, GetProps(_, MAPI_UNICODE, _, _))
        .WillOnce(
            [](SPropTagArray* tags, ULONG, ULONG* count, SPropValue** values)
            {
                EXPECT_THAT(tagsOf(tags), ElementsAre(typeTag, addressTag, entryIdTag));
                return getProps({}, tags, count, values);
            });
    EXPECT_EQ(loaded(), L"display;first;middle;last;company;;business;home;mobile;fax;"
                        L"00000000A1B2C3D4;00000000E5F60718");
}

TEST_F(OutlookContactTest, AsksForTextsAndBytesWhateverTypesTheNamesCameWith)
{
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).WillOnce(givesTags({0x8101001E, 0x8102000A, 0x8103FFFF}));
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(
            [](SPropTagArray* tags, ULONG, ULONG*, SPropValue**)
            {
                EXPECT_THAT(tagsOf(tags), ElementsAre(typeTag, addressTag, entryIdTag));
                return MAPI_E_CALL_FAILED;
            });
    EXPECT_EQ(resolved(), L"");
}

TEST_F(OutlookContactTest, StaysAsItIsWhenTheMessageIsNull)
{
    OutlookContact contact(contactId, {});
    contact.load(nullptr);
    EXPECT_EQ(contact.toString(), L";;;;;;;;;;00000000A1B2C3D4;");
}

TEST_F(OutlookContactTest, ReplacesWhatItHeldWhenItIsLoaded)
{
    giveMessage({Property::text(PR_SURNAME_W, L"Berg")});
    OutlookContact contact(contactId, folderId);
    contact.load(m_message.pointer());
    EXPECT_EQ(contact.toString(), L";;;Berg;;;;;;;;");
}

TEST_F(OutlookContactTest, DropsTheMessagesOwnSmtpAddress)
{
    giveMessage({Property::text(PR_SMTP_ADDRESS_W, L"own@example.com"), Property::text(PR_SURNAME_W, L"Berg")});
    EXPECT_EQ(loaded(), L";;;Berg;;;;;;;;");
}

TEST_F(OutlookContactTest, IgnoresValuesOfOtherTypes)
{
    SPropValue number{};
    number.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_LONG);
    number.Value.l = 7;
    SPropValue narrow{};
    narrow.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8);
    char text[] = "narrow";
    narrow.Value.lpszA = text;
    SPropValue error{};
    error.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_ERROR);
    error.Value.err = MAPI_E_NOT_ENOUGH_MEMORY;
    SPropValue many{};
    many.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, MV_FLAG | PT_UNICODE);
    for (const SPropValue& value : {number, narrow, error, many})
    {
        SCOPED_TRACE(value.ulPropTag);
        EXPECT_CALL(*m_message, GetProps(_, _, _, _)).WillOnce(givesValue(value)).WillOnce(Return(MAPI_E_CALL_FAILED));
        EXPECT_EQ(loaded(), onlySeparators);
    }
}

TEST_F(OutlookContactTest, StoresAValueUnderTheTagThatCameBack)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(givesValues({Property::text(PR_SURNAME_W, L"in another place"), Property::text(0x7777001F, L"?")}))
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(loaded(), L";;;in another place;;;;;;;;");
}

TEST_F(OutlookContactTest, KeepsTheLastOfSeveralValuesUnderOneTag)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(givesValues({Property::text(PR_SURNAME_W, L"first"), Property::text(PR_SURNAME_W, L"second"),
                               Property::text(PR_SURNAME_W, L"")}))
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(loaded(), L";;;second;;;;;;;;");
}

TEST_F(OutlookContactTest, StaysAsItWasWhenItsPropertiesCannotBeRead)
{
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).Times(0);
    EXPECT_CALL(*m_message, GetProps(_, _, _, _)).WillOnce(Return(MAPI_E_NOT_ENOUGH_MEMORY));
    OutlookContact contact(contactId, {});
    EXPECT_EQ(thrown([&] { contact.load(m_message.pointer()); }),
              L"OutlookContact::load, line N: hr = 0x8007000e(MAPI call failed)");
    EXPECT_EQ(contact.toString(), L";;;;;;;;;;00000000A1B2C3D4;");
    EXPECT_EQ(m_message->references(), 1);
}

TEST_F(OutlookContactTest, TakesNoValuesWithAnyOtherWarning)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(givesValues(allFields(), 0x00040381))
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(loaded(), onlySeparators);
    EXPECT_NE(m_runtime.freeLeftBlocks(), 0u); // what came with the warning is not ours to free
}

TEST_F(OutlookContactTest, StaysAsItWasWhenTheNamesCannotBeHad)
{
    giveMessage(allFields());
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    OutlookContact contact(contactId, {});
    EXPECT_EQ(thrown([&] { contact.load(m_message.pointer()); }), outOfScope);
    EXPECT_EQ(contact.toString(), L";;;;;;;;;;00000000A1B2C3D4;");
}

TEST_F(OutlookContactTest, LeavesNothingAllocatedAndNoReferenceWhenItIsLoaded)
{
    giveMessage(allFields(), emailSlot(L"SMTP", L"slot@example.com"));
    EXPECT_NE(loaded(), L"");
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_EQ(m_message->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(OutlookContactTest, BecomesTheTextOfAnItem)
{
    giveMessage({Property::text(PR_DISPLAY_NAME_W, L"Anna"), Property::bytes(PR_ENTRYID, contactId)},
                emailSlot(L"SMTP", L"slot@example.com"));
    const SyncItem item(m_message.pointer());
    EXPECT_FALSE(item.isFolder);
    EXPECT_EQ(item.text, L"Anna;;;;;slot@example.com;;;;;00000000A1B2C3D4;");
}
} // namespace

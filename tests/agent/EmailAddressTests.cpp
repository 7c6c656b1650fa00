#include "agent/OutlookContact.h"

#include "agent/mapi/MapiRuntime.h"
#include "mapiabi/MapiTags.h"

#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/ContactFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

/// OutlookContact::resolveEmailAddress, and what load makes of it.
class EmailAddressTest : public ContactFixture
{
};

TEST_F(EmailAddressTest, ResolvesNothingForANullMessage)
{
    EXPECT_EQ(OutlookContact::resolveEmailAddress(nullptr), L"");
}

TEST_F(EmailAddressTest, TakesTheAddressAsItStandsForAnyTypeButExchange)
{
    const Mocked<MockSession> session; // is asked nothing
    mapi::Session::s_session = session.pointer();
    for (const wchar_t* const type : {L"SMTP", L"", L"ex", L"Ex", L"EX ", L"EXX", L"E", L"FAX"})
    {
        SCOPED_TRACE(type);
        Properties slot = emailSlot(type, L" anything; at all ");
        slot.push_back(Property::bytes(entryIdTag, addressId));
        giveMessage({}, slot);
        EXPECT_EQ(resolved(), L" anything; at all ");
    }
}

TEST_F(EmailAddressTest, TakesTheAddressWithoutAType)
{
    giveMessage({}, {Property::text(addressTag, L"anna@example.com")});
    EXPECT_EQ(resolved(), L"anna@example.com");
}

TEST_F(EmailAddressTest, HasNoAddressWhenTheSlotIsEmpty)
{
    giveMessage({});
    EXPECT_EQ(resolved(), L"");
    giveMessage({}, {Property::text(typeTag, L"SMTP")});
    EXPECT_EQ(resolved(), L"");
    giveMessage({}, {Property::nullText(typeTag), Property::nullText(addressTag)});
    EXPECT_EQ(resolved(), L"");
}

TEST_F(EmailAddressTest, HasNoAddressAndNoWordWhenTheSlotCannotBeRead)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _)).WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_EQ(resolved(), L"");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(EmailAddressTest, GoesOnWithoutAnAddressWhenTheSlotCannotBeRead)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(givesValues({Property::text(PR_SURNAME_W, L"Berg")}))
        .WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_EQ(loaded(), L";;;Berg;;;;;;;;");
}

TEST_F(EmailAddressTest, HasNoAddressWhenTheSlotComesWithAnyOtherWarning)
{
    EXPECT_CALL(*m_message, GetProps(_, _, _, _))
        .WillOnce(givesValues(emailSlot(L"SMTP", L"anna@example.com"), S_FALSE));
    EXPECT_EQ(resolved(), L"");
    EXPECT_NE(m_runtime.freeLeftBlocks(), 0u);
}

TEST_F(EmailAddressTest, TakesTheNamesWithAWarning)
{
    giveMessage({}, emailSlot(L"SMTP", L"anna@example.com"));
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _))
        .WillOnce(givesTags({0x8101000A, 0x8102000A, 0x8103000A}, MAPI_W_ERRORS_RETURNED));
    EXPECT_EQ(resolved(), L"anna@example.com");
}

TEST_F(EmailAddressTest, FailsWhenItGetsTooFewTags)
{
    for (const std::vector<ULONG>& tags : {std::vector<ULONG>{}, {0x81010000}, {0x81010000, 0x81020000}})
    {
        SCOPED_TRACE(tags.size());
        EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).WillOnce(givesTags(tags));
        EXPECT_EQ(thrown([&] { static_cast<void>(resolved()); }), outOfScope);
    }
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).WillOnce(Return(S_OK)); // and no array
    EXPECT_EQ(thrown([&] { static_cast<void>(resolved()); }), outOfScope);
}

TEST_F(EmailAddressTest, GoesByTheLastOfSeveralTypes)
{
    Properties slot = emailSlot(L"EX", L"/o=Example");
    slot.push_back(Property::text(typeTag, L"SMTP"));
    slot.push_back(Property::text(addressTag, L"anna@example.com"));
    EXPECT_CALL(*m_message, GetProps(_, _, _, _)).WillOnce(givesValues(slot));
    EXPECT_EQ(resolved(), L"anna@example.com");
}

TEST_F(EmailAddressTest, ReadsTheTypeFirstWhenTwoNamesHaveOneTag)
{
    EXPECT_CALL(*m_message, GetIDsFromNames(_, _, _, _)).WillOnce(givesTags({0x81010000, 0x81010000, 0x81030000}));
    EXPECT_CALL(*m_message, GetProps(_, _, _, _)).WillOnce(givesValues({Property::text(typeTag, L"SMTP")}));
    EXPECT_EQ(resolved(), L"");
}

// ---- Exchange addresses --------------------------------------------------------------------------------------------

/// A message whose first slot has an Exchange address, and the session that opens it.
class ExchangeAddressTest : public EmailAddressTest
{
protected:
    ExchangeAddressTest() { mapi::Session::s_session = m_session.pointer(); }

    void giveExchangeSlot(const EntryId& entryId = addressId)
    {
        Properties slot = emailSlot(L"EX", L"/o=Example/cn=anna");
        slot.push_back(Property::bytes(entryIdTag, entryId));
        giveMessage({}, slot);
    }

    /// The session opens the address to the entry, with this result.
    void expectOpen(HRESULT result = S_OK)
    {
        EXPECT_CALL(*m_session, OpenEntry(static_cast<ULONG>(addressId.size()), _, testing::Pointee(IID_IMAPIProp),
                                          MAPI_BEST_ACCESS, testing::NotNull(), _))
            .WillOnce(
                [this, result](ULONG size, ENTRYID* bytes, const IID*, ULONG, ULONG*, IUnknown** object)
                {
                    EXPECT_EQ(mapi::makeEntryId(size, bytes), addressId);
                    m_entry->AddRef();
                    *object = m_entry.get();
                    return result;
                });
    }

    const Mocked<MockSession> m_session;
    const Mocked<MockProp> m_entry;
};

TEST_F(ExchangeAddressTest, TakesTheSmtpAddressOfTheEntryAndLeavesItsValueAllocated)
{
    giveExchangeSlot();
    expectOpen();
    giveProperties(m_entry, {Property::text(PR_SMTP_ADDRESS_W, L"anna@example.com")});
    m_runtime.clearCalls();
    EXPECT_EQ(resolved(), L"anna@example.com");
    EXPECT_EQ(m_entry->references(), 1);
    EXPECT_THAT(log(), IsEmpty());

    // The value of HrGetOneProp, with the text that hangs on it; nothing else.
    const std::vector<unsigned> left = m_runtime.liveBlocks();
    ASSERT_EQ(left.size(), 2u);
    EXPECT_THAT(m_runtime.calls(), testing::Contains("HrGetOneProp 39fe001f -> #" + std::to_string(left.front())));
    EXPECT_THAT(m_runtime.calls(), testing::Not(testing::Contains("MAPIFreeBuffer #" + std::to_string(left.front()))));
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 2u);
}

TEST_F(ExchangeAddressTest, BecomesTheSixthField)
{
    Properties slot = emailSlot(L"EX", L"/o=Example/cn=anna");
    slot.push_back(Property::bytes(entryIdTag, addressId));
    giveMessage(allFields(), slot);
    expectOpen();
    giveProperties(m_entry, {Property::text(PR_SMTP_ADDRESS_W, L"anna@example.com")});
    EXPECT_EQ(loaded(), L"display;first;middle;last;company;anna@example.com;business;home;mobile;fax;"
                        L"00000000A1B2C3D4;00000000E5F60718");
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 2u);
}

TEST_F(ExchangeAddressTest, OpensAnEmptyIdentifierWhenThereIsNone)
{
    giveMessage({}, emailSlot(L"EX", L"/o=Example/cn=anna"));
    EXPECT_CALL(*m_session, OpenEntry(0, _, testing::Pointee(IID_IMAPIProp), MAPI_BEST_ACCESS, _, _))
        .WillOnce(Return(MAPI_E_INVALID_ENTRYID));
    EXPECT_EQ(resolved(), L"");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ExchangeAddressTest, HasNoAddressWithoutASession)
{
    mapi::Session::s_session = nullptr;
    giveExchangeSlot();
    EXPECT_EQ(resolved(), L"");
}

TEST_F(ExchangeAddressTest, HasNoAddressWhenTheEntryCannotBeOpened)
{
    giveExchangeSlot();
    EXPECT_CALL(*m_session, OpenEntry(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_NOT_FOUND)).WillOnce(Return(S_OK));
    EXPECT_EQ(resolved(), L"");
    EXPECT_EQ(resolved(), L""); // success, and no object
    EXPECT_THAT(m_runtime.calls(), testing::Not(testing::Contains(testing::StartsWith("HrGetOneProp"))));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ExchangeAddressTest, GoesOnWhenTheEntryOpensWithAWarning)
{
    giveExchangeSlot();
    expectOpen(MAPI_W_ERRORS_RETURNED);
    giveProperties(m_entry, {Property::text(PR_SMTP_ADDRESS_W, L"anna@example.com")});
    EXPECT_EQ(resolved(), L"anna@example.com");
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 2u);
}

TEST_F(ExchangeAddressTest, HasNoAddressWhenTheEntryHasNone)
{
    giveExchangeSlot();
    expectOpen();
    giveProperties(m_entry, {});
    EXPECT_EQ(resolved(), L"");
    EXPECT_EQ(m_entry->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ExchangeAddressTest, TakesTheValueWithAWarning)
{
    giveExchangeSlot();
    expectOpen();
    giveProperties(m_entry, {Property::text(PR_SMTP_ADDRESS_W, L"anna@example.com")});
    m_runtime.plan(TestRuntime::Call::GetOneProp, MAPI_W_ERRORS_RETURNED);
    EXPECT_EQ(resolved(), L"anna@example.com");
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 2u);
}

TEST_F(ExchangeAddressTest, HasNoAddressWhenTheValueIsOfAnotherTagOrHasNoText)
{
    SPropValue narrow{};
    narrow.ulPropTag = CHANGE_PROP_TYPE(PR_SMTP_ADDRESS_W, PT_STRING8);
    char text[] = "anna@example.com";
    narrow.Value.lpszA = text;
    SPropValue other{};
    other.ulPropTag = PR_EMAIL_ADDRESS_W;
    wchar_t wide[] = L"anna@example.com";
    other.Value.lpszW = wide;
    SPropValue noText{};
    noText.ulPropTag = PR_SMTP_ADDRESS_W;
    giveExchangeSlot();
    for (const SPropValue& value : {narrow, other, noText})
    {
        SCOPED_TRACE(value.ulPropTag);
        expectOpen();
        EXPECT_CALL(*m_entry, GetProps(_, _, _, _)).WillOnce(givesValue(value));
        EXPECT_EQ(resolved(), L"");
        EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u); // this value isn't freed either
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ExchangeAddressTest, HasNoAddressWhenTheRuntimeCannotReadOneProperty)
{
    giveExchangeSlot();
    EXPECT_CALL(*m_session, OpenEntry(_, _, _, _, _, _))
        .WillOnce(
            [this](ULONG, ENTRYID*, const IID*, ULONG, ULONG*, IUnknown** object)
            {
                mapi::mapiModule = GetModuleHandleW(L"kernel32.dll"); // a runtime that exports no HrGetOneProp
                ++mapi::mapiGeneration;
                m_entry->AddRef();
                *object = m_entry.get();
                return S_OK;
            });
    EXPECT_EQ(resolved(), L"");
    EXPECT_EQ(m_entry->references(), 1);
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u); // the tags, since this runtime can't free either
}
} // namespace

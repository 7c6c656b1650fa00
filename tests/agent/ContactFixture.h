// ContactFixture.h: a contact's message as a mock, and what it answers.
#pragma once

#include "agent/OutlookContact.h"

#include "mapiabi/MapiTags.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace tests
{
using support::Mocked;
using support::MockProp;
using support::Properties;
using support::Property;

inline const EntryId contactId = {0x00, 0x00, 0x00, 0x00, 0xA1, 0xB2, 0xC3, 0xD4};
inline const EntryId folderId = {0x00, 0x00, 0x00, 0x00, 0xE5, 0xF6, 0x07, 0x18};
inline const EntryId addressId = {0x00, 0x00, 0x00, 0x00, 0xDC, 0xA7};

inline constexpr ULONG typeTag = 0x8101001F;
inline constexpr ULONG addressTag = 0x8102001F;
inline constexpr ULONG entryIdTag = 0x81030102;

inline constexpr const wchar_t* outOfScope = L"mapi::PropTagArray::at: index is out of scope";
inline constexpr const wchar_t* onlySeparators = L";;;;;;;;;;;";

/// An action for GetIDsFromNames. The tags have no type, as providers give them.
inline auto givesTags(std::vector<ULONG> tags, HRESULT result = S_OK)
{
    return [tags = std::move(tags), result](ULONG, MAPINAMEID**, ULONG, SPropTagArray** array)
    {
        *array = support::makeTags(tags);
        return result;
    };
}

/// An action for GetProps: these values, whatever is asked for.
inline auto givesValues(const Properties& values, HRESULT result = S_OK)
{
    return [values, result](SPropTagArray*, ULONG, ULONG* count, SPropValue** array)
    {
        *array = support::makeValues(values);
        *count = static_cast<ULONG>(values.size());
        return result;
    };
}

/// An action for GetProps: one value as it stands.
inline auto givesValue(SPropValue value)
{
    return [value](SPropTagArray*, ULONG, ULONG* count, SPropValue** array)
    {
        *array = support::TestRuntime::current().allocate<SPropValue>();
        **array = value;
        *count = 1;
        return S_OK;
    };
}

inline Properties allFields()
{
    return {
        Property::text(PR_DISPLAY_NAME_W, L"display"),
        Property::text(PR_GIVEN_NAME_W, L"first"),
        Property::text(PR_MIDDLE_NAME_W, L"middle"),
        Property::text(PR_SURNAME_W, L"last"),
        Property::text(PR_COMPANY_NAME_W, L"company"),
        Property::text(PR_SMTP_ADDRESS_W, L"the message's own"),
        Property::text(PR_BUSINESS_TELEPHONE_NUMBER_W, L"business"),
        Property::text(PR_MOBILE_TELEPHONE_NUMBER_W, L"mobile"),
        Property::text(PR_HOME_TELEPHONE_NUMBER_W, L"home"),
        Property::text(PR_BUSINESS_FAX_NUMBER_W, L"fax"),
        Property::bytes(PR_ENTRYID, contactId),
        Property::bytes(PR_PARENT_ENTRYID, folderId),
    };
}

inline Properties emailSlot(const std::wstring& type, const std::wstring& address)
{
    return {Property::text(typeTag, type), Property::text(addressTag, address)};
}

/// A message that has the named properties of the first e-mail slot.
class ContactFixture : public support::MapiTest
{
protected:
    ContactFixture() { giveNames(); }

    void giveNames()
    {
        EXPECT_CALL(*m_message, GetIDsFromNames(3, testing::_, MAPI_CREATE, testing::_))
            .Times(testing::AnyNumber())
            .WillRepeatedly(givesTags({0x81010000, 0x81020000, 0x81030000}));
    }

    /// The message has these properties and no others.
    void giveMessage(Properties properties, const Properties& slot = {})
    {
        properties.insert(properties.end(), slot.begin(), slot.end());
        support::giveProperties(m_message, properties);
    }

    [[nodiscard]] std::wstring loaded() const
    {
        OutlookContact contact;
        contact.load(m_message.pointer());
        return contact.toString();
    }

    [[nodiscard]] std::wstring resolved() const { return OutlookContact::resolveEmailAddress(m_message.pointer()); }

    const Mocked<MockProp> m_message;
};
} // namespace tests

#include "agent/OutlookContact.h"

#include "mapiabi/MapiTags.h"

#include <algorithm>
#include <array>
#include <functional>
#include <utility>

#include "agent/mapi/MapiRuntime.h"
#include "agent/mapi/MapiSession.h"
#include "agent/mapi/PropReaders.h"
#include "agent/mapi/PropTagArray.h"
#include "agent/mapi/PropertyReading.h"
#include "utilities/Failure.h"
#include "utilities/HexString.h"

namespace
{
/// What is asked of a contact's message. Not the order of the wire.
constexpr std::array<ULONG, 12> contactTags = {
    PR_DISPLAY_NAME_W,
    PR_GIVEN_NAME_W,
    PR_MIDDLE_NAME_W,
    PR_SURNAME_W,
    PR_COMPANY_NAME_W,
    PR_SMTP_ADDRESS_W, // dropped when it comes back: settled behaviour 13
    PR_BUSINESS_TELEPHONE_NUMBER_W,
    PR_MOBILE_TELEPHONE_NUMBER_W,
    PR_HOME_TELEPHONE_NUMBER_W,
    PR_BUSINESS_FAX_NUMBER_W,
    PR_ENTRYID,
    PR_PARENT_ENTRYID,
};

/// The fields of a contact's line, in the order that hosts rely on: settled behaviour 8.
constexpr std::array<ULONG, 12> wireFields = {
    PR_DISPLAY_NAME_W,
    PR_GIVEN_NAME_W,
    PR_MIDDLE_NAME_W,
    PR_SURNAME_W,
    PR_COMPANY_NAME_W,
    PR_SMTP_ADDRESS_W,
    PR_BUSINESS_TELEPHONE_NUMBER_W,
    PR_HOME_TELEPHONE_NUMBER_W,
    PR_MOBILE_TELEPHONE_NUMBER_W,
    PR_BUSINESS_FAX_NUMBER_W,
    PR_ENTRYID,
    PR_PARENT_ENTRYID,
};

constexpr std::wstring_view exchangeAddressType = L"EX"; // exactly: settled behaviour 14

/// A value as the record holds it; empty for what the record does not hold, such as the error in place of a value.
[[nodiscard]] std::wstring recordText(const SPropValue& value)
{
    if (value.ulPropTag == PR_SMTP_ADDRESS_W)
        return {};
    switch (PROP_TYPE(value.ulPropTag))
    {
    case PT_UNICODE:
        return mapi::readText(value);
    case PT_BINARY:
        return toHexString(mapi::viewBinary(value));
    default:
        return {};
    }
}

/// The SMTP address of an entry of the address book, asked of the session; empty when it can't be had.
[[nodiscard]] std::wstring readSmtpAddress(const EntryId& entryId)
{
    const IMAPISessionPtr session = mapi::Session::s_session;
    if (!session)
        return {};

    IMAPIPropPtr entry;
    ULONG objectType = 0;
    const HRESULT opened = session->OpenEntry(mapi::entryIdSize(entryId), mapi::entryIdBytes(entryId), &IID_IMAPIProp,
                                              MAPI_BEST_ACCESS, &objectType, mapi::unknownSlot(entry));
    if (FAILED(opened) || !entry)
        return {};

    SPropValue* value = nullptr; // stays allocated: settled behaviour 15
    const HRESULT read = mapi::HrGetOneProp(entry, PR_SMTP_ADDRESS_W, &value);
    if (FAILED(read) || value == nullptr || value->ulPropTag != PR_SMTP_ADDRESS_W || value->Value.lpszW == nullptr)
        return {};
    return value->Value.lpszW;
}
} // namespace

OutlookContact::OutlookContact(const EntryId& entryId, const EntryId& parentEntryId)
{
    if (!entryId.empty())
        put(PR_ENTRYID, toHexString(entryId));
    if (!parentEntryId.empty())
        put(PR_PARENT_ENTRYID, toHexString(parentEntryId));
}

void OutlookContact::load(IMAPIPropPtr message)
{
    constexpr std::wstring_view function = L"OutlookContact::load";
    if (!message)
        return;

    const mapi::PropTagArray tags{contactTags};
    OutlookContact loaded;
    loaded.m_values.reserve(contactTags.size());
    const HRESULT result = readProperties(message, tags.get(),
                                          [&loaded](const SPropValue& value)
                                          {
                                              if (std::wstring text = recordText(value); !text.empty())
                                                  loaded.put(value.ulPropTag, std::move(text));
                                          });
    utilities::checkHresult(function, result);
    loaded.put(PR_SMTP_ADDRESS_W, resolveEmailAddress(message));
    m_values.swap(loaded.m_values);
}

std::wstring OutlookContact::toString() const
{
    std::wstring line;
    if (m_values.empty())
        return line;
    std::size_t size = wireFields.size() - 1;
    for (const Value& value : m_values)
        size += value.text.size();
    line.reserve(size); // all contacts of a store stand in memory at once
    for (const ULONG tag : wireFields)
    {
        if (tag != wireFields.front())
            line += L';';
        if (const auto found = std::ranges::find(m_values, tag, &Value::tag); found != m_values.end())
            line += found->text;
    }
    return line;
}

std::wstring OutlookContact::resolveEmailAddress(IMAPIPropPtr message)
{
    if (!message)
        return {};

    mapi::PropTagArray tags;
    // Without tags the first access to them throws: settled behaviour 17.
    getNamedPropertyTags({PidLidEmail1AddressType, PidLidEmail1EmailAddress, PidLidEmail1OriginalEntryId}, message,
                         tags);
    const ULONG typeTag = tags.at(0) = CHANGE_PROP_TYPE(tags.at(0), PT_UNICODE);
    const ULONG addressTag = tags.at(1) = CHANGE_PROP_TYPE(tags.at(1), PT_UNICODE);
    const ULONG entryIdTag = tags.at(2) = CHANGE_PROP_TYPE(tags.at(2), PT_BINARY);

    bool isExchange = false;
    std::wstring address;
    EntryId entryId;
    const auto takeValue = [&](const SPropValue& value)
    {
        if (value.ulPropTag == entryIdTag)
            entryId = mapi::readBinary(value);
        else if (value.ulPropTag == typeTag)
            isExchange = mapi::readText(value) == exchangeAddressType;
        else if (value.ulPropTag == addressTag)
            address = mapi::readText(value);
    };
    const HRESULT result = readProperties(message, tags.get(), std::ref(takeValue)); // which so takes no memory
    if (FAILED(result))
        return {};
    if (isExchange)
        return readSmtpAddress(entryId);
    return address;
}

void OutlookContact::put(ULONG tag, std::wstring text)
{
    const auto known = std::ranges::find(m_values, tag, &Value::tag);
    if (known != m_values.end())
        known->text = std::move(text);
    else
        m_values.push_back({tag, std::move(text)});
}

#include "agent/mapi/PropertyReading.h"

#include "mapiabi/MapiTags.h"

#include <vector>

#include <gmock/gmock.h>

#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

class PropertyReadingTest : public MapiTest
{
protected:
    /// The object gives these values for the one call that it expects, whatever is asked for.
    void expectGetProps(HRESULT result, SPropValue* values, ULONG count)
    {
        EXPECT_CALL(*m_object, GetProps(m_tags.get(), MAPI_UNICODE, _, _))
            .WillOnce(
                [=](SPropTagArray*, ULONG, ULONG* outCount, SPropValue** outValues)
                {
                    *outCount = count;
                    *outValues = values;
                    return result;
                });
    }

    HRESULT read()
    {
        m_runtime.clearCalls();
        return readProperties(m_object.pointer(), m_tags.get(),
                              [this](const SPropValue& value) { m_visited.push_back(value.ulPropTag); });
    }

    const Mocked<MockProp> m_object;
    const mapi::PropTagArray m_tags{PR_DISPLAY_NAME_W, PR_SURNAME_W};
    std::vector<ULONG> m_visited;
};

// ---- readProperties ------------------------------------------------------------------------------------------------

TEST_F(PropertyReadingTest, CallsNothingForANullObject)
{
    EXPECT_EQ(readProperties({}, m_tags.get(), [](const SPropValue&) { FAIL(); }), E_INVALIDARG);
}

TEST_F(PropertyReadingTest, VisitsTheValuesInTheOrderReturnedAndFreesThem)
{
    SPropValue* const values = makeValues({Property::text(PR_SURNAME_W, L"Berg"), Property::number(PR_ACCESS, 1),
                                           Property::text(PR_DISPLAY_NAME_W, L"Anna")});
    const std::string freed = "MAPIFreeBuffer #" + std::to_string(m_runtime.blockNumber(values));
    expectGetProps(S_OK, values, 3);
    EXPECT_EQ(read(), S_OK);
    EXPECT_THAT(m_visited, ElementsAre(PR_SURNAME_W, PR_ACCESS, PR_DISPLAY_NAME_W));
    EXPECT_THAT(m_runtime.calls(), ElementsAre(freed));
}

TEST_F(PropertyReadingTest, VisitsTheValuesWhenSomeCameAsErrors)
{
    expectGetProps(MAPI_W_ERRORS_RETURNED,
                   makeValues({Property::error(PR_DISPLAY_NAME_W), Property::text(PR_SURNAME_W, L"Berg")}), 2);
    EXPECT_EQ(read(), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(m_visited, ElementsAre(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_ERROR), PR_SURNAME_W));
}

TEST_F(PropertyReadingTest, KeepsTheValuesUntilAllAreVisited)
{
    std::vector<std::wstring> texts;
    expectGetProps(S_OK, makeValues({Property::text(PR_SURNAME_W, L"one"), Property::text(PR_SURNAME_W, L"two")}), 2);
    readProperties(m_object.pointer(), m_tags.get(),
                   [&](const SPropValue& value) { texts.emplace_back(value.Value.lpszW); });
    EXPECT_THAT(texts, ElementsAre(L"one", L"two"));
}

TEST_F(PropertyReadingTest, DeliversNothingAndFreesNothingOnAnyOtherResult)
{
    for (const HRESULT result : {HRESULT{S_FALSE}, HRESULT{0x00040381}, MAPI_E_CALL_FAILED, MAPI_E_NOT_ENOUGH_MEMORY})
    {
        SCOPED_TRACE(result);
        SPropValue* const values = makeValues({Property::text(PR_SURNAME_W, L"Berg")});
        expectGetProps(result, values, 1);
        EXPECT_EQ(read(), result);
        EXPECT_THAT(m_visited, IsEmpty());
        EXPECT_THAT(m_runtime.calls(), IsEmpty());
        mapi::MAPIFreeBuffer(values);
    }
}

TEST_F(PropertyReadingTest, FreesTheValuesWhenThereIsNoVisitor)
{
    expectGetProps(S_OK, makeValues({Property::text(PR_SURNAME_W, L"Berg")}), 1);
    EXPECT_EQ(readProperties(m_object.pointer(), m_tags.get(), nullptr), S_OK);
}

TEST_F(PropertyReadingTest, VisitsNothingWhenTheCountIsZero)
{
    expectGetProps(S_OK, makeValues({Property::text(PR_SURNAME_W, L"Berg")}), 0);
    EXPECT_EQ(read(), S_OK);
    EXPECT_THAT(m_visited, IsEmpty());
    EXPECT_THAT(m_runtime.calls(), ElementsAre(testing::StartsWith("MAPIFreeBuffer #")));

    expectGetProps(MAPI_W_ERRORS_RETURNED, nullptr, 0);
    EXPECT_EQ(read(), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(m_visited, IsEmpty());
}

TEST_F(PropertyReadingTest, FreesTheValuesWhenTheVisitorThrows)
{
    expectGetProps(S_OK, makeValues({Property::text(PR_SURNAME_W, L"one"), Property::text(PR_SURNAME_W, L"two")}), 2);
    unsigned visits = 0;
    const auto fail = [&visits](const SPropValue&)
    {
        ++visits;
        throw utilities::exception(L"visitor");
    };
    EXPECT_EQ(thrown([&] { readProperties(m_object.pointer(), m_tags.get(), fail); }), L"visitor");
    EXPECT_EQ(visits, 1u);
}

TEST_F(PropertyReadingTest, ReleasesItsReference)
{
    expectGetProps(MAPI_E_CALL_FAILED, nullptr, 0);
    read();
    EXPECT_EQ(m_object->references(), 1);
    EXPECT_THAT(log(), IsEmpty()); // failures are the caller's to report
}

// ---- getNamedPropertyTags ------------------------------------------------------------------------------------------

TEST_F(PropertyReadingTest, AsksForTheNumbersInThePropertySetAndCreatesThem)
{
    EXPECT_CALL(*m_object, GetIDsFromNames(3, _, MAPI_CREATE, _))
        .WillOnce(
            [](ULONG, MAPINAMEID** names, ULONG, SPropTagArray** tags)
            {
                const LONG numbers[] = {0x8085, 0x8082, 7};
                for (unsigned index = 0; index < 3; ++index)
                {
                    EXPECT_EQ(names[index]->ulKind, MNID_ID);
                    EXPECT_EQ(names[index]->Kind.lID, numbers[index]);
                    EXPECT_EQ(names[index]->lpguid, names[0]->lpguid);
                }
                const GUID address = {0x00062004, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
                EXPECT_TRUE(IsEqualGUID(*names[0]->lpguid, address));
                EXPECT_NE(names[0]->lpguid, &PSETID_Address) << "a provider gets no constant of ours to write into";
                *tags = makeTags({0x80050000, 0x80020000, 0x80070000});
                return S_OK;
            });
    mapi::PropTagArray tags;
    EXPECT_EQ(getNamedPropertyTags({0x8085, 0x8082, 7}, m_object.pointer(), tags), S_OK);
    EXPECT_THAT(tagsOf(tags.get()), ElementsAre(0x80050000, 0x80020000, 0x80070000));
}

TEST_F(PropertyReadingTest, TakesTheTagsWithAWarning)
{
    EXPECT_CALL(*m_object, GetIDsFromNames(_, _, _, _))
        .WillOnce(
            [](ULONG, MAPINAMEID**, ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({0x0000000A});
                return MAPI_W_ERRORS_RETURNED;
            });
    mapi::PropTagArray tags{PR_ENTRYID}; // its block is freed
    EXPECT_EQ(getNamedPropertyTags({0x8082}, m_object.pointer(), tags), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(tagsOf(tags.get()), ElementsAre(0x0000000A));
}

TEST_F(PropertyReadingTest, KeepsTheArrayWhenTheNamesCannotBeHad)
{
    EXPECT_CALL(*m_object, GetIDsFromNames(_, _, _, _)).WillOnce(testing::Return(MAPI_E_NO_SUPPORT));
    mapi::PropTagArray tags{PR_ENTRYID};
    EXPECT_EQ(getNamedPropertyTags({0x8082}, m_object.pointer(), tags), MAPI_E_NO_SUPPORT);
    EXPECT_THAT(tagsOf(tags.get()), ElementsAre(PR_ENTRYID));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(PropertyReadingTest, RaisesTheSmartPointersFailureForNamesOfANullObject)
{
    mapi::PropTagArray tags;
    try
    {
        getNamedPropertyTags({0x8082}, {}, tags);
        FAIL() << "nothing was thrown";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), E_POINTER);
    }
}
} // namespace

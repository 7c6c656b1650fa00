#include "agent/mapi/PropertyReading.h"

#include <vector>

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using namespace tests;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

// That all values are freed is seen at the end of each test.
class PropertyReadingTest : public MapiTest
{
protected:
    /// The object gives these values for the one call that it expects, whatever is asked for.
    void giveValues(HRESULT result, SPropValue* values, ULONG count)
    {
        EXPECT_CALL(*m_object, GetProps(m_tags.get(), MAPI_UNICODE, _, _))
            .WillOnce(testing::DoAll(testing::SetArgPointee<2>(count), testing::SetArgPointee<3>(values),
                                     testing::Return(result)));
    }
    static SPropValue* twoTexts()
    {
        return makeValues({Property::text(PR_SURNAME_W, L"one"), Property::text(PR_GIVEN_NAME_W, L"two")});
    }
    HRESULT read()
    {
        return readProperties(m_object.pointer(), m_tags.get(),
                              [this](const SPropValue& value) { m_visited.push_back(value.ulPropTag); });
    }

    const Mocked<MockProp> m_object;
    const mapi::PropTagArray m_tags{PR_DISPLAY_NAME_W, PR_SURNAME_W};
    std::vector<ULONG> m_visited;
};

// ---- readProperties ------------------------------------------------------------------------------------------------

TEST_F(PropertyReadingTest, VisitsTheValuesInTheOrderReturnedAndKeepsThemMeanwhile)
{
    giveValues(S_OK, twoTexts(), 2);
    std::vector<std::wstring> texts;
    EXPECT_EQ(readProperties(m_object.pointer(), m_tags.get(),
                             [&texts](const SPropValue& value) { texts.emplace_back(value.Value.lpszW); }),
              S_OK);
    EXPECT_THAT(texts, ElementsAre(L"one", L"two"));
    giveValues(MAPI_W_ERRORS_RETURNED,
               makeValues({Property::error(PR_DISPLAY_NAME_W), Property::text(PR_SURNAME_W, L"Berg")}), 2);
    EXPECT_EQ(read(), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(m_visited, ElementsAre(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_ERROR), PR_SURNAME_W));
}

TEST_F(PropertyReadingTest, DeliversNothingAndFreesNothingOnAnyOtherResult)
{
    const mapi::ValuePtr<_SPropValue> values(twoTexts());
    for (const HRESULT result : {HRESULT{S_FALSE}, HRESULT{0x00040381}, MAPI_E_CALL_FAILED, MAPI_E_NOT_ENOUGH_MEMORY})
    {
        giveValues(result, values.get(), 2);
        EXPECT_EQ(read(), result);
    }
    EXPECT_EQ(readProperties({}, m_tags.get(), {}), E_INVALIDARG);
    EXPECT_THAT(m_visited, IsEmpty());
    EXPECT_THAT(log(), IsEmpty()); // failures are the caller's to report
}

TEST_F(PropertyReadingTest, VisitsNothingWithoutAVisitorOrWhenTheCountIsZero)
{
    giveValues(S_OK, twoTexts(), 2);
    EXPECT_EQ(readProperties(m_object.pointer(), m_tags.get(), nullptr), S_OK);
    giveValues(S_OK, twoTexts(), 0);
    EXPECT_EQ(read(), S_OK);
    giveValues(MAPI_W_ERRORS_RETURNED, nullptr, 0);
    EXPECT_EQ(read(), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(m_visited, IsEmpty());
}

TEST_F(PropertyReadingTest, FailsWhenACountComesWithoutValues)
{
    for (const HRESULT result : {S_OK, MAPI_W_ERRORS_RETURNED})
    {
        giveValues(result, nullptr, 2);
        EXPECT_EQ(read(), MAPI_E_CALL_FAILED);
    }
    EXPECT_THAT(m_visited, IsEmpty());
}

TEST_F(PropertyReadingTest, FreesTheValuesWhenTheVisitorThrows)
{
    giveValues(S_OK, twoTexts(), 2);
    unsigned visits = 0;
    const auto fail = [&visits](const SPropValue&)
    {
        ++visits;
        throw utilities::exception(L"visitor");
    };
    EXPECT_EQ(thrown([&] { readProperties(m_object.pointer(), m_tags.get(), fail); }), L"visitor");
    EXPECT_EQ(visits, 1u);
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
                    EXPECT_TRUE(IsEqualGUID(*names[index]->lpguid, PSETID_Address));
                    EXPECT_NE(names[index]->lpguid, &PSETID_Address) << "a provider gets no constant to write into";
                }
                *tags = makeTags({0x80050000, 0x80020000, 0x80070000});
                return MAPI_W_ERRORS_RETURNED;
            });
    mapi::PropTagArray tags{PR_ENTRYID}; // its block is freed
    EXPECT_EQ(getNamedPropertyTags({0x8085, 0x8082, 7}, m_object.pointer(), tags), MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(tagsOf(tags.get()), ElementsAre(0x80050000, 0x80020000, 0x80070000));
}

TEST_F(PropertyReadingTest, KeepsTheArrayWhenTheNamesCannotBeHad)
{
    EXPECT_CALL(*m_object, GetIDsFromNames(_, _, _, _)).WillOnce(testing::Return(MAPI_E_NO_SUPPORT));
    mapi::PropTagArray tags{PR_ENTRYID};
    EXPECT_EQ(getNamedPropertyTags({0x8082}, m_object.pointer(), tags), MAPI_E_NO_SUPPORT);
    EXPECT_THAT(tagsOf(tags.get()), ElementsAre(PR_ENTRYID));
    EXPECT_THROW(std::ignore = getNamedPropertyTags({0x8082}, {}, tags), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace

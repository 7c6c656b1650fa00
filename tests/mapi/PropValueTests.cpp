#include "agent/mapi/PropValue.h"

#include <cstring>

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using namespace tests;
using mapi::copyPropValue;
using mapi::PropValue;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr ULONG alignPad = 0xA11A11A1;

// ---- copyPropValue -------------------------------------------------------------------------------------------------

class CopyPropValueTest : public MapiTest
{
protected:
    CopyPropValueTest() { startJournal(); }

    static SPropValue source(ULONG type)
    {
        SPropValue value;
        std::memset(&value, 0xEE, sizeof value); // all 16 bytes of the union count
        value.ulPropTag = PROP_TAG(type, 0x6701);
        value.dwAlignPad = alignPad;
        return value;
    }
};

TEST_F(CopyPropValueTest, CopiesTheWholeStructureOfNumbers)
{
    for (const ULONG type : {PT_LONG, PT_BOOLEAN})
    {
        const SPropValue value = source(type);
        const PropValue copy(copyPropValue(&value, nullptr));
        EXPECT_EQ(std::memcmp(copy.get(), &value, sizeof value), 0) << type;
    }
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x18", "MAPIAllocateBuffer 0x18"));
    EXPECT_EQ(copyPropValue(nullptr, nullptr), nullptr);
}

TEST_F(CopyPropValueTest, CopiesAStringIntoABlockOfTheCopy)
{
    for (std::wstring text : {L"J\x00FCrgen \x4E2D", L""})
    {
        const std::wstring expected = text;
        SPropValue value = source(PT_UNICODE);
        value.Value.lpszW = text.data();
        const PropValue copy(copyPropValue(&value, nullptr));
        EXPECT_EQ(copy->dwAlignPad, alignPad);
        EXPECT_NE(copy->Value.lpszW, text.data());
        text.assign(text.size(), L'x');
        EXPECT_EQ(copy->Value.lpszW, expected);
    }
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x18", "MAPIAllocateMore 0x12", "MAPIAllocateBuffer 0x18",
                                         "MAPIAllocateMore 0x2"));
}

TEST_F(CopyPropValueTest, CopiesBytesIntoABlockOfTheCopy)
{
    BYTE bytes[] = {0, 1, 0, 255};
    SPropValue value = source(PT_BINARY);
    value.Value.bin = {sizeof bytes, bytes};
    const PropValue copy(copyPropValue(&value, nullptr));
    bytes[3] = 7;
    EXPECT_THAT(mapi::makeEntryId(copy->Value.bin.cb, copy->Value.bin.lpb), ElementsAre(0, 1, 0, 255));
    EXPECT_EQ(copy->dwAlignPad, alignPad);
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x18", "MAPIAllocateMore 0x4"));
}

TEST_F(CopyPropValueTest, KeepsWhatHasNoStringAndNoBytes)
{
    BYTE byte = 1;
    SPropValue text = source(PT_UNICODE);
    text.Value.lpszW = nullptr;
    SPropValue ofSizeZero = source(PT_BINARY);
    ofSizeZero.Value.bin = {0, &byte};
    SPropValue ofNull = source(PT_BINARY);
    ofNull.Value.bin = {5, nullptr};
    for (const SPropValue& value : {text, ofSizeZero, ofNull})
    {
        const PropValue copy(copyPropValue(&value, nullptr));
        EXPECT_EQ(std::memcmp(copy.get(), &value, sizeof value), 0);
    }
    EXPECT_EQ(takeCalls().size(), 3u);
}

TEST_F(CopyPropValueTest, ChainsAllBlocksToTheParentWhenThereIsOne)
{
    wchar_t text[] = L"ab";
    BYTE bytes[] = {1, 2, 3};
    SPropValue textValue = source(PT_UNICODE);
    textValue.Value.lpszW = text;
    SPropValue binaryValue = source(PT_BINARY);
    binaryValue.Value.bin = {sizeof bytes, bytes};

    mapi::ValuePtr<_SPropValue> parent(static_cast<SPropValue*>(makeBlock(sizeof(SPropValue))));
    startJournal();
    EXPECT_STREQ(copyPropValue(&textValue, parent.get())->Value.lpszW, L"ab");
    EXPECT_EQ(std::memcmp(copyPropValue(&binaryValue, parent.get())->Value.bin.lpb, bytes, sizeof bytes), 0);
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateMore 0x18", "MAPIAllocateMore 0x6", "MAPIAllocateMore 0x18",
                                         "MAPIAllocateMore 0x3"));
    parent.reset();
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(CopyPropValueTest, ThrowsForAnyOtherTypeAndLeavesTheBlock)
{
    const std::wstring unsupported = L"mapi::copyPropValue: Unsupported value type.";
    const ULONG types[] = {0x0000,
                           0x0001,
                           0x0002,
                           0x0004,
                           0x0005,
                           0x0006,
                           0x0007,
                           PT_ERROR,
                           0x000D,
                           0x0014,
                           0x001E,
                           0x0040,
                           0x0048,
                           MV_FLAG | PT_LONG,
                           MV_FLAG | PT_UNICODE,
                           MV_FLAG | PT_BINARY};
    for (const ULONG type : types)
    {
        const SPropValue value = source(type);
        EXPECT_EQ(thrown([&] { std::ignore = copyPropValue(&value, nullptr); }), unsupported) << type;
    }
    EXPECT_EQ(dropLeftBlocks(), static_cast<std::int64_t>(std::size(types)));

    mapi::ValuePtr<_SPropValue> parent(static_cast<SPropValue*>(makeBlock(sizeof(SPropValue))));
    const SPropValue value = source(PT_ERROR);
    EXPECT_EQ(thrown([&] { std::ignore = copyPropValue(&value, parent.get()); }), unsupported);
    EXPECT_EQ(liveBlocks(), 2); // and goes with the parent
    EXPECT_THAT(log(), IsEmpty());
}

// ---- PropValue -----------------------------------------------------------------------------------------------------

class PropValueTest : public MapiTest
{
protected:
    const Mocked<MockProp> m_object;
};

TEST_F(PropValueTest, ReadOwnsWhatHrGetOnePropGivesAlsoWithAWarning)
{
    giveProperties(m_object, {Property::text(PR_DISPLAY_NAME_W, L"Ann")});
    startJournal();
    for (const HRESULT result : {S_OK, MAPI_W_ERRORS_RETURNED})
    {
        plan("HrGetOneProp", result);
        PropValue value;
        value.read(m_object.pointer(), PR_DISPLAY_NAME_W);
        EXPECT_STREQ(value->Value.lpszW, L"Ann");
    }
    EXPECT_THAT(takeCalls(), testing::Contains("HrGetOneProp 0x3001001F").Times(2));
}

TEST_F(PropValueTest, ReadFreesTheOldValueFirst)
{
    PropValue value(static_cast<SPropValue*>(makeBlock(sizeof(SPropValue))));
    ON_CALL(*m_object, GetProps(testing::_, testing::_, testing::_, testing::_))
        .WillByDefault(
            [&value](SPropTagArray*, ULONG, ULONG*, SPropValue**)
            {
                EXPECT_EQ(value.get(), nullptr);
                EXPECT_EQ(liveBlocks(), 0);
                return MAPI_E_CALL_FAILED;
            });
    EXPECT_EQ(thrown([&] { value.read(m_object.pointer(), PR_ENTRYID); }),
              L"mapi::PropValue::read, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(PropValueTest, ReadThrowsWithoutACallWhenThereIsNoObject)
{
    PropValue value(static_cast<SPropValue*>(makeBlock(sizeof(SPropValue))));
    startJournal();
    EXPECT_EQ(thrown([&] { value.read({}, PR_ENTRYID); }),
              L"mapi::PropValue::read, line N: hr = 0x80070057(MAPI call failed)");
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(PropValueTest, MakesTextsAndBooleans)
{
    startJournal();
    const PropValue text = PropValue::makeText(PR_MESSAGE_CLASS_W, L"IPM.Contact");
    EXPECT_EQ(text->ulPropTag, PR_MESSAGE_CLASS_W);
    EXPECT_STREQ(text->Value.lpszW, L"IPM.Contact");
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x18", "MAPIAllocateMore 0x18"));
    const PropValue no = PropValue::makeBoolean(PR_ATTR_HIDDEN, false);
    EXPECT_EQ(no->ulPropTag, PR_ATTR_HIDDEN);
    EXPECT_EQ(no->Value.b, 0);
    EXPECT_EQ(PropValue::makeBoolean(PR_ATTR_HIDDEN, true)->Value.b, 1);
}
} // namespace

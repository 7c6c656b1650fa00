#include "agent/mapi/PropValue.h"

#include <cstring>
#include <cwchar>

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using Call = TestRuntime::Call;
using mapi::copyPropValue;
using mapi::PropValue;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

constexpr ULONG PR_TEST_LONG = PROP_TAG(PT_LONG, 0x6701);
constexpr ULONG PR_TEST_BOOLEAN = PROP_TAG(PT_BOOLEAN, 0x6702);
constexpr ULONG PR_TEST_TEXT = PROP_TAG(PT_UNICODE, 0x6703);
constexpr ULONG PR_TEST_BINARY = PROP_TAG(PT_BINARY, 0x6704);
constexpr ULONG alignPad = 0xA11A11A1;

class CopyPropValueTest : public MapiTest
{
protected:
    static SPropValue source(ULONG tag)
    {
        SPropValue value;
        std::memset(&value, 0xEE, sizeof value); // all 16 bytes of the union count
        value.ulPropTag = tag;
        value.dwAlignPad = alignPad;
        return value;
    }
};

TEST_F(CopyPropValueTest, GivesNullForNull)
{
    EXPECT_EQ(copyPropValue(nullptr, nullptr), nullptr);
    BYTE parent = 0;
    EXPECT_EQ(copyPropValue(nullptr, &parent), nullptr);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(CopyPropValueTest, CopiesTheWholeStructureOfNumbers)
{
    for (const ULONG tag : {PR_TEST_LONG, PR_TEST_BOOLEAN})
    {
        const SPropValue value = source(tag);
        const PropValue copy(copyPropValue(&value, nullptr));
        EXPECT_EQ(std::memcmp(copy.get(), &value, sizeof value), 0) << tag;
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIFreeBuffer #1",
                                               "MAPIAllocateBuffer 24 -> #2", "MAPIFreeBuffer #2"));
}

TEST_F(CopyPropValueTest, CopiesAStringIntoABlockOfTheCopy)
{
    std::wstring text = L"J\x00FCrgen \x4E2D";
    SPropValue value = source(PR_TEST_TEXT);
    value.Value.lpszW = text.data();
    const PropValue copy(copyPropValue(&value, nullptr));
    EXPECT_EQ(copy->ulPropTag, PR_TEST_TEXT);
    EXPECT_EQ(copy->dwAlignPad, alignPad);
    EXPECT_NE(copy->Value.lpszW, text.data());
    text.assign(text.size(), L'x');
    EXPECT_STREQ(copy->Value.lpszW, L"J\x00FCrgen \x4E2D");
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateMore 18, #1 -> #2"));
}

TEST_F(CopyPropValueTest, CopiesAnEmptyString)
{
    wchar_t empty[] = L"";
    SPropValue value = source(PR_TEST_TEXT);
    value.Value.lpszW = empty;
    const PropValue copy(copyPropValue(&value, nullptr));
    EXPECT_STREQ(copy->Value.lpszW, L"");
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateMore 2, #1 -> #2"));
}

TEST_F(CopyPropValueTest, KeepsANullString)
{
    SPropValue value = source(PR_TEST_TEXT);
    value.Value.lpszW = nullptr;
    const PropValue copy(copyPropValue(&value, nullptr));
    EXPECT_EQ(copy->Value.lpszW, nullptr);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1"));
}

TEST_F(CopyPropValueTest, CopiesBytesIntoABlockOfTheCopy)
{
    BYTE bytes[] = {0, 1, 0, 255};
    SPropValue value = source(PR_TEST_BINARY);
    value.Value.bin = {sizeof bytes, bytes};
    const PropValue copy(copyPropValue(&value, nullptr));
    EXPECT_NE(copy->Value.bin.lpb, bytes);
    bytes[3] = 7;
    EXPECT_THAT(mapi::makeEntryId(copy->Value.bin.cb, copy->Value.bin.lpb), ElementsAre(0, 1, 0, 255));
    EXPECT_EQ(copy->dwAlignPad, alignPad);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateMore 4, #1 -> #2"));
}

TEST_F(CopyPropValueTest, KeepsCountAndPointerOfBinariesWithoutBytes)
{
    BYTE byte = 1;
    SPropValue value = source(PR_TEST_BINARY);
    value.Value.bin = {0, &byte};
    const PropValue ofCountZero(copyPropValue(&value, nullptr));
    EXPECT_EQ(ofCountZero->Value.bin.cb, 0u);
    EXPECT_EQ(ofCountZero->Value.bin.lpb, &byte);

    value.Value.bin = {5, nullptr};
    const PropValue ofNull(copyPropValue(&value, nullptr));
    EXPECT_EQ(ofNull->Value.bin.cb, 5u);
    EXPECT_EQ(ofNull->Value.bin.lpb, nullptr);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateBuffer 24 -> #2"));
}

TEST_F(CopyPropValueTest, ChainsAllBlocksToTheParentWhenThereIsOne)
{
    wchar_t text[] = L"ab";
    BYTE bytes[] = {1, 2, 3};
    SPropValue textValue = source(PR_TEST_TEXT);
    textValue.Value.lpszW = text;
    SPropValue binaryValue = source(PR_TEST_BINARY);
    binaryValue.Value.bin = {sizeof bytes, bytes};
    const SPropValue number = source(PR_TEST_LONG);

    mapi::ValuePtr<_SPropValue> parent(m_runtime.allocate<SPropValue>());
    const SPropValue* const textCopy = copyPropValue(&textValue, parent.get());
    const SPropValue* const binaryCopy = copyPropValue(&binaryValue, parent.get());
    const SPropValue* const numberCopy = copyPropValue(&number, parent.get());
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateMore 24, #1 -> #2", "MAPIAllocateMore 6, #1 -> #3",
                                               "MAPIAllocateMore 24, #1 -> #4", "MAPIAllocateMore 3, #1 -> #5",
                                               "MAPIAllocateMore 24, #1 -> #6"));
    EXPECT_STREQ(textCopy->Value.lpszW, L"ab");
    EXPECT_EQ(std::memcmp(binaryCopy->Value.bin.lpb, bytes, sizeof bytes), 0);
    EXPECT_EQ(std::memcmp(numberCopy, &number, sizeof number), 0);
    parent.reset();
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(CopyPropValueTest, ThrowsForAnyOtherTypeAndLeavesTheBlock)
{
    const ULONG types[] = {PT_UNSPECIFIED,
                           PT_NULL,
                           PT_I2,
                           PT_R4,
                           PT_DOUBLE,
                           PT_CURRENCY,
                           PT_APPTIME,
                           PT_ERROR,
                           PT_OBJECT,
                           PT_I8,
                           PT_STRING8,
                           PT_SYSTIME,
                           PT_CLSID,
                           MV_FLAG | PT_LONG,
                           MV_FLAG | PT_UNICODE,
                           MV_FLAG | PT_BINARY};
    for (const ULONG type : types)
    {
        SCOPED_TRACE(type);
        const SPropValue value = source(PROP_TAG(type, 0x6705));
        EXPECT_EQ(thrown([&] { (void)copyPropValue(&value, nullptr); }),
                  L"mapi::copyPropValue: Unsupported value type.");
        EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(CopyPropValueTest, BlockOfAnUnsupportedTypeGoesWithTheParent)
{
    mapi::ValuePtr<_SPropValue> parent(m_runtime.allocate<SPropValue>());
    const SPropValue value = source(PROP_TAG(PT_SYSTIME, 0x6705));
    EXPECT_EQ(thrown([&] { (void)copyPropValue(&value, parent.get()); }),
              L"mapi::copyPropValue: Unsupported value type.");
    EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(1, 2));
    parent.reset();
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

class PropValueTest : public MapiTest
{
protected:
    const Mocked<MockProp> m_object;
};

TEST_F(PropValueTest, ReadOwnsWhatHrGetOnePropGives)
{
    giveProperties(m_object, {Property::text(PR_DISPLAY_NAME_W, L"Ann")});
    {
        PropValue value;
        value.read(m_object.pointer(), PR_DISPLAY_NAME_W);
        EXPECT_STREQ(value->Value.lpszW, L"Ann");
        EXPECT_EQ(m_object->references(), 1); // the argument's is gone
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrGetOneProp 3001001f -> #1", "MAPIFreeBuffer #1"));
}

TEST_F(PropValueTest, ReadFreesTheOldValueFirst)
{
    giveProperties(m_object, {Property::number(PR_OBJECT_TYPE, 3)});
    PropValue value(m_runtime.allocate<SPropValue>());
    const SPropValue* seen = value.get();
    m_runtime.whenCalled(Call::GetOneProp, [&] { seen = value.get(); });
    value.read(m_object.pointer(), PR_OBJECT_TYPE);
    EXPECT_EQ(seen, nullptr);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1", "HrGetOneProp ffe0003 -> #2"));
    m_runtime.whenCalled(Call::GetOneProp, {});
}

TEST_F(PropValueTest, ReadThrowsAndHoldsNothingWhenThePropertyIsMissing)
{
    giveProperties(m_object, {});
    PropValue value(m_runtime.allocate<SPropValue>());
    EXPECT_EQ(thrown([&] { value.read(m_object.pointer(), PR_ENTRYID); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_EQ(m_object->references(), 1);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(PropValueTest, ReadPassesWarnings)
{
    giveProperties(m_object, {Property::number(PR_OBJECT_TYPE, 3)});
    m_runtime.plan(Call::GetOneProp, MAPI_W_ERRORS_RETURNED);
    PropValue value;
    value.read(m_object.pointer(), PR_OBJECT_TYPE);
    EXPECT_EQ(value->Value.l, 3);
}

TEST_F(PropValueTest, ReadThrowsWhenTheRuntimeLacksHrGetOneProp)
{
    m_runtime.hide();
    PropValue value;
    EXPECT_EQ(thrown([&] { value.read(m_object.pointer(), PR_ENTRYID); }),
              L"mapi::PropValue::read, line N: hr = 0x80004005(MAPI call failed)");
}

TEST_F(PropValueTest, MakeTextIsOneBlockWithItsString)
{
    const PropValue value = PropValue::makeText(PR_MESSAGE_CLASS_W, L"IPM.Contact");
    EXPECT_EQ(value->ulPropTag, PR_MESSAGE_CLASS_W);
    EXPECT_STREQ(value->Value.lpszW, L"IPM.Contact");
    EXPECT_EQ(m_runtime.parentNumber(value->Value.lpszW), m_runtime.blockNumber(value.get()));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateMore 24, #1 -> #2"));
}

TEST_F(PropValueTest, MakeBooleanIsOneBlock)
{
    const PropValue no = PropValue::makeBoolean(PR_ATTR_HIDDEN, false);
    EXPECT_EQ(no->ulPropTag, PR_ATTR_HIDDEN);
    EXPECT_EQ(no->Value.b, 0);
    EXPECT_EQ(PropValue::makeBoolean(PR_ATTR_HIDDEN, true)->Value.b, 1);
}
} // namespace

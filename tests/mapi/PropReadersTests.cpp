#include "agent/mapi/PropReaders.h"

#include <limits>

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using namespace tests;
using BinaryAccessor = mapi::impl::PropValueAccessorT<258, 0>;
using TextAccessor = mapi::impl::PropValueAccessorT<31, 0>;
using LongAccessor = mapi::impl::PropValueAccessorT<3, 0>;
using BinaryReader = mapi::impl::Reader<_SPropValue, _SBinary>;
using TextReader = mapi::impl::Reader<_SPropValue, wchar_t*>;
using LongReader = mapi::impl::Reader<_SPropValue, long>;
using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring accessor = L"mapi::impl::PropValueAccessorT<";
const std::wstring reader = L"mapi::impl::Reader<struct _SPropValue,";

SPropValue makeValue(ULONG tag)
{
    SPropValue result{};
    result.ulPropTag = tag;
    return result;
}

class PropReadersTest : public MapiTest
{
protected:
    const Mocked<MockProp> m_object;
};

TEST_F(PropReadersTest, AccessorsGiveTheMemberOfTheirType)
{
    wchar_t text[] = L"Ann";
    SPropValue textValue = makeValue(PR_DISPLAY_NAME_W);
    textValue.Value.lpszW = text;
    EXPECT_EQ(TextAccessor::read(&textValue), text); // the pointer, no copy

    BYTE bytes[] = {1, 2};
    SPropValue binaryValue = makeValue(PR_ENTRYID);
    binaryValue.Value.bin = {2, bytes};
    EXPECT_EQ(BinaryAccessor::read(&binaryValue).cb, 2u);
    EXPECT_EQ(BinaryAccessor::read(&binaryValue).lpb, bytes);

    SPropValue longValue = makeValue(PR_OBJECT_TYPE);
    constexpr LONG least = std::numeric_limits<LONG>::min();
    longValue.Value.l = least;
    EXPECT_EQ(LongAccessor::read(&longValue), least);
    EXPECT_EQ(LongReader::read(&longValue), least);
}

TEST_F(PropReadersTest, ThrowForNullUnderTheirOwnNames)
{
    const std::wstring null = L"::read: Input value is null";
    EXPECT_EQ(thrown([] { std::ignore = BinaryAccessor::read(nullptr); }), accessor + L"258,0>" + null);
    EXPECT_EQ(thrown([] { std::ignore = TextAccessor::read(nullptr); }), accessor + L"31,0>" + null);
    EXPECT_EQ(thrown([] { std::ignore = LongAccessor::read(nullptr); }), accessor + L"3,0>" + null);
    EXPECT_EQ(thrown([] { std::ignore = BinaryReader::read(nullptr); }), reader + L"struct _SBinary>" + null);
    EXPECT_EQ(thrown([] { std::ignore = TextReader::read(nullptr); }), reader + L"wchar_t *>" + null);
    EXPECT_EQ(thrown([] { std::ignore = LongReader::read(nullptr); }), reader + L"long>" + null);
}

// The tag and both types print in hexadecimal, and nothing separates the tag from the word behind it.
TEST_F(PropReadersTest, ThrowForAnotherType)
{
    const std::wstring other = L"::read: Incompatible property type. proptag=0x";
    const SPropValue text = makeValue(PR_DISPLAY_NAME_W);
    const SPropValue number = makeValue(PR_OBJECT_TYPE);
    const SPropValue error = makeValue(CHANGE_PROP_TYPE(PR_OBJECT_TYPE, PT_ERROR)); // of a missing property
    const SPropValue numbers = makeValue(PROP_TAG(MV_FLAG | PT_LONG, 0x6701));
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readBinary(text); }),
              accessor + L"258,0>" + other + L"3001001fprovided proptype=1f, expected proptype=102");
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readText(number); }),
              accessor + L"31,0>" + other + L"ffe0003provided proptype=3, expected proptype=1f");
    EXPECT_EQ(thrown([&] { std::ignore = LongReader::read(&error); }),
              accessor + L"3,0>" + other + L"ffe000aprovided proptype=a, expected proptype=3");
    EXPECT_EQ(thrown([&] { std::ignore = LongAccessor::read(&numbers); }),
              accessor + L"3,0>" + other + L"67011003provided proptype=1003, expected proptype=3");
}

TEST_F(PropReadersTest, CopyWhatTheyFind)
{
    wchar_t text[] = L"Ann";
    SPropValue textValue = makeValue(PR_DISPLAY_NAME_W);
    EXPECT_EQ(mapi::readText(textValue), L""); // a null string
    textValue.Value.lpszW = text;
    const std::wstring name = mapi::readText(textValue);
    text[0] = L'E';
    EXPECT_EQ(name, L"Ann");

    BYTE bytes[] = {0, 9, 0};
    SPropValue binaryValue = makeValue(PR_ENTRYID);
    EXPECT_THAT(mapi::readBinary(binaryValue), IsEmpty());
    binaryValue.Value.bin = {3, bytes};
    EXPECT_THAT(mapi::readBinary(binaryValue), ElementsAre(0, 9, 0));
}

TEST_F(PropReadersTest, ReadAnObjectsProperty)
{
    giveProperties(m_object, {Property::bytes(PR_ENTRYID, {1, 2}), Property::text(PR_DISPLAY_NAME_W, L"Ann"),
                              Property::number(PR_OBJECT_TYPE, 5)});
    EXPECT_THAT(mapi::readBinary(m_object.pointer(), PR_ENTRYID), ElementsAre(1, 2));
    EXPECT_EQ(mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W), L"Ann");
    EXPECT_EQ(mapi::readLong(m_object.pointer(), PR_OBJECT_TYPE), 5);
}

TEST_F(PropReadersTest, ThrowWhenAnObjectLacksThePropertyOrGivesAnother)
{
    giveProperties(m_object, {});
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readBinary(m_object.pointer(), PR_ENTRYID); }), missing);
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W); }), missing);
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readLong(m_object.pointer(), PR_OBJECT_TYPE); }), missing);
    EXPECT_CALL(*m_object, GetProps(testing::_, testing::_, testing::_, testing::_))
        .WillOnce(
            [](SPropTagArray*, ULONG, ULONG* count, SPropValue** values)
            {
                *count = 1;
                *values = makeValues({Property::flag(PR_ATTR_HIDDEN, true)});
                return S_OK;
            });
    EXPECT_EQ(thrown([&] { std::ignore = mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W); }),
              accessor + L"31,0>::read: Incompatible property type. proptag=0x10f4000bprovided proptype=b, expected "
                         L"proptype=1f");
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace

#include "agent/mapi/PropReaders.h"

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using BinaryAccessor = mapi::impl::PropValueAccessorT<258, 0>;
using TextAccessor = mapi::impl::PropValueAccessorT<31, 0>;
using LongAccessor = mapi::impl::PropValueAccessorT<3, 0>;
using BinaryReader = mapi::impl::Reader<_SPropValue, _SBinary>;
using TextReader = mapi::impl::Reader<_SPropValue, wchar_t*>;
using LongReader = mapi::impl::Reader<_SPropValue, long>;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

class PropReadersTest : public MapiTest
{
protected:
    static SPropValue value(ULONG tag)
    {
        SPropValue result{};
        result.ulPropTag = tag;
        return result;
    }
};

TEST_F(PropReadersTest, AccessorsGiveTheMemberOfTheirType)
{
    wchar_t text[] = L"Ann";
    SPropValue textValue = value(PR_DISPLAY_NAME_W);
    textValue.Value.lpszW = text;
    EXPECT_EQ(TextAccessor::read(&textValue), text); // the pointer, no copy

    BYTE bytes[] = {1, 2};
    SPropValue binaryValue = value(PR_ENTRYID);
    binaryValue.Value.bin = {2, bytes};
    const SBinary binary = BinaryAccessor::read(&binaryValue);
    EXPECT_EQ(binary.cb, 2u);
    EXPECT_EQ(binary.lpb, bytes);

    SPropValue longValue = value(PR_OBJECT_TYPE);
    longValue.Value.l = -5;
    EXPECT_EQ(LongAccessor::read(&longValue), -5);
}

TEST_F(PropReadersTest, AccessorsThrowForNull)
{
    EXPECT_EQ(thrown([] { (void)BinaryAccessor::read(nullptr); }),
              L"mapi::impl::PropValueAccessorT<258,0>::read: Input value is null");
    EXPECT_EQ(thrown([] { (void)TextAccessor::read(nullptr); }),
              L"mapi::impl::PropValueAccessorT<31,0>::read: Input value is null");
    EXPECT_EQ(thrown([] { (void)LongAccessor::read(nullptr); }),
              L"mapi::impl::PropValueAccessorT<3,0>::read: Input value is null");
}

// The tag and both types print in hexadecimal, and nothing separates the tag from the word behind it.
TEST_F(PropReadersTest, AccessorsThrowForAnotherType)
{
    const SPropValue text = value(PR_DISPLAY_NAME_W);
    const SPropValue number = value(PR_OBJECT_TYPE);
    EXPECT_EQ(thrown([&] { (void)BinaryAccessor::read(&text); }),
              L"mapi::impl::PropValueAccessorT<258,0>::read: Incompatible property type. "
              L"proptag=0x3001001fprovided proptype=1f, expected proptype=102");
    EXPECT_EQ(thrown([&] { (void)TextAccessor::read(&number); }),
              L"mapi::impl::PropValueAccessorT<31,0>::read: Incompatible property type. "
              L"proptag=0xffe0003provided proptype=3, expected proptype=1f");
    EXPECT_EQ(thrown([&] { (void)LongAccessor::read(&text); }),
              L"mapi::impl::PropValueAccessorT<3,0>::read: Incompatible property type. "
              L"proptag=0x3001001fprovided proptype=1f, expected proptype=3");
}

TEST_F(PropReadersTest, AccessorsThrowForTheErrorOfAMissingProperty)
{
    const SPropValue error = value(CHANGE_PROP_TYPE(PR_OBJECT_TYPE, PT_ERROR));
    EXPECT_EQ(thrown([&] { (void)LongAccessor::read(&error); }),
              L"mapi::impl::PropValueAccessorT<3,0>::read: Incompatible property type. "
              L"proptag=0xffe000aprovided proptype=a, expected proptype=3");
    EXPECT_EQ(thrown([&] { (void)LongReader::read(&error); }),
              L"mapi::impl::PropValueAccessorT<3,0>::read: Incompatible property type. "
              L"proptag=0xffe000aprovided proptype=a, expected proptype=3");
}

TEST_F(PropReadersTest, AccessorsTakeMultiValuedTypesForOtherTypes)
{
    const SPropValue numbers = value(PROP_TAG(MV_FLAG | PT_LONG, 0x6701));
    EXPECT_EQ(thrown([&] { (void)LongAccessor::read(&numbers); }),
              L"mapi::impl::PropValueAccessorT<3,0>::read: Incompatible property type. "
              L"proptag=0x67011003provided proptype=1003, expected proptype=3");
}

TEST_F(PropReadersTest, ReadersThrowForNullUnderTheirOwnNames)
{
    EXPECT_EQ(thrown([] { (void)BinaryReader::read(nullptr); }),
              L"mapi::impl::Reader<struct _SPropValue,struct _SBinary>::read: Input value is null");
    EXPECT_EQ(thrown([] { (void)TextReader::read(nullptr); }),
              L"mapi::impl::Reader<struct _SPropValue,wchar_t *>::read: Input value is null");
    EXPECT_EQ(thrown([] { (void)LongReader::read(nullptr); }),
              L"mapi::impl::Reader<struct _SPropValue,long>::read: Input value is null");
}

TEST_F(PropReadersTest, ReadersCopyWhatTheyFind)
{
    wchar_t text[] = L"Ann";
    SPropValue textValue = value(PR_DISPLAY_NAME_W);
    textValue.Value.lpszW = text;
    const std::wstring name = TextReader::read(&textValue);
    text[0] = L'E';
    EXPECT_EQ(name, L"Ann");

    BYTE bytes[] = {0, 9, 0};
    SPropValue binaryValue = value(PR_ENTRYID);
    binaryValue.Value.bin = {3, bytes};
    const EntryId entryId = BinaryReader::read(&binaryValue);
    bytes[1] = 8;
    EXPECT_THAT(entryId, ElementsAre(0, 9, 0));

    SPropValue longValue = value(PR_OBJECT_TYPE);
    longValue.Value.l = MINLONG;
    EXPECT_EQ(LongReader::read(&longValue), MINLONG);
}

TEST_F(PropReadersTest, ReadersGiveEmptyResultsWhereNothingIsBehindTheMember)
{
    const SPropValue noText = value(PR_DISPLAY_NAME_W);
    EXPECT_EQ(TextReader::read(&noText), L"");

    BYTE byte = 1;
    SPropValue noBytes = value(PR_ENTRYID);
    EXPECT_THAT(BinaryReader::read(&noBytes), IsEmpty());
    noBytes.Value.bin = {0, &byte};
    EXPECT_THAT(BinaryReader::read(&noBytes), IsEmpty());
}

// ---- Reads of an object's property -----------------------------------------------------------------------------------

class ReadPropertyTest : public MapiTest
{
protected:
    const Mocked<MockProp> m_object;
};

TEST_F(ReadPropertyTest, GivesTheValueAndFreesIt)
{
    giveProperties(m_object, {Property::bytes(PR_ENTRYID, {1, 2}), Property::text(PR_DISPLAY_NAME_W, L"Ann"),
                              Property::number(PR_OBJECT_TYPE, 5)});
    EXPECT_THAT(mapi::readBinary(m_object.pointer(), PR_ENTRYID), ElementsAre(1, 2));
    EXPECT_EQ(mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W), L"Ann");
    EXPECT_EQ(mapi::readLong(m_object.pointer(), PR_OBJECT_TYPE), 5);
    EXPECT_THAT(m_runtime.calls(),
                ElementsAre("HrGetOneProp fff0102 -> #1", "MAPIFreeBuffer #1", "HrGetOneProp 3001001f -> #3",
                            "MAPIFreeBuffer #3", "HrGetOneProp ffe0003 -> #5", "MAPIFreeBuffer #5"));
    EXPECT_EQ(m_object->references(), 1);
}

TEST_F(ReadPropertyTest, ThrowsWhenThePropertyIsMissing)
{
    giveProperties(m_object, {});
    const std::wstring expected = L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_EQ(thrown([&] { (void)mapi::readBinary(m_object.pointer(), PR_ENTRYID); }), expected);
    EXPECT_EQ(thrown([&] { (void)mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W); }), expected);
    EXPECT_EQ(thrown([&] { (void)mapi::readLong(m_object.pointer(), PR_OBJECT_TYPE); }), expected);
    EXPECT_EQ(m_object->references(), 1);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ReadPropertyTest, FreesAValueOfAnotherTypeAndThrows)
{
    EXPECT_CALL(*m_object, GetProps(_, _, _, _))
        .WillRepeatedly(
            [](SPropTagArray*, ULONG, ULONG* count, SPropValue** values)
            {
                *count = 1;
                *values = makeValues({Property::flag(PR_ATTR_HIDDEN, true)});
                return S_OK;
            });
    EXPECT_EQ(thrown([&] { (void)mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W); }),
              L"mapi::impl::PropValueAccessorT<31,0>::read: Incompatible property type. "
              L"proptag=0x10f4000bprovided proptype=b, expected proptype=1f");
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrGetOneProp 3001001f -> #1", "MAPIFreeBuffer #1"));
    EXPECT_EQ(m_object->references(), 1);
}

// A runtime that says yes and gives nothing.
TEST_F(ReadPropertyTest, ThrowsTheReadersMessageWhenNoValueComes)
{
    EXPECT_CALL(*m_object, GetProps(_, _, _, _)).WillRepeatedly(testing::Return(S_OK));
    EXPECT_EQ(thrown([&] { (void)mapi::readLong(m_object.pointer(), PR_OBJECT_TYPE); }),
              L"mapi::impl::Reader<struct _SPropValue,long>::read: Input value is null");
    EXPECT_EQ(thrown([&] { (void)mapi::readText(m_object.pointer(), PR_DISPLAY_NAME_W); }),
              L"mapi::impl::Reader<struct _SPropValue,wchar_t *>::read: Input value is null");
    EXPECT_EQ(thrown([&] { (void)mapi::readBinary(m_object.pointer(), PR_ENTRYID); }),
              L"mapi::impl::Reader<struct _SPropValue,struct _SBinary>::read: Input value is null");
}
} // namespace

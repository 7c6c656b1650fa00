// The small reads of MapiUtilities: what an object lists, its identifiers, type and name.
#include <gmock/gmock.h>

#include "agent/mapi/MapiUtilities.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::Return;

const std::wstring listFailed = L"mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)";

class ObjectTest : public MapiTest
{
protected:
    ~ObjectTest() override { EXPECT_EQ(m_object->references(), 1); }

    IMAPIPropPtr object() const { return m_object.pointer(); }
    void give(const Properties& properties) { giveProperties(m_object, properties); }
    void failPropList() { EXPECT_CALL(*m_object, GetPropList(_, _)).WillRepeatedly(Return(MAPI_E_CALL_FAILED)); }

    const Mocked<MockProp> m_object;
};

// ---- hasProperty -----------------------------------------------------------------------------------------------------

using HasPropertyTest = ObjectTest;

TEST_F(HasPropertyTest, ComparesTheWholeTag)
{
    EXPECT_CALL(*m_object, GetPropList(0x80000000, NotNull()))
        .WillRepeatedly(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_ENTRYID, CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8), PR_OBJECT_TYPE});
                return S_OK;
            });
    EXPECT_TRUE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_TRUE(mapi::hasProperty(object(), PR_OBJECT_TYPE));
    EXPECT_FALSE(mapi::hasProperty(object(), PR_DISPLAY_NAME_W)); // its narrow form is another property
    EXPECT_FALSE(mapi::hasProperty(object(), PR_PARENT_ENTRYID));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(HasPropertyTest, IsFalseWhenTheListIsEmptyOrNull)
{
    EXPECT_CALL(*m_object, GetPropList(_, _))
        .WillOnce(Return(S_OK))
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({});
                return S_OK;
            });
    EXPECT_FALSE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_FALSE(mapi::hasProperty(object(), PR_ENTRYID));
}

TEST_F(HasPropertyTest, PassesWarnings)
{
    EXPECT_CALL(*m_object, GetPropList(_, _))
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_ENTRYID});
                return MAPI_W_ERRORS_RETURNED;
            });
    EXPECT_TRUE(mapi::hasProperty(object(), PR_ENTRYID));
}

TEST_F(HasPropertyTest, ThrowsWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_EQ(thrown([this] { (void)mapi::hasProperty(object(), PR_ENTRYID); }), listFailed);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(HasPropertyTest, ThrowsForNull)
{
    EXPECT_EQ(thrown([] { (void)mapi::hasProperty({}, PR_ENTRYID); }),
              L"condition \"obj\" failed (mapi::hasProperty in MapiUtilities.cpp, line N)");
}

// ---- entryId, parentEntryId ------------------------------------------------------------------------------------------

using EntryIdReadTest = ObjectTest;

TEST_F(EntryIdReadTest, GivesTheBytes)
{
    give({Property::bytes(PR_ENTRYID, {1, 0, 2}), Property::bytes(PR_PARENT_ENTRYID, {3})});
    EXPECT_THAT(mapi::entryId(object()), ElementsAre(1, 0, 2));
    EXPECT_THAT(mapi::parentEntryId(object()), ElementsAre(3));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("HrGetOneProp fff0102 -> #1", "MAPIFreeBuffer #1",
                                               "HrGetOneProp e090102 -> #3", "MAPIFreeBuffer #3"));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(EntryIdReadTest, IsEmptyForNoBytes)
{
    give({Property::bytes(PR_ENTRYID, {}), Property::bytes(PR_PARENT_ENTRYID, {})});
    EXPECT_THAT(mapi::entryId(object()), IsEmpty());
    EXPECT_THAT(mapi::parentEntryId(object()), IsEmpty());
}

TEST_F(EntryIdReadTest, LogsAFailureAndThrowsItAgain)
{
    give({});
    const std::wstring failure = L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_EQ(thrown([this] { (void)mapi::entryId(object()); }), failure);
    EXPECT_EQ(thrown([this] { (void)mapi::parentEntryId(object()); }), failure);
    EXPECT_THAT(log(), ElementsAre("mapi::entryId: Exception has been caught and will be rethrown: "
                                   "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)",
                                   "mapi::parentEntryId: Exception has been caught and will be rethrown: "
                                   "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)"));
}

TEST_F(EntryIdReadTest, LogsAndThrowsForAnotherType)
{
    EXPECT_CALL(*m_object, GetProps(_, _, _, _))
        .WillOnce(
            [](SPropTagArray*, ULONG, ULONG* count, SPropValue** values)
            {
                *count = 1;
                *values = makeValues({Property::number(PR_OBJECT_TYPE, 3)});
                return S_OK;
            });
    EXPECT_EQ(thrown([this] { (void)mapi::entryId(object()); }),
              L"mapi::impl::PropValueAccessorT<258,0>::read: Incompatible property type. "
              L"proptag=0xffe0003provided proptype=3, expected proptype=102");
    EXPECT_THAT(log(), ElementsAre("mapi::entryId: Exception has been caught and will be rethrown: "
                                   "mapi::impl::PropValueAccessorT<258,0>::read: Incompatible property type. "
                                   "proptag=0xffe0003provided proptype=3, expected proptype=102"));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

// ---- isFolder --------------------------------------------------------------------------------------------------------

using IsFolderTest = ObjectTest;

TEST_F(IsFolderTest, IsTrueForTheTypeOfFoldersOnly)
{
    give({Property::number(PR_OBJECT_TYPE, 3)});
    EXPECT_TRUE(mapi::isFolder(object()));
    for (const LONG type : {0, 1, 2, 4, 5, -3, 0x10003})
    {
        give({Property::number(PR_OBJECT_TYPE, type)});
        EXPECT_FALSE(mapi::isFolder(object())) << type;
    }
}

TEST_F(IsFolderTest, IsFalseForNull)
{
    EXPECT_FALSE(mapi::isFolder({}));
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(IsFolderTest, IsFalseWhenNoTypeIsListed)
{
    EXPECT_CALL(*m_object, GetPropList(MAPI_UNICODE, _)).WillOnce(Return(S_OK)); // and nothing is read
    EXPECT_FALSE(mapi::isFolder(object()));
}

TEST_F(IsFolderTest, IsFalseWithoutAWordWhenTheTypeCannotBeRead)
{
    give({Property::error(PR_OBJECT_TYPE)});
    EXPECT_FALSE(mapi::isFolder(object()));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(IsFolderTest, ThrowsWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_EQ(thrown([this] { (void)mapi::isFolder(object()); }), listFailed);
    EXPECT_THAT(log(), IsEmpty());
}

// ---- displayName -----------------------------------------------------------------------------------------------------

using DisplayNameTest = ObjectTest;

TEST_F(DisplayNameTest, GivesTheName)
{
    give({Property::text(PR_DISPLAY_NAME_W, L"J\x00F6rg")});
    EXPECT_EQ(mapi::displayName(object()), L"J\x00F6rg");
}

TEST_F(DisplayNameTest, IsEmptyForAnEmptyOrNullName)
{
    give({Property::text(PR_DISPLAY_NAME_W, L"")});
    EXPECT_EQ(mapi::displayName(object()), L"");
    give({Property::nullText(PR_DISPLAY_NAME_W)});
    EXPECT_EQ(mapi::displayName(object()), L"");
}

TEST_F(DisplayNameTest, CannotBeResolvedWithoutAnObjectOrAListedName)
{
    EXPECT_EQ(mapi::displayName({}), L"(cannot resolve)");
    EXPECT_CALL(*m_object, GetPropList(MAPI_UNICODE, _)).WillOnce(Return(S_OK)); // and nothing is read
    EXPECT_EQ(mapi::displayName(object()), L"(cannot resolve)");
}

TEST_F(DisplayNameTest, IsEmptyWithoutAWordWhenTheNameCannotBeRead)
{
    give({Property::error(PR_DISPLAY_NAME_W)});
    EXPECT_EQ(mapi::displayName(object()), L"");
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(DisplayNameTest, ThrowsWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_EQ(thrown([this] { (void)mapi::displayName(object()); }), listFailed);
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace

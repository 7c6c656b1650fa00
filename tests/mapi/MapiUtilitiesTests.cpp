// Which folders hold contacts, and the small reads of an object. The walks over folders are in FolderWalkTests.cpp.
#include "agent/mapi/MapiUtilities.h"

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using namespace tests;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgPointee;

const std::wstring listFailed = L"mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)";
const std::string caughtInMaybe = "An exception has been caught in mapi::maybeContactFolder : ";

/// A mock of a folder, for single answers.
class FolderTest : public MapiTest
{
protected:
    IMAPIFolderPtr folder() const { return m_folder.pointer(); }
    void failPropList() { ON_CALL(*m_folder, GetPropList(_, _)).WillByDefault(Return(MAPI_E_CALL_FAILED)); }
    void giveContents(ULONG count)
    {
        ON_CALL(*m_folder, GetContentsTable(_, _)).WillByDefault(givesObject<1>(m_table));
        ON_CALL(*m_table, GetRowCount(_, _)).WillByDefault(DoAll(SetArgPointee<1>(count), Return(S_OK)));
    }

    const Mocked<MockFolder> m_folder;
    const Mocked<MockTable> m_table;
};

// ---- Contact folders -----------------------------------------------------------------------------------------------

TEST_F(FolderTest, WithAClassIsAContactFolderByTheExactClassOnly)
{
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).Times(0);
    for (const wchar_t* const name :
         {L"IPF.Contact", L"IPF.CONTACT", L"ipf.contact", L"IPF.Contact.Sub", L"IPF.Contact.", L"IPF.Contac",
          L" IPF.Contact", L"IPF.Contact ", L"IPF.Note", L""})
    {
        giveProperties(m_folder, {Property::text(PR_CONTAINER_CLASS_W, name)});
        const bool expected = std::wstring(name) == L"IPF.Contact";
        EXPECT_EQ(mapi::isContactFolder(folder()), expected) << testing::PrintToString(name);
        EXPECT_EQ(mapi::maybeContactFolder(folder()), expected) << testing::PrintToString(name);
    }
    giveProperties(m_folder, {Property::nullText(PR_CONTAINER_CLASS_W)});
    EXPECT_FALSE(mapi::isContactFolder(folder()));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(FolderTest, WithoutAClassIsAContactFolderWhenItMayHoldContacts)
{
    const std::pair<HRESULT, bool> answers[] = {{MAPI_E_NOT_FOUND, false},
                                                {S_OK, true},
                                                {warning, true},
                                                {MAPI_E_TOO_COMPLEX, true},
                                                {MAPI_E_NO_SUPPORT, true},
                                                {MAPI_E_CALL_FAILED, true},
                                                {MAPI_E_NOT_ENOUGH_MEMORY, true}};
    giveProperties(m_folder, {Property::number(CHANGE_PROP_TYPE(PR_CONTAINER_CLASS_W, PT_STRING8), 0)});
    EXPECT_FALSE(mapi::isContactFolder(folder())); // only what is listed under the very tag is read
    giveContents(1);
    for (const auto& [result, answer] : answers)
    {
        EXPECT_CALL(*m_table, FindRow(_, BOOKMARK_BEGINNING, 0)).WillOnce(Return(result));
        EXPECT_EQ(mapi::maybeContactFolder(folder()), answer) << std::hex << result;
    }
    giveContents(0);
    EXPECT_CALL(*m_table, FindRow(_, _, _)).Times(0);
    EXPECT_TRUE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(FolderTest, IsNoContactFolderWhenItsClassCannotBeReadWithOneLine)
{
    giveProperties(m_folder, {Property::error(PR_CONTAINER_CLASS_W)});
    const std::string line = "An exception has been caught in mapi::isContactFolder : "
                             "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    EXPECT_FALSE(mapi::isContactFolder(folder()));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre(line, line));
}

TEST_F(FolderTest, IsNoContactFolderForTheGenerousTestWhenAStepFailsWithALine)
{
    giveProperties(m_folder, {});
    giveContents(1);
    EXPECT_CALL(*m_folder, GetContentsTable(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS)).WillOnce(givesObject<1>(m_table));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    failPropList();
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    m_folder->answerInterface(IID_IMAPIProp, E_NOINTERFACE);
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre(caughtInMaybe + "mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)",
                                   caughtInMaybe + "mapi::tableRowCount, line N: hr = 0x80040102(MAPI call failed)",
                                   caughtInMaybe + "mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)",
                                   caughtInMaybe + "condition \"obj\" failed (mapi::hasProperty in MapiUtilities.cpp, "
                                                   "line N)"));
}

TEST_F(FolderTest, ThrowsForTheStrictTestWhenThePropertiesCannotBeListed)
{
    failPropList();
    EXPECT_EQ(thrown([this] { std::ignore = mapi::isContactFolder(folder()); }), listFailed);
    m_folder->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW(std::ignore = mapi::isContactFolder(folder()), _com_error);
    EXPECT_THROW(std::ignore = mapi::maybeContactFolder(folder()), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}

// The strict test lists the properties anew; its failure reaches the guard of the generous one.
TEST_F(FolderTest, IsNoContactFolderWhenThePropertiesCannotBeListedAgain)
{
    EXPECT_CALL(*m_folder, GetPropList(_, _))
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_CONTAINER_CLASS_W});
                return S_OK;
            })
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_FALSE(mapi::maybeContactFolder(folder()));
    EXPECT_THAT(log(), ElementsAre(caughtInMaybe + "mapi::hasProperty, line N: hr = 0x80004005(MAPI call failed)"));
}

TEST_F(FolderTest, IsRefusedWhenThereIsNone)
{
    const auto condition = [](const std::wstring& name, const std::wstring& function)
    {
        return L"condition \"" + name + L"\" failed (mapi::" + function + L" in MapiUtilities.cpp, line N)";
    };
    EXPECT_EQ(thrown([] { std::ignore = mapi::isContactFolder({}); }), condition(L"folder", L"isContactFolder"));
    EXPECT_EQ(thrown([] { std::ignore = mapi::maybeContactFolder({}); }), condition(L"folder", L"maybeContactFolder"));
    EXPECT_EQ(thrown([] { std::ignore = mapi::getContentsTable({}); }), condition(L"folder", L"getContentsTable"));
    EXPECT_EQ(thrown([] { std::ignore = mapi::getHierarchyTable({}); }), condition(L"folder", L"getHierarchyTable"));
    EXPECT_EQ(thrown([] { std::ignore = mapi::hasProperty({}, PR_ENTRYID); }), condition(L"obj", L"hasProperty"));
    EXPECT_THAT(log(), IsEmpty());
}

// Both failures name the contents table.
TEST_F(FolderTest, GivesItsTablesAlsoWithAWarningOrThrowsTheSameWords)
{
    EXPECT_CALL(*m_folder, GetContentsTable(MAPI_UNICODE, _))
        .WillOnce(givesObject<1>(m_table, warning))
        .WillOnce(Return(MAPI_E_NO_ACCESS));
    EXPECT_CALL(*m_folder, GetHierarchyTable(MAPI_UNICODE, _))
        .WillOnce(givesObject<1>(m_table, warning))
        .WillOnce(Return(MAPI_E_NO_SUPPORT));
    EXPECT_EQ(mapi::getContentsTable(folder()).GetInterfacePtr(), m_table.get());
    EXPECT_EQ(mapi::getHierarchyTable(folder()).GetInterfacePtr(), m_table.get());
    EXPECT_EQ(thrown([this] { std::ignore = mapi::getContentsTable(folder()); }),
              L"mapi::getContentsTable, line N: hr = 0x80070005(GetContentsTable)");
    EXPECT_EQ(thrown([this] { std::ignore = mapi::getHierarchyTable(folder()); }),
              L"mapi::getHierarchyTable, line N: hr = 0x80040102(GetContentsTable)");
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Reads of any object -------------------------------------------------------------------------------------------

class ObjectTest : public MapiTest
{
protected:
    IMAPIPropPtr object() const { return m_object.pointer(); }
    void give(const Properties& properties) { giveProperties(m_object, properties); }

    const Mocked<MockProp> m_object;
};

TEST_F(ObjectTest, HasAPropertyThatIsListedUnderTheWholeTag)
{
    give({Property::bytes(PR_ENTRYID, {}), Property::number(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8), 0),
          Property::number(PR_OBJECT_TYPE, 3)});
    EXPECT_TRUE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_TRUE(mapi::hasProperty(object(), PR_OBJECT_TYPE));
    EXPECT_FALSE(mapi::hasProperty(object(), PR_DISPLAY_NAME_W)); // its narrow form is another property
    give({});
    EXPECT_FALSE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_CALL(*m_object, GetPropList(_, _))
        .WillOnce(Return(S_OK)) // and gives no list
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_ENTRYID});
                return warning;
            })
        .WillOnce(
            [](ULONG, SPropTagArray** tags)
            {
                *tags = makeTags({PR_OBJECT_TYPE, PR_ENTRYID});
                --(*tags)->cValues; // what lies behind the last one is no part of the list
                return S_OK;
            });
    EXPECT_FALSE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_TRUE(mapi::hasProperty(object(), PR_ENTRYID));
    EXPECT_FALSE(mapi::hasProperty(object(), PR_ENTRYID));
}

TEST_F(ObjectTest, ThrowsWhenItsPropertiesCannotBeListed)
{
    EXPECT_CALL(*m_object, GetPropList(_, _)).Times(3).WillRepeatedly(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(thrown([this] { std::ignore = mapi::hasProperty(object(), PR_ENTRYID); }), listFailed);
    EXPECT_EQ(thrown([this] { std::ignore = mapi::isFolder(object()); }), listFailed);
    EXPECT_EQ(thrown([this] { std::ignore = mapi::displayName(object()); }), listFailed);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ObjectTest, GivesItsIdentifiers)
{
    give({Property::bytes(PR_ENTRYID, {1, 0, 2}), Property::bytes(PR_PARENT_ENTRYID, {})});
    EXPECT_THAT(mapi::entryId(object()), ElementsAre(1, 0, 2));
    EXPECT_THAT(mapi::parentEntryId(object()), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ObjectTest, LogsAndThrowsWhenAnIdentifierCannotBeRead)
{
    const std::string rethrown = ": Exception has been caught and will be rethrown: "
                                 "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)";
    give({});
    EXPECT_EQ(thrown([this] { std::ignore = mapi::entryId(object()); }), missing);
    EXPECT_EQ(thrown([this] { std::ignore = mapi::parentEntryId(object()); }), missing);
    EXPECT_THAT(log(), ElementsAre("mapi::entryId" + rethrown, "mapi::parentEntryId" + rethrown));
}

TEST_F(ObjectTest, IsAFolderByItsType)
{
    for (const LONG type : {3, 0, 1, 2, 4, 5, -3, 0x10003})
    {
        give({Property::number(PR_OBJECT_TYPE, type)});
        EXPECT_EQ(mapi::isFolder(object()), type == 3) << type;
    }
    give({Property::error(PR_OBJECT_TYPE)});
    EXPECT_FALSE(mapi::isFolder(object()));
    give({});
    EXPECT_FALSE(mapi::isFolder(object()));
    EXPECT_FALSE(mapi::isFolder({}));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ObjectTest, HasAName)
{
    give({Property::text(PR_DISPLAY_NAME_W, L"J\x00F6rg")});
    EXPECT_EQ(mapi::displayName(object()), L"J\x00F6rg");
    give({Property::nullText(PR_DISPLAY_NAME_W)});
    EXPECT_EQ(mapi::displayName(object()), L"");
    give({Property::error(PR_DISPLAY_NAME_W)});
    EXPECT_EQ(mapi::displayName(object()), L"");
    give({});
    EXPECT_EQ(mapi::displayName(object()), L"(cannot resolve)");
    EXPECT_EQ(mapi::displayName({}), L"(cannot resolve)");
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace

// MessageStore::testHierarchy: whether a folder lies below another.
#include <gmock/gmock.h>

#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiSession.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::_;
using testing::AnyNumber;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;

const EntryId storeId = {100};
const EntryId storeAlias = {100, 1}; // another identifier of the same store
const EntryId otherStoreId = {101};
const std::string function = "mapi::MessageStore::testHierarchy: ";

/// A folder that knows its place.
struct FolderNode
{
    FolderNode(EntryId entryId, EntryId parentId, const std::wstring& name, EntryId store = storeId, LONG type = 3)
        : id(std::move(entryId)),
          properties{Property::bytes(PR_ENTRYID, id), Property::bytes(PR_PARENT_ENTRYID, std::move(parentId)),
                     Property::text(PR_DISPLAY_NAME_W, name), Property::bytes(PR_STORE_ENTRYID, std::move(store)),
                     Property::number(PR_OBJECT_TYPE, type)}
    {
        giveProperties(mock, properties);
    }

    /// Takes one of the properties away.
    void lack(ULONG tag)
    {
        std::erase_if(properties, [tag](const Property& property) { return property.tag() == tag; });
        giveProperties(mock, properties);
    }

    const EntryId id;
    Properties properties;
    const Mocked<MockFolder> mock;
};

class TestHierarchyTest : public MapiTest
{
protected:
    TestHierarchyTest()
    {
        mapi::Session::s_session = m_session.pointer();
        giveComparisons(m_session, {{storeId, storeAlias}, {m_root.id, EntryId{2, 99}}});
        giveProperties(m_store, {Property::bytes(PR_ENTRYID, storeId)});
        EXPECT_CALL(*m_store, OpenEntry(_, _, _, 0, _, _))
            .Times(AnyNumber())
            .WillRepeatedly(
                [this](ULONG size, ENTRYID* bytes, const IID* iid, ULONG, ULONG*, IUnknown** object) -> HRESULT
                {
                    EXPECT_TRUE(IsEqualIID(*iid, IID_IMAPIFolder));
                    m_opened.push_back(mapi::makeEntryId(size, bytes));
                    for (const FolderNode* const node : {&m_top, &m_root, &m_child, &m_grandchild, &m_other})
                    {
                        if (node->id != m_opened.back())
                            continue;
                        node->mock->AddRef();
                        *object = node->mock.get();
                        return S_OK;
                    }
                    return MAPI_E_NOT_FOUND;
                });
    }
    ~TestHierarchyTest() override
    {
        for (const FolderNode* const node : {&m_top, &m_root, &m_child, &m_grandchild, &m_other})
            EXPECT_EQ(node->mock->references(), 1);
        EXPECT_EQ(m_store->references(), 1);
        EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    }

    bool test(const FolderNode& root, const FolderNode& object)
    {
        return mapi::MessageStore(m_store.pointer()).testHierarchy(root.mock.pointer(), object.mock.pointer());
    }
    static std::string firstLine(const std::string& root, const std::string& object)
    {
        return function + "Analyze relations of root folder " + root + " and  " + object;
    }
    static std::string lastLine(const std::string& object, const std::string& verdict, const std::string& root)
    {
        return function + "Object " + object + verdict + "successor of specified root " + root;
    }

    const Mocked<MockSession> m_session;
    const Mocked<MockMsgStore> m_store;
    FolderNode m_top{{1}, {1}, L"Top"}; // its own parent
    FolderNode m_root{{2}, {1}, L"Root"};
    FolderNode m_child{{3}, {2}, L"Child"};
    FolderNode m_grandchild{{4}, {3}, L"Grandchild", storeAlias};
    FolderNode m_other{{5}, {1}, L"Other"};
    std::vector<EntryId> m_opened;
};

TEST_F(TestHierarchyTest, IsTrueForAFolderDirectlyBelow)
{
    EXPECT_TRUE(test(m_root, m_child));
    EXPECT_THAT(m_opened, ElementsAre(m_root.id));
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Child"), lastLine("Child", " is a ", "Root")));
}

TEST_F(TestHierarchyTest, IsTrueForAFolderSomeLevelsBelow)
{
    EXPECT_TRUE(test(m_top, m_grandchild));
    EXPECT_THAT(m_opened, ElementsAre(m_child.id, m_root.id, m_top.id));
    EXPECT_THAT(log(), ElementsAre(firstLine("Top", "Grandchild"), lastLine("Grandchild", " is a ", "Top")));
}

TEST_F(TestHierarchyTest, IsTrueForTwoInstancesOfOneFolder)
{
    const FolderNode instance{{2, 99}, {1}, L"Again"};
    EXPECT_TRUE(test(m_root, instance));
    EXPECT_TRUE(test(m_root, m_root));
    EXPECT_THAT(m_opened, IsEmpty());
    const std::string same = function + "These are different instances of the same object.";
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Again"), same, firstLine("Root", "Root"), same));
}

TEST_F(TestHierarchyTest, IsFalseForAFolderElsewhereInTheStore)
{
    EXPECT_FALSE(test(m_root, m_other));
    EXPECT_THAT(m_opened, ElementsAre(m_top.id, m_top.id)); // the top's parent is the top again, and ends the walk
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Other"), lastLine("Other", " is not a ", "Root")));
}

TEST_F(TestHierarchyTest, IsFalseForAFolderAboveTheRoot)
{
    EXPECT_FALSE(test(m_child, m_root));
    EXPECT_FALSE(test(m_child, m_top));
    EXPECT_THAT(log(), ElementsAre(firstLine("Child", "Root"), lastLine("Root", " is not a ", "Child"),
                                   firstLine("Child", "Top"), lastLine("Top", " is not a ", "Child")));
}

TEST_F(TestHierarchyTest, IsFalseWhenAnObjectIsNull)
{
    const mapi::MessageStore store(m_store.pointer());
    EXPECT_FALSE(store.testHierarchy({}, m_child.mock.pointer()));
    EXPECT_FALSE(store.testHierarchy(m_root.mock.pointer(), {}));
    EXPECT_FALSE(mapi::MessageStore().testHierarchy({}, nullptr));
    const std::string missing = function + "One or both objects not specified.";
    EXPECT_THAT(log(),
                ElementsAre(firstLine("(cannot resolve)", "Child"), missing, firstLine("Root", "(cannot resolve)"),
                            missing, firstLine("(cannot resolve)", "(cannot resolve)"), missing));
    EXPECT_THAT(m_opened, IsEmpty());
}

TEST_F(TestHierarchyTest, ShowsANameThatIsMissingOrUnreadable)
{
    m_root.lack(PR_DISPLAY_NAME_W);
    m_child.lack(PR_DISPLAY_NAME_W);
    m_child.properties.push_back(Property::error(PR_DISPLAY_NAME_W));
    giveProperties(m_child.mock, m_child.properties);
    EXPECT_TRUE(test(m_root, m_child));
    EXPECT_THAT(log(), ElementsAre(firstLine("(cannot resolve)", ""), lastLine("", " is a ", "(cannot resolve)")));
}

TEST_F(TestHierarchyTest, IsFalseWhenAnObjectIsFromAnotherStore)
{
    const FolderNode foreign{{7}, {2}, L"Foreign", otherStoreId};
    EXPECT_FALSE(test(foreign, m_child));
    EXPECT_FALSE(test(m_root, foreign));
    const std::string another = function + "One or both objects are from another store.";
    EXPECT_THAT(log(), ElementsAre(firstLine("Foreign", "Child"), another, firstLine("Root", "Foreign"), another));
    EXPECT_THAT(m_opened, IsEmpty());
}

TEST_F(TestHierarchyTest, ComparesTheStoreWithTheRootsStoreFirst)
{
    const FolderNode foreign{{7}, {2}, L"Foreign", otherStoreId};
    std::vector<EntryId> compared;
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, 0, _))
        .WillRepeatedly(
            [&compared](ULONG size1, ENTRYID* bytes1, ULONG size2, ENTRYID* bytes2, ULONG, ULONG* result)
            {
                compared.push_back(mapi::makeEntryId(size1, bytes1));
                compared.push_back(mapi::makeEntryId(size2, bytes2));
                *result = compared.back() == storeId ? 1 : 0;
                return S_OK;
            });
    EXPECT_FALSE(test(foreign, m_grandchild));
    EXPECT_THAT(compared, ElementsAre(storeId, otherStoreId)); // and no second comparison
    compared.clear();
    EXPECT_FALSE(test(m_root, m_grandchild));
    EXPECT_THAT(compared, ElementsAre(storeId, storeId, storeId, storeAlias));
}

TEST_F(TestHierarchyTest, ReadsInAFixedOrder)
{
    EXPECT_TRUE(test(m_root, m_child));
    std::vector<std::string> reads;
    for (const std::string& call : m_runtime.calls())
    {
        if (call.starts_with("HrGetOneProp "))
            reads.push_back(call.substr(13, call.find(" ->") - 13));
    }
    const std::vector<std::string> expected = {
        "3001001f", "3001001f",            // the names
        "fff0102",  "ffb0102",  "ffb0102", // the store, and the stores of both
        "fff0102",  "fff0102",             // both objects
        "e090102",  "fff0102",  "fff0102", // the first level: the parent's identifier, the parent, the object
        "ffe0003"};
    ASSERT_GE(reads.size(), expected.size());
    reads.resize(expected.size());
    EXPECT_EQ(reads, expected);
}

TEST_F(TestHierarchyTest, IsFalseWhenAParentCannotBeOpened)
{
    const FolderNode orphan{{8}, {77}, L"Orphan"};
    EXPECT_FALSE(test(m_root, orphan));
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Orphan"), lastLine("Orphan", " is not a ", "Root")));
}

TEST_F(TestHierarchyTest, IsFalseWhenAParentOpensWithAWarning)
{
    EXPECT_CALL(*m_store, OpenEntry(_, _, _, _, _, _)).WillOnce(givesObject<5>(m_root.mock, MAPI_W_ERRORS_RETURNED));
    EXPECT_FALSE(test(m_root, m_child));
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Child"), lastLine("Child", " is not a ", "Root")));
}

TEST_F(TestHierarchyTest, IsFalseWhenAParentIdentifierIsEmpty)
{
    const FolderNode orphan{{8}, {}, L"Orphan"};
    EXPECT_FALSE(test(m_root, orphan));
    EXPECT_THAT(m_opened, IsEmpty());
    EXPECT_THAT(log(),
                ElementsAre(firstLine("Root", "Orphan"),
                            "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)",
                            lastLine("Orphan", " is not a ", "Root")));
}

// The root counts as a parent only if it is a folder; one that does not count does not stop the walk.
TEST_F(TestHierarchyTest, GoesOnPastAParentThatIsNoFolder)
{
    m_root.lack(PR_OBJECT_TYPE);
    EXPECT_FALSE(test(m_root, m_child));
    EXPECT_THAT(m_opened, ElementsAre(m_root.id, m_top.id, m_top.id));
    EXPECT_TRUE(test(m_top, m_child)); // past the same parent
}

TEST_F(TestHierarchyTest, TakesAComparisonThatFailsForDifferentObjects)
{
    EXPECT_CALL(*m_session, CompareEntryIDs(_, _, _, _, _, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_FALSE(test(m_root, m_child));
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Child"),
                                   "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005",
                                   function + "One or both objects are from another store."));
}

TEST_F(TestHierarchyTest, ThrowsWhenAnIdentifierCannotBeRead)
{
    m_root.lack(PR_PARENT_ENTRYID);
    EXPECT_EQ(thrown([this] { (void)test(m_top, m_child); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre(firstLine("Top", "Child"),
                                   "mapi::parentEntryId: Exception has been caught and will be rethrown: "
                                   "mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)"));
}

TEST_F(TestHierarchyTest, ThrowsWithoutAWordOfItsOwnWhenAStoreIdentifierCannotBeRead)
{
    m_child.lack(PR_STORE_ENTRYID);
    EXPECT_EQ(thrown([this] { (void)test(m_root, m_child); }),
              L"mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
    EXPECT_THAT(log(), ElementsAre(firstLine("Root", "Child")));
}

TEST_F(TestHierarchyTest, RaisesAComErrorWhenAParentCannotBeTakenAsIMAPIProp)
{
    m_root.mock->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW((void)test(m_top, m_child), _com_error);
    EXPECT_THAT(log(), ElementsAre(firstLine("Top", "Child")));
}

TEST_F(TestHierarchyTest, ReadsAParentThatIsNoIMAPIPropAsNull)
{
    m_root.mock->answerInterface(IID_IMAPIProp, E_NOINTERFACE);
    EXPECT_EQ(thrown([this] { (void)test(m_top, m_child); }),
              L"mapi::PropValue::read, line N: hr = 0x80070057(MAPI call failed)"); // what this runtime gives for null
    EXPECT_EQ(log().size(), 2u);
}

TEST_F(TestHierarchyTest, DoesNotLookAtStopRequested)
{
    utilities::stopRequested = true;
    EXPECT_TRUE(test(m_top, m_grandchild));
}
} // namespace

// MessageStore::testHierarchy: whether a folder lies below another.
#include "agent/mapi/MapiMessageStore.h"
#include "agent/mapi/MapiUtilities.h"
#include "tests/mapi/MapiTest.h"
#include "utilities/ScopeGuard.h"
#include "utilities/StopRequested.h"

namespace
{
using mapi::MessageStore;
using mapi::Session;
using testing::ElementsAre;
using tests::missing;

std::string line(const std::string& text)
{
    return "mapi::MessageStore::testHierarchy: " + text;
}
std::string analyze(const std::string& root, const std::string& object)
{
    return line("Analyze relations of root folder " + root + " and  " + object);
}
std::string verdict(const std::string& object, const std::string& is, const std::string& root)
{
    return line("Object " + object + " " + is + " successor of specified root " + root);
}

class TestHierarchyTest : public tests::MapiTest
{
protected:
    /// A store with the folder A, in it B, in it C; D beside A; and another store.
    /// @param b  more members of B.
    void open(const std::string& b = "")
    {
        logon(R"({"stores": [
            {"name": "Mailbox", "rootFolders": [{"name": "Beside"}], "folders": [
                {"name": "A", "folders": [{"name": "B", )" +
              b + R"("folders": [{"name": "C"}]}]}, {"name": "D"}]},
            {"name": "Archive", "folders": [{"name": "Old"}]}]})");
        m_store = openStore();
        m_a = find(m_store, {L"A"});
        m_b = find(m_store, {L"A", L"B"});
        m_c = find(m_store, {L"A", L"B", L"C"});
    }

    /// Whether the second folder lies below the first; keeps the lines that this logs.
    bool test(const IMAPIFolderPtr& root, const IMAPIFolderPtr& object)
    {
        const std::size_t before = log().size();
        const utilities::ScopeGuard keep(
            [&]
            {
                const auto lines = log();
                m_lines.assign(lines.begin() + static_cast<std::ptrdiff_t>(before), lines.end());
            });
        return m_store.testHierarchy(root, object);
    }

    MessageStore m_store;
    IMAPIFolderPtr m_a;
    IMAPIFolderPtr m_b;
    IMAPIFolderPtr m_c;
    std::vector<std::string> m_lines;
};

TEST_F(TestHierarchyTest, IsTrueForFoldersBelow)
{
    open();
    EXPECT_TRUE(test(m_a, m_b));
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "B"), verdict("B", "is a", "A")));
    utilities::stopRequested = true; // it does not look at it
    EXPECT_TRUE(test(m_a, m_c));
    utilities::stopRequested = false;
    EXPECT_TRUE(test(m_store.openIpmSubtree(), find(m_store, {L"D"})));
}

TEST_F(TestHierarchyTest, IsTrueForTwoInstancesOfOneFolder)
{
    open();
    EXPECT_TRUE(test(m_b, find(m_store, {L"A", L"B"})));
    EXPECT_THAT(m_lines, ElementsAre(analyze("B", "B"), line("These are different instances of the same object.")));
}

TEST_F(TestHierarchyTest, IsFalseForFoldersAboveAndElsewhere)
{
    open();
    EXPECT_FALSE(test(m_a, find(m_store, {L"D"})));
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "D"), verdict("D", "is not a", "A")));
    EXPECT_FALSE(test(m_b, m_a));
    EXPECT_FALSE(test(m_store.openIpmSubtree(), m_store.openFolder(mapi::parentEntryId(m_store.openIpmSubtree()))));
}

TEST_F(TestHierarchyTest, EndsAtTheRootOfTheStoreWhichIsItsOwnParent)
{
    open();
    const IMAPIFolderPtr subtree = m_store.openIpmSubtree();
    const IMAPIFolderPtr top = m_store.openFolder(mapi::parentEntryId(subtree));
    EXPECT_TRUE(Session::isSameObject(mapi::entryId(top), mapi::parentEntryId(top)));
    EXPECT_TRUE(test(top, m_c));
    const auto besideTheSubtree = mapi::getSubfolders(top, nullptr);
    EXPECT_FALSE(test(subtree, besideTheSubtree.back()));
    EXPECT_EQ(m_lines.back(), verdict("Beside", "is not a", "IPM_SUBTREE"));
}

// Settled behaviour 73.
TEST_F(TestHierarchyTest, ClimbsUntilTheSessionIsGoneWhereNoComparisonFindsTheTop)
{
    open();
    const IMAPIFolderPtr d = find(m_store, {L"D"});
    plan("IMAPISession::CompareEntryIDs", MAPI_E_CALL_FAILED, 0, 4); // behind those of stores, and of the two folders
    unsigned lines = 0;
    const auto hook = support::hookImport<"WriteFile">(WriteFile,
                                                       [&lines](auto original, auto... arguments)
                                                       {
                                                           if (++lines == 1000)
                                                               Session::s_session = nullptr;
                                                           return original(arguments...);
                                                       });
    EXPECT_EQ(thrown([&] { test(m_a, d); }),
              L"condition \"s_session\" failed (mapi::Session::isSameObject in MapiSession.cpp, line N)");
    EXPECT_GE(lines, 1000u);
}

TEST_F(TestHierarchyTest, IsFalseForFoldersOfAnotherStoreAndForNull)
{
    open();
    const std::string another = line("One or both objects are from another store.");
    const IMAPIFolderPtr old = find(openStore(1), {L"Old"});
    EXPECT_FALSE(test(m_a, old));
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "Old"), another));
    EXPECT_FALSE(test(old, m_a));
    EXPECT_THAT(m_lines, ElementsAre(analyze("Old", "A"), another));

    const std::string none = line("One or both objects not specified.");
    EXPECT_FALSE(test({}, m_a));
    EXPECT_THAT(m_lines, ElementsAre(analyze("(cannot resolve)", "A"), none));
    EXPECT_FALSE(test(m_a, {}));
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "(cannot resolve)"), none));
}

TEST_F(TestHierarchyTest, TakesAComparisonThatFailsForDifferentObjects)
{
    open();
    plan("IMAPISession::CompareEntryIDs", MAPI_E_UNKNOWN_ENTRYID);
    EXPECT_FALSE(test(m_a, m_b));
    EXPECT_THAT(m_lines,
                ElementsAre(analyze("A", "B"), "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040201",
                            line("One or both objects are from another store.")));
}

TEST_F(TestHierarchyTest, IsFalseWhenAParentCannotBeOpenedOrOpensWithAWarning)
{
    open();
    for (const HRESULT result : {MAPI_E_NO_ACCESS, MAPI_W_ERRORS_RETURNED})
    {
        plan("IMsgStore::OpenEntry", result);
        EXPECT_FALSE(test(m_a, m_b));
        EXPECT_THAT(m_lines, ElementsAre(analyze("A", "B"), verdict("B", "is not a", "A")));
    }
}

TEST_F(TestHierarchyTest, IsFalseWhenAParentIdentifierIsEmpty)
{
    open(R"("properties": {"PR_PARENT_ENTRYID": ""}, )");
    EXPECT_FALSE(test(m_a, m_c));
    EXPECT_THAT(m_lines,
                ElementsAre(analyze("A", "C"),
                            "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)",
                            verdict("C", "is not a", "A")));
}

// The root counts as a parent only if it is a folder; one that does not count does not stop the walk.
TEST_F(TestHierarchyTest, GoesOnPastAParentThatIsNoFolder)
{
    open(R"("properties": {"PR_OBJECT_TYPE": 5}, "row": {"PR_OBJECT_TYPE": 3}, )");
    EXPECT_FALSE(test(m_b, m_c));
    EXPECT_TRUE(test(m_a, m_c));
}

TEST_F(TestHierarchyTest, ThrowsWhenAnIdentifierCannotBeRead)
{
    open(R"("properties": {"PR_PARENT_ENTRYID": null}, )");
    EXPECT_EQ(thrown([this] { std::ignore = test(m_a, m_b); }), missing);
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "B"), "mapi::parentEntryId: Exception has been caught and will be "
                                                        "rethrown: mapi::PropValue::read, line N: hr = "
                                                        "0x8004010f(MAPI call failed)"));
}

TEST_F(TestHierarchyTest, ThrowsWithoutALineOfItsOwnWhenAStoreIdentifierCannotBeRead)
{
    open(R"("properties": {"PR_STORE_ENTRYID": null}, )");
    EXPECT_EQ(thrown([this] { std::ignore = test(m_a, m_b); }), missing);
    EXPECT_THAT(m_lines, ElementsAre(analyze("A", "B")));
}
} // namespace

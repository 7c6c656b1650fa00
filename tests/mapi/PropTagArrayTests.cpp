#include "agent/mapi/PropTagArray.h"

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using mapi::PropTagArray;
using testing::ElementsAre;

constexpr std::size_t allOnes = static_cast<std::size_t>(-1);

class PropTagArrayTest : public tests::MapiTest
{
};

TEST_F(PropTagArrayTest, HoldsTheTagsInTheirOrder)
{
    startJournal();
    const PropTagArray tags{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE};
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x18")); // three whole structures
    EXPECT_THAT(tests::tagsOf(tags.get()), ElementsAre(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE));
    EXPECT_EQ(tags.at(0), PR_ENTRYID);
    tags.at(1) = PR_SURNAME_W;
    EXPECT_EQ(tags->aulPropTag[1], PR_SURNAME_W);
}

TEST_F(PropTagArrayTest, ThrowsForAnEmptyList)
{
    const std::wstring refused = L"mapi::PropTagArray::PropTagArray, line N: hr = 0x80070057(MAPI call failed)";
    EXPECT_EQ(thrown([] { const PropTagArray tags{std::span<const ULONG>()}; }), refused);
    EXPECT_EQ(thrown([] { const PropTagArray tags(std::initializer_list<ULONG>{}); }), refused);
}

TEST_F(PropTagArrayTest, AtThrowsWhenThereIsNoSuchTag)
{
    const auto refused = [](const PropTagArray& tags, std::size_t index)
    {
        return thrown([&] { std::ignore = tags.at(index); }) == L"mapi::PropTagArray::at: index is out of scope";
    };
    const std::vector<ULONG> list = {PR_ENTRYID, PR_DISPLAY_NAME_W};
    const PropTagArray tags{std::span(list)};
    EXPECT_TRUE(refused(tags, 2)); // equal to cValues
    EXPECT_TRUE(refused(tags, 0x100000000));
    EXPECT_TRUE(refused(tags, allOnes));
    tags->cValues = 0xFFFFFFFF;
    EXPECT_TRUE(refused(tags, allOnes));
    tags->cValues = 0;
    EXPECT_TRUE(refused(tags, 0));
    EXPECT_TRUE(refused(PropTagArray(), 0));
}
} // namespace

#include "agent/mapi/PropTagArray.h"

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using mapi::PropTagArray;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr wchar_t outOfScope[] = L"mapi::PropTagArray::at: index is out of scope";

class PropTagArrayTest : public support::MapiTest
{
};

TEST_F(PropTagArrayTest, HoldsTheTagsInTheirOrder)
{
    const PropTagArray tags{PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE};
    EXPECT_EQ(tags->cValues, 3u);
    EXPECT_THAT(support::tagsOf(tags.get()), ElementsAre(PR_ENTRYID, PR_DISPLAY_NAME_W, PR_OBJECT_TYPE));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #1")); // three whole structures
}

TEST_F(PropTagArrayTest, HoldsOneTag)
{
    const std::vector<ULONG> list = {PR_ENTRYID};
    const PropTagArray tags{std::span(list)};
    EXPECT_THAT(support::tagsOf(tags.get()), ElementsAre(PR_ENTRYID));
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 8 -> #1"));
}

TEST_F(PropTagArrayTest, AtGivesTheTagItself)
{
    const PropTagArray tags{PR_ENTRYID, PR_DISPLAY_NAME_W};
    EXPECT_EQ(tags.at(0), PR_ENTRYID);
    tags.at(1) = PR_OBJECT_TYPE;
    EXPECT_EQ(tags->aulPropTag[1], PR_OBJECT_TYPE);
}

TEST_F(PropTagArrayTest, AtThrowsWhenThereIsNoSuchTag)
{
    const PropTagArray tags{PR_ENTRYID, PR_DISPLAY_NAME_W};
    EXPECT_EQ(thrown([&] { (void)tags.at(2); }), outOfScope); // equal to cValues
    EXPECT_EQ(thrown([&] { (void)tags.at(0x100000000); }), outOfScope);
    EXPECT_EQ(thrown([&] { (void)tags.at(static_cast<std::size_t>(-1)); }), outOfScope);
}

TEST_F(PropTagArrayTest, AtThrowsWhenThereIsNoBlock)
{
    const PropTagArray none;
    EXPECT_EQ(thrown([&] { (void)none.at(0); }), outOfScope);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(PropTagArrayTest, AtThrowsWhenTheBlockHasNoTags)
{
    PropTagArray empty;
    empty.reset(support::makeTags({}));
    EXPECT_EQ(thrown([&] { (void)empty.at(0); }), outOfScope);
}

TEST_F(PropTagArrayTest, AtRefusesTheAllOnesIndexWhateverTheCount)
{
    PropTagArray huge;
    huge.reset(support::makeTags({PR_ENTRYID}));
    huge->cValues = 0xFFFFFFFF;
    EXPECT_EQ(thrown([&] { (void)huge.at(static_cast<std::size_t>(-1)); }), outOfScope);
}
} // namespace

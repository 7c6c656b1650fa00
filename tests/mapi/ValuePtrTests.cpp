#include "agent/mapi/ValuePtr.h"

#include <memory>
#include <type_traits>

#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using mapi::ValuePtr;
using tests::makeBlock;

static_assert(std::has_virtual_destructor_v<ValuePtr<_SPropValue>>);
static_assert(!std::is_copy_constructible_v<ValuePtr<_SPropValue>>);
static_assert(!std::is_copy_assignable_v<ValuePtr<_SPropValue>>);
static_assert(std::is_nothrow_move_constructible_v<ValuePtr<_SRestriction>>);
static_assert(std::is_nothrow_move_assignable_v<ValuePtr<_SPropTagArray>>);

class ValuePtrTest : public tests::MapiTest
{
protected:
    static SPropValue* block() { return static_cast<SPropValue*>(makeBlock(sizeof(SPropValue))); }
};

TEST_F(ValuePtrTest, DestructorFreesTheBlockWithWhatIsChainedToIt)
{
    {
        const ValuePtr<_SPropValue> value(block());
        std::ignore = makeBlock(8, value.get());
        EXPECT_TRUE(value);
        EXPECT_EQ(liveBlocks(), 2);
        const ValuePtr<_SPropValue> none;
        EXPECT_FALSE(none);
        EXPECT_FALSE(ValuePtr<_SPropValue>(nullptr));
    }
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(ValuePtrTest, ResetAndPutFreeTheBlock)
{
    ValuePtr<_SPropValue> value(block());
    SPropValue* const second = block();
    value.reset(second);
    EXPECT_EQ(value.get(), second);
    EXPECT_EQ(liveBlocks(), 1);
    SPropValue** const field = value.put();
    EXPECT_EQ(*field, nullptr);
    EXPECT_EQ(liveBlocks(), 0);
    *field = block();
    EXPECT_EQ(value.get(), *field);
    value.reset();
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_EQ(liveBlocks(), 0);
}

TEST_F(ValuePtrTest, MovesFreeTheOldBlockAndLeaveTheSourceEmpty)
{
    ValuePtr<_SPropValue> source(block());
    SPropValue* const content = source.get();
    ValuePtr<_SPropValue> constructed(std::move(source));
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(constructed.get(), content);

    ValuePtr<_SPropValue> assigned(block());
    assigned = std::move(constructed);
    EXPECT_EQ(constructed.get(), nullptr);
    EXPECT_EQ(assigned.get(), content);
    EXPECT_EQ(liveBlocks(), 1);
    auto& itself = assigned;
    assigned = std::move(itself);
    EXPECT_EQ(assigned.get(), content);
    EXPECT_EQ(liveBlocks(), 1);
}

TEST_F(ValuePtrTest, ReleaseGivesTheBlockAway)
{
    ValuePtr<_SPropValue> value(block());
    const ValuePtr<_SPropValue> owner(value.release());
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_EQ(liveBlocks(), 1);
}

TEST_F(ValuePtrTest, BlockStaysWithoutAWordWhenMapiFreeBufferCannotBeBound)
{
    SPropValue* const content = block();
    {
        const ValuePtr<_SPropValue> value(content);
        hideRuntime();
    }
    showRuntime();
    EXPECT_EQ(liveBlocks(), 1);
    EXPECT_THAT(log(), testing::IsEmpty());
    mapi::MAPIFreeBuffer(content);
}
} // namespace

#include "agent/mapi/ValuePtr.h"

#include <type_traits>

#include <gmock/gmock.h>

#include "tests/support/MapiTest.h"

namespace
{
using Call = support::TestRuntime::Call;
using mapi::ValuePtr;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::has_virtual_destructor_v<ValuePtr<_SPropValue>>);
static_assert(!std::is_copy_constructible_v<ValuePtr<_SPropValue>>);
static_assert(!std::is_copy_assignable_v<ValuePtr<_SPropValue>>);
static_assert(std::is_nothrow_move_constructible_v<ValuePtr<_SRestriction>>);
static_assert(std::is_nothrow_move_assignable_v<ValuePtr<_SPropTagArray>>);

class ValuePtrTest : public support::MapiTest
{
protected:
    SPropValue* block() { return m_runtime.allocate<SPropValue>(); }
};

TEST_F(ValuePtrTest, DestructorFreesTheBlock)
{
    {
        const ValuePtr<_SPropValue> value(block());
        EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(1));
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1"));
}

TEST_F(ValuePtrTest, DestructorOfAnEmptyOneCallsNothing)
{
    {
        const ValuePtr<_SPropValue> value;
        EXPECT_EQ(value.get(), nullptr);
        EXPECT_FALSE(value);
        const ValuePtr<_SPropValue> null(nullptr);
        EXPECT_FALSE(null);
    }
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(ValuePtrTest, DestructorFreesWhatIsChainedToTheBlock)
{
    {
        const ValuePtr<_SPropValue> value(block());
        (void)m_runtime.allocate(8, value.get());
        (void)m_runtime.allocate(9, value.get());
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1"));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ValuePtrTest, DestructorOfADerivedTypeRunsThroughTheBase)
{
    static bool s_destroyed;
    s_destroyed = false;
    struct Derived : ValuePtr<_SPropValue>
    {
        using ValuePtr::ValuePtr;
        ~Derived() override { s_destroyed = true; }
    };
    std::unique_ptr<ValuePtr<_SPropValue>> base = std::make_unique<Derived>(block());
    base.reset();
    EXPECT_TRUE(s_destroyed);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(ValuePtrTest, ResetFreesTheOldBlockAndTakesTheNewOneOver)
{
    ValuePtr<_SPropValue> value(block());
    SPropValue* const second = block();
    value.reset(second);
    EXPECT_EQ(value.get(), second);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1"));
    value.reset();
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1", "MAPIFreeBuffer #2"));
    value.reset();
    EXPECT_EQ(m_runtime.calls().size(), 2u);
}

TEST_F(ValuePtrTest, FieldIsNullWhenTheOldBlockIsFreed)
{
    ValuePtr<_SPropValue> value(block());
    std::vector<const void*> seen;
    m_runtime.whenCalled(Call::FreeBuffer, [&] { seen.push_back(value.get()); });
    value.reset(block());
    value = ValuePtr<_SPropValue>(block());
    (void)value.put();
    EXPECT_THAT(seen, ElementsAre(nullptr, nullptr, nullptr));
    m_runtime.whenCalled(Call::FreeBuffer, {});
}

TEST_F(ValuePtrTest, PutFreesTheBlockAndGivesTheEmptyField)
{
    ValuePtr<_SPropValue> value(block());
    SPropValue** const field = value.put();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #1"));
    EXPECT_EQ(*field, nullptr);
    *field = block();
    EXPECT_EQ(value.get(), *field);
}

TEST_F(ValuePtrTest, MoveLeavesTheSourceEmpty)
{
    ValuePtr<_SPropValue> source(block());
    SPropValue* const content = source.get();
    ValuePtr<_SPropValue> target(std::move(source));
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(target.get(), content);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(ValuePtrTest, MoveAssignmentFreesTheOldBlock)
{
    ValuePtr<_SPropValue> source(block());
    ValuePtr<_SPropValue> target(block());
    SPropValue* const content = source.get();
    target = std::move(source);
    EXPECT_EQ(source.get(), nullptr);
    EXPECT_EQ(target.get(), content);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #2"));

    auto& itself = target;
    target = std::move(itself);
    EXPECT_EQ(target.get(), content);
    EXPECT_EQ(m_runtime.calls().size(), 1u);
}

TEST_F(ValuePtrTest, ReleaseGivesTheBlockAway)
{
    ValuePtr<_SPropValue> value(block());
    SPropValue* const content = value.release();
    EXPECT_EQ(value.get(), nullptr);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    mapi::MAPIFreeBuffer(content);
}

TEST_F(ValuePtrTest, BlockStaysWithoutAWordWhenMapiFreeBufferCannotBeBound)
{
    {
        const ValuePtr<_SPropValue> value(block());
        m_runtime.hide();
    }
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u);
    EXPECT_THAT(log(), IsEmpty());
}
} // namespace

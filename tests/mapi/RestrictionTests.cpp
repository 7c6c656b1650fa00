#include "agent/mapi/Restriction.h"

#include <cstring>

#include <gmock/gmock.h>

#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using mapi::PropValue;
using mapi::Restriction;
using Tree = mapi::ValuePtr<_SRestriction>;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr ULONG PR_TEST_LONG = PROP_TAG(PT_LONG, 0x6701);
constexpr ULONG PR_TEST_BINARY = PROP_TAG(PT_BINARY, 0x6702);

class RestrictionTest : public MapiTest
{
protected:
    /// A value as callers make it: a block of its own.
    static PropValue value(const Property& property) { return PropValue(makeValues({property})); }

    static Restriction notHidden()
    {
        return Restriction::anyOf({Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN)),
                                   Restriction::equals(value(Property::flag(PR_ATTR_HIDDEN, false)))});
    }

    void expectExists(const SRestriction& node, ULONG tag)
    {
        EXPECT_EQ(node.rt, RES_EXIST);
        EXPECT_EQ(node.res.resExist.ulPropTag, tag);
        EXPECT_EQ(node.res.resExist.ulReserved1, 0u);
        EXPECT_EQ(node.res.resExist.ulReserved2, 0u);
    }
    void expectEquals(const SRestriction& node, ULONG tag)
    {
        EXPECT_EQ(node.rt, RES_PROPERTY);
        EXPECT_EQ(node.res.resProperty.relop, RELOP_EQ);
        EXPECT_EQ(node.res.resProperty.ulPropTag, tag);
        EXPECT_EQ(node.res.resProperty.lpProp->ulPropTag, tag);
    }
    /// The node that a negation stands over.
    const SRestriction& negated(const SRestriction& node)
    {
        EXPECT_EQ(node.rt, RES_NOT);
        EXPECT_EQ(node.res.resNot.ulReserved, 0u);
        return *node.res.resNot.lpRes;
    }
    /// That the address is a block which hangs on the tree's first node.
    void expectChained(const Tree& tree, const void* block)
    {
        EXPECT_NE(m_runtime.blockNumber(block), 0u);
        EXPECT_EQ(m_runtime.parentNumber(block), m_runtime.blockNumber(tree.get()));
    }
};

TEST_F(RestrictionTest, BuildGivesNullWhenThereIsNoRestriction)
{
    EXPECT_EQ(Restriction::build(Restriction()).get(), nullptr);
    EXPECT_EQ(Restriction::build(Restriction::negate(Restriction())).get(), nullptr);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(RestrictionTest, BuildWritesExistenceAsOneNode)
{
    const Tree tree = Restriction::build(Restriction::exists(PR_ATTR_HIDDEN));
    expectExists(*tree.get(), PR_ATTR_HIDDEN);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 32 -> #1"));
}

TEST_F(RestrictionTest, BuildWritesANegationAsANodeOverAnother)
{
    const Tree tree = Restriction::build(Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN)));
    expectExists(negated(*tree.get()), PR_ATTR_HIDDEN);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 32 -> #1", "MAPIAllocateMore 32, #1 -> #2"));
}

TEST_F(RestrictionTest, NegatingTwiceGivesTheFirstValue)
{
    const Tree tree = Restriction::build(Restriction::negate(Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN))));
    expectExists(*tree.get(), PR_ATTR_HIDDEN);
}

TEST_F(RestrictionTest, EqualsCopiesTheValueAndFreesTheOneGiven)
{
    PropValue given = value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact"));
    const SPropValue* const source = given.get();
    {
        const Restriction isContact = Restriction::equals(std::move(given));
        EXPECT_EQ(m_runtime.blockNumber(source), 0u);
        EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(3, 4));
    }
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #3", "MAPIAllocateMore 24, #3 -> #4",
                                               "MAPIFreeBuffer #1", "MAPIFreeBuffer #3"));
}

TEST_F(RestrictionTest, BuildWritesAComparisonWithAllBlocksChainedToTheFirstNode)
{
    const Restriction isContact = Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")));
    m_runtime.clearCalls();
    const Tree tree = Restriction::build(isContact);
    expectEquals(*tree.get(), PR_MESSAGE_CLASS_W);
    const SPropValue* const copy = tree->res.resProperty.lpProp;
    EXPECT_STREQ(copy->Value.lpszW, L"IPM.Contact");
    expectChained(tree, copy);
    expectChained(tree, copy->Value.lpszW);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 32 -> #5", "MAPIAllocateMore 24, #5 -> #6",
                                               "MAPIAllocateMore 24, #5 -> #7"));
}

TEST_F(RestrictionTest, BuildCopiesBinariesAndNumbers)
{
    const Tree bytes = Restriction::build(Restriction::equals(value(Property::bytes(PR_TEST_BINARY, {1, 0, 2}))));
    const SBinary& binary = bytes->res.resProperty.lpProp->Value.bin;
    EXPECT_THAT(mapi::makeEntryId(binary.cb, binary.lpb), ElementsAre(1, 0, 2));
    expectChained(bytes, binary.lpb);

    const Tree number = Restriction::build(Restriction::equals(value(Property::number(PR_TEST_LONG, -7))));
    expectEquals(*number.get(), PR_TEST_LONG);
    EXPECT_EQ(number->res.resProperty.lpProp->Value.l, -7);
}

TEST_F(RestrictionTest, BuildWritesANegatedComparison)
{
    const Tree tree =
        Restriction::build(Restriction::negate(Restriction::equals(value(Property::flag(PR_ATTR_HIDDEN, true)))));
    const SRestriction& comparison = negated(*tree.get());
    expectEquals(comparison, PR_ATTR_HIDDEN);
    expectChained(tree, &comparison);
    expectChained(tree, comparison.res.resProperty.lpProp);
}

TEST_F(RestrictionTest, TreeStaysValidWhenTheHandleIsGone)
{
    Tree tree;
    {
        const Restriction isContact = Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")));
        tree = Restriction::build(isContact);
    }
    EXPECT_STREQ(tree->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
}

TEST_F(RestrictionTest, HandleStaysValidWhenTheTreeIsGone)
{
    const Restriction isContact = Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")));
    Restriction::build(isContact).reset();
    const Tree again = Restriction::build(isContact);
    EXPECT_STREQ(again->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
}

TEST_F(RestrictionTest, BuildWritesTheFilterOfVisibleFolders)
{
    const Tree tree = Restriction::build(notHidden());
    ASSERT_EQ(tree->rt, RES_OR);
    ASSERT_EQ(tree->res.resOr.cRes, 2u);
    const SRestriction* const items = tree->res.resOr.lpRes;
    expectChained(tree, items);
    EXPECT_EQ(m_runtime.blockSize(items), 64u); // one array

    // The negated member stays in its place: the element itself is the negation, its child a block of its own.
    const SRestriction& absent = negated(items[0]);
    expectExists(absent, PR_ATTR_HIDDEN);
    expectChained(tree, &absent);
    expectEquals(items[1], PR_ATTR_HIDDEN);
    EXPECT_EQ(PROP_TYPE(items[1].res.resProperty.lpProp->ulPropTag), PT_BOOLEAN);
    EXPECT_EQ(items[1].res.resProperty.lpProp->Value.b, 0);
    expectChained(tree, items[1].res.resProperty.lpProp);
}

TEST_F(RestrictionTest, OneMapiFreeBufferFreesTheWholeTree)
{
    Tree tree = Restriction::build(notHidden());
    m_runtime.clearCalls();
    const unsigned first = m_runtime.blockNumber(tree.get());
    tree.reset();
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIFreeBuffer #" + std::to_string(first)));
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(RestrictionTest, AnyOfKeepsTheOrderAndLeavesOutWhatHoldsNone)
{
    std::vector<Restriction> items;
    items.push_back(Restriction());
    items.push_back(Restriction::exists(PR_ENTRYID));
    items.push_back(Restriction());
    items.push_back(Restriction::exists(PR_OBJECT_TYPE));
    const Tree tree = Restriction::build(Restriction::anyOf(std::move(items)));
    ASSERT_EQ(tree->rt, RES_OR);
    ASSERT_EQ(tree->res.resOr.cRes, 2u);
    expectExists(tree->res.resOr.lpRes[0], PR_ENTRYID);
    expectExists(tree->res.resOr.lpRes[1], PR_OBJECT_TYPE);
}

TEST_F(RestrictionTest, AnyOfOverNothingHasNoElements)
{
    for (auto items : {std::vector<Restriction>{}, std::vector<Restriction>(2)})
    {
        m_runtime.clearCalls();
        const Tree tree = Restriction::build(Restriction::anyOf(std::move(items)));
        EXPECT_EQ(tree->rt, RES_OR);
        EXPECT_EQ(tree->res.resOr.cRes, 0u);
        EXPECT_EQ(tree->res.resOr.lpRes, nullptr);
        EXPECT_EQ(m_runtime.calls().size(), 1u); // no array
    }
}

TEST_F(RestrictionTest, BuildWritesANegatedOrAndNestedOnes)
{
    const Restriction inner = Restriction::negate(Restriction::anyOf({Restriction::exists(PR_ENTRYID), notHidden()}));
    const Tree tree = Restriction::build(Restriction::negate(Restriction::anyOf({inner, inner})));
    const SRestriction& outer = negated(*tree.get());
    ASSERT_EQ(outer.rt, RES_OR);
    ASSERT_EQ(outer.res.resOr.cRes, 2u);
    for (ULONG index = 0; index < 2; ++index)
    {
        const SRestriction& item = negated(outer.res.resOr.lpRes[index]);
        ASSERT_EQ(item.rt, RES_OR);
        ASSERT_EQ(item.res.resOr.cRes, 2u);
        expectChained(tree, item.res.resOr.lpRes);
        expectExists(item.res.resOr.lpRes[0], PR_ENTRYID);
        const SRestriction& deepest = item.res.resOr.lpRes[1];
        ASSERT_EQ(deepest.rt, RES_OR);
        expectChained(tree, deepest.res.resOr.lpRes);
        expectExists(negated(deepest.res.resOr.lpRes[0]), PR_ATTR_HIDDEN);
        expectEquals(deepest.res.resOr.lpRes[1], PR_ATTR_HIDDEN);
    }
}

TEST_F(RestrictionTest, CopyOutlivesItsSource)
{
    Restriction copy;
    {
        const Restriction source =
            Restriction::anyOf({Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")))});
        const Restriction constructed(source);
        copy = constructed;
    }
    const Tree tree = Restriction::build(copy);
    EXPECT_STREQ(tree->res.resOr.lpRes[0].res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
}

TEST_F(RestrictionTest, CopyOwnsABlockOfItsOwn)
{
    const Restriction source = Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")));
    m_runtime.clearCalls();
    const Restriction copy(source);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 24 -> #5", "MAPIAllocateMore 24, #5 -> #6"));
}

TEST_F(RestrictionTest, NegatingACopyLeavesTheSource)
{
    const Restriction source = Restriction::exists(PR_ENTRYID);
    const Restriction opposite = Restriction::negate(source);
    expectExists(*Restriction::build(source).get(), PR_ENTRYID);
    EXPECT_EQ(Restriction::build(opposite)->rt, RES_NOT);
}

TEST_F(RestrictionTest, MoveTakesTheContentAway)
{
    Restriction source = Restriction::equals(value(Property::number(PR_TEST_LONG, 1)));
    m_runtime.clearCalls();
    Restriction target(std::move(source));
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_EQ(Restriction::build(source).get(), nullptr);
    EXPECT_EQ(Restriction::build(Restriction::negate(source)).get(), nullptr);
    EXPECT_EQ(Restriction::build(Restriction::anyOf({source}))->res.resOr.cRes, 0u);

    source = Restriction::exists(PR_ENTRYID);
    target = std::move(source);
    EXPECT_EQ(Restriction::build(source).get(), nullptr);
    expectExists(*Restriction::build(target).get(), PR_ENTRYID);
}

TEST_F(RestrictionTest, EqualsThrowsForATypeThatCannotBeCopied)
{
    PropValue given(m_runtime.allocate<SPropValue>());
    std::memset(given.get(), 0, sizeof(SPropValue));
    given->ulPropTag = PR_CREATION_TIME;
    EXPECT_EQ(thrown([&] { (void)Restriction::equals(std::move(given)); }),
              L"mapi::copyPropValue: Unsupported value type.");
    EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(2)); // the copy that was begun stays, the given value does not
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u);
}
} // namespace

#include "agent/mapi/Restriction.h"

#include <optional>

#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiValues.h"

namespace
{
using namespace tests;
using mapi::PropValue;
using mapi::Restriction;
using Tree = mapi::ValuePtr<_SRestriction>;
using testing::ElementsAre;
using testing::IsEmpty;

// That a tree is freed as a whole, so that all of it hangs on its first node, is seen at the end of each test.
class RestrictionTest : public MapiTest
{
protected:
    /// A value as callers make it: a block of its own.
    static PropValue value(const Property& property) { return PropValue(makeValues({property})); }
    static Restriction isContact()
    {
        return Restriction::equals(value(Property::text(PR_MESSAGE_CLASS_W, L"IPM.Contact")));
    }
    static Restriction notHidden()
    {
        return Restriction::anyOf({Restriction::negate(Restriction::exists(PR_ATTR_HIDDEN)),
                                   Restriction::equals(value(Property::flag(PR_ATTR_HIDDEN, false)))});
    }

    static void expectExists(const SRestriction& node, ULONG tag)
    {
        EXPECT_EQ(node.rt, RES_EXIST);
        EXPECT_EQ(node.res.resExist.ulPropTag, tag);
        EXPECT_EQ(node.res.resExist.ulReserved1, 0u);
        EXPECT_EQ(node.res.resExist.ulReserved2, 0u);
    }
    static void expectEquals(const SRestriction& node, ULONG tag)
    {
        EXPECT_EQ(node.rt, RES_PROPERTY);
        EXPECT_EQ(node.res.resProperty.relop, RELOP_EQ);
        EXPECT_EQ(node.res.resProperty.ulPropTag, tag);
        EXPECT_EQ(node.res.resProperty.lpProp->ulPropTag, tag);
    }
    /// The node that a negation stands over.
    static const SRestriction& negated(const SRestriction& node)
    {
        EXPECT_EQ(node.rt, RES_NOT);
        EXPECT_EQ(node.res.resNot.ulReserved, 0u);
        return *node.res.resNot.lpRes;
    }
    /// The members of an OR, which must be so many.
    static const SRestriction* members(const SRestriction& node, ULONG count)
    {
        EXPECT_EQ(node.rt, RES_OR);
        EXPECT_EQ(node.res.resOr.cRes, count);
        return node.res.resOr.lpRes;
    }
};

TEST_F(RestrictionTest, BuildGivesNullWhenThereIsNoRestriction)
{
    startJournal();
    EXPECT_EQ(Restriction::build(Restriction()).get(), nullptr);
    EXPECT_EQ(Restriction::build(Restriction::negate(Restriction())).get(), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(RestrictionTest, BuildWritesExistenceAndItsNegation)
{
    const Restriction exists = Restriction::exists(PR_ATTR_HIDDEN);
    startJournal();
    expectExists(*Restriction::build(exists).get(), PR_ATTR_HIDDEN);
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x20"));
    expectExists(negated(*Restriction::build(Restriction::negate(exists)).get()), PR_ATTR_HIDDEN);
    expectExists(*Restriction::build(Restriction::negate(Restriction::negate(exists))).get(), PR_ATTR_HIDDEN);
    expectExists(*Restriction::build(exists).get(), PR_ATTR_HIDDEN); // what negates it leaves it
}

TEST_F(RestrictionTest, BuildWritesComparisonsOfAllTypes)
{
    const Restriction text = isContact();
    startJournal();
    const Tree tree = Restriction::build(text);
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x20", "MAPIAllocateMore 0x18", "MAPIAllocateMore 0x18"));
    expectEquals(*tree.get(), PR_MESSAGE_CLASS_W);
    EXPECT_STREQ(tree->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");

    const Tree bytes = Restriction::build(Restriction::equals(value(Property::bytes(PR_ENTRYID, {1, 0, 2}))));
    expectEquals(*bytes.get(), PR_ENTRYID);
    const SBinary& binary = bytes->res.resProperty.lpProp->Value.bin;
    EXPECT_THAT(mapi::makeEntryId(binary.cb, binary.lpb), ElementsAre(1, 0, 2));

    const Tree no =
        Restriction::build(Restriction::negate(Restriction::equals(value(Property::number(PR_OBJECT_TYPE, -7)))));
    expectEquals(negated(*no.get()), PR_OBJECT_TYPE);
    EXPECT_EQ(negated(*no.get()).res.resProperty.lpProp->Value.l, -7);
}

TEST_F(RestrictionTest, TreeAndHandleShareNothing)
{
    auto restriction = std::make_optional(isContact());
    Restriction::build(*restriction).reset();
    const Tree tree = Restriction::build(*restriction);
    restriction.reset();
    EXPECT_STREQ(tree->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
}

// The negated member stays in its position: the element itself is the negation, its child a block of its own.
TEST_F(RestrictionTest, BuildWritesTheFilterOfVisibleFolders)
{
    const Restriction filter = notHidden();
    startJournal();
    const Tree tree = Restriction::build(filter);
    EXPECT_THAT(takeCalls(), ElementsAre("MAPIAllocateBuffer 0x20", "MAPIAllocateMore 0x40", // one array
                                         "MAPIAllocateMore 0x20", "MAPIAllocateMore 0x18"));
    const SRestriction* const items = members(*tree.get(), 2);
    expectExists(negated(items[0]), PR_ATTR_HIDDEN);
    expectEquals(items[1], PR_ATTR_HIDDEN);
    EXPECT_EQ(items[1].res.resProperty.lpProp->Value.b, 0);
}

TEST_F(RestrictionTest, AnyOfKeepsTheOrderAndLeavesOutWhatHoldsNone)
{
    const Tree tree = Restriction::build(Restriction::anyOf(
        {Restriction(), Restriction::exists(PR_ENTRYID), Restriction(), Restriction::exists(PR_OBJECT_TYPE)}));
    expectExists(members(*tree.get(), 2)[0], PR_ENTRYID);
    expectExists(members(*tree.get(), 2)[1], PR_OBJECT_TYPE);
    for (const auto& items : {std::vector<Restriction>{}, std::vector<Restriction>(2)})
        EXPECT_EQ(members(*Restriction::build(Restriction::anyOf(items)).get(), 0), nullptr);
}

TEST_F(RestrictionTest, BuildWritesANegatedOrAndNestedOnes)
{
    const Restriction inner = Restriction::negate(Restriction::anyOf({Restriction::exists(PR_ENTRYID), notHidden()}));
    const Tree tree = Restriction::build(Restriction::negate(Restriction::anyOf({inner, inner})));
    const SRestriction* const outer = members(negated(*tree.get()), 2);
    for (ULONG index = 0; index < 2; ++index)
    {
        const SRestriction* const items = members(negated(outer[index]), 2);
        expectExists(items[0], PR_ENTRYID);
        expectExists(negated(members(items[1], 2)[0]), PR_ATTR_HIDDEN);
        expectEquals(members(items[1], 2)[1], PR_ATTR_HIDDEN);
    }
}

TEST_F(RestrictionTest, CopiesOwnBlocksOfTheirOwn)
{
    Restriction copy;
    {
        const Restriction source = Restriction::anyOf({isContact()});
        const auto blocks = liveBlocks();
        const Restriction constructed(source);
        EXPECT_EQ(liveBlocks(), 2 * blocks);
        copy = constructed;
    }
    const Tree tree = Restriction::build(copy);
    EXPECT_STREQ(members(*tree.get(), 1)->res.resProperty.lpProp->Value.lpszW, L"IPM.Contact");
}

TEST_F(RestrictionTest, MovesTakeTheContentAway)
{
    Restriction source = isContact();
    startJournal();
    Restriction target(std::move(source));
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_EQ(Restriction::build(source).get(), nullptr);
    EXPECT_EQ(Restriction::build(Restriction::negate(source)).get(), nullptr);
    EXPECT_EQ(members(*Restriction::build(Restriction::anyOf({source})).get(), 0), nullptr);

    source = Restriction::exists(PR_ENTRYID);
    target = std::move(source);
    EXPECT_EQ(Restriction::build(source).get(), nullptr);
    expectExists(*Restriction::build(target).get(), PR_ENTRYID);
}

TEST_F(RestrictionTest, EqualsThrowsForNoValue)
{
    EXPECT_EQ(thrown([] { std::ignore = Restriction::build(Restriction::equals(PropValue())); }),
              L"mapi::Restriction::equals, line N: hr = 0x80070057(MAPI call failed)");
}

TEST_F(RestrictionTest, EqualsThrowsForATypeThatCannotBeCopied)
{
    PropValue given(makeValues({Property::error(PR_ENTRYID)}));
    EXPECT_EQ(thrown([&] { std::ignore = Restriction::equals(std::move(given)); }),
              L"mapi::copyPropValue: Unsupported value type.");
    EXPECT_EQ(dropLeftBlocks(), 1); // the copy that was begun stays, the given value does not
}
} // namespace

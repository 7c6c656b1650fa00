// The layout of our structures beside the toolchain's. Both have the published names, so ours live in a namespace here.
// Where pointers have 32 bits all of it is asserted and nothing is run.
#include <windows.h>
#include <wtypes.h>

#include <cstddef>
#include <utility>

#ifdef _WIN64
#include <gtest/gtest.h>
#else
#define TEST(suite, name) void suite##name()
#define EXPECT_EQ(first, second) static_assert((first) == (second))
#endif

namespace ours
{
#include "mapiabi/MapiTypes.h"
} // namespace ours

#include <mapidefs.h>

#include <mapix.h>

namespace
{
struct Place
{
    std::size_t offset;
    std::size_t size;
    bool operator==(const Place&) const = default;
};

#ifdef _WIN64
void PrintTo(const Place& place, std::ostream* stream)
{
    *stream << place.size << " bytes at " << place.offset;
}
#endif

#define PLACE(type, member) (Place{offsetof(type, member), sizeof(std::declval<type&>().member)})
#define EXPECT_SAME_SIZE(type)                                                                                         \
    EXPECT_EQ(sizeof(ours::type), sizeof(::type));                                                                     \
    EXPECT_EQ(alignof(ours::type), alignof(::type))
#define EXPECT_SAME(type, member) EXPECT_EQ(PLACE(ours::type, member), PLACE(::type, member))

TEST(LayoutTest, IdentifiersEqualTheToolchains)
{
    EXPECT_SAME_SIZE(ENTRYID);
    EXPECT_SAME(ENTRYID, abFlags);
    EXPECT_SAME(ENTRYID, ab);
    EXPECT_SAME_SIZE(MAPIUID);
    EXPECT_SAME(MAPIUID, ab);
    EXPECT_SAME_SIZE(MAPINAMEID);
    EXPECT_SAME(MAPINAMEID, lpguid);
    EXPECT_SAME(MAPINAMEID, ulKind);
    EXPECT_SAME(MAPINAMEID, Kind.lID);
    EXPECT_SAME(MAPINAMEID, Kind.lpwstrName);
}

TEST(LayoutTest, PropertyValuesEqualTheToolchains)
{
    EXPECT_SAME_SIZE(SBinary);
    EXPECT_SAME(SBinary, cb);
    EXPECT_SAME(SBinary, lpb);
    EXPECT_SAME_SIZE(SBinaryArray);
    EXPECT_SAME(SBinaryArray, cValues);
    EXPECT_SAME(SBinaryArray, lpbin);
    EXPECT_SAME_SIZE(ENTRYLIST);
    EXPECT_SAME(ENTRYLIST, cValues);
    EXPECT_SAME(ENTRYLIST, lpbin);
    EXPECT_SAME_SIZE(SWStringArray);
    EXPECT_SAME(SWStringArray, cValues);
    EXPECT_SAME(SWStringArray, lppszW);
    EXPECT_SAME_SIZE(SLongArray);
    EXPECT_SAME(SLongArray, cValues);
    EXPECT_SAME(SLongArray, lpl);
    EXPECT_SAME_SIZE(SPropTagArray);
    EXPECT_SAME(SPropTagArray, cValues);
    EXPECT_SAME(SPropTagArray, aulPropTag);
    EXPECT_SAME_SIZE(SPropValue);
    EXPECT_SAME(SPropValue, ulPropTag);
    EXPECT_SAME(SPropValue, dwAlignPad);
    EXPECT_SAME(SPropValue, Value);
    EXPECT_SAME(SPropValue, Value.i);
    EXPECT_SAME(SPropValue, Value.l);
    EXPECT_SAME(SPropValue, Value.ul);
    EXPECT_SAME(SPropValue, Value.flt);
    EXPECT_SAME(SPropValue, Value.dbl);
    EXPECT_SAME(SPropValue, Value.b);
    EXPECT_SAME(SPropValue, Value.ft);
    EXPECT_SAME(SPropValue, Value.li);
    EXPECT_SAME(SPropValue, Value.lpszA);
    EXPECT_SAME(SPropValue, Value.lpszW);
    EXPECT_SAME(SPropValue, Value.bin.cb);
    EXPECT_SAME(SPropValue, Value.bin.lpb);
    EXPECT_SAME(SPropValue, Value.lpguid);
    EXPECT_SAME(SPropValue, Value.err);
    EXPECT_SAME(SPropValue, Value.x);
    EXPECT_SAME(SPropValue, Value.MVl.lpl);
    EXPECT_SAME(SPropValue, Value.MVbin.lpbin);
    EXPECT_SAME(SPropValue, Value.MVszW.cValues);
    EXPECT_SAME(SPropValue, Value.MVszW.lppszW);
    EXPECT_SAME_SIZE(SPropProblem);
    EXPECT_SAME(SPropProblem, ulIndex);
    EXPECT_SAME(SPropProblem, ulPropTag);
    EXPECT_SAME(SPropProblem, scode);
    EXPECT_SAME_SIZE(SPropProblemArray);
    EXPECT_SAME(SPropProblemArray, cProblem);
    EXPECT_SAME(SPropProblemArray, aProblem);
}

TEST(LayoutTest, TablesEqualTheToolchains)
{
    EXPECT_SAME_SIZE(SRow);
    EXPECT_SAME(SRow, ulAdrEntryPad);
    EXPECT_SAME(SRow, cValues);
    EXPECT_SAME(SRow, lpProps);
    EXPECT_SAME_SIZE(SRowSet);
    EXPECT_SAME(SRowSet, cRows);
    EXPECT_SAME(SRowSet, aRow);
    EXPECT_SAME_SIZE(SSortOrder);
    EXPECT_SAME(SSortOrder, ulPropTag);
    EXPECT_SAME(SSortOrder, ulOrder);
    EXPECT_SAME_SIZE(SSortOrderSet);
    EXPECT_SAME(SSortOrderSet, cSorts);
    EXPECT_SAME(SSortOrderSet, cCategories);
    EXPECT_SAME(SSortOrderSet, cExpanded);
    EXPECT_SAME(SSortOrderSet, aSort);
}

TEST(LayoutTest, RestrictionsEqualTheToolchains)
{
    EXPECT_SAME_SIZE(SRestriction);
    EXPECT_SAME(SRestriction, rt);
    EXPECT_SAME(SRestriction, res);
    EXPECT_SAME(SRestriction, res.resCompareProps.relop);
    EXPECT_SAME(SRestriction, res.resCompareProps.ulPropTag1);
    EXPECT_SAME(SRestriction, res.resCompareProps.ulPropTag2);
    EXPECT_SAME(SRestriction, res.resAnd.cRes);
    EXPECT_SAME(SRestriction, res.resAnd.lpRes);
    EXPECT_SAME(SRestriction, res.resOr.cRes);
    EXPECT_SAME(SRestriction, res.resOr.lpRes);
    EXPECT_SAME(SRestriction, res.resNot.ulReserved);
    EXPECT_SAME(SRestriction, res.resNot.lpRes);
    EXPECT_SAME(SRestriction, res.resContent.ulFuzzyLevel);
    EXPECT_SAME(SRestriction, res.resContent.ulPropTag);
    EXPECT_SAME(SRestriction, res.resContent.lpProp);
    EXPECT_SAME(SRestriction, res.resProperty.relop);
    EXPECT_SAME(SRestriction, res.resProperty.ulPropTag);
    EXPECT_SAME(SRestriction, res.resProperty.lpProp);
    EXPECT_SAME(SRestriction, res.resBitMask.relBMR);
    EXPECT_SAME(SRestriction, res.resBitMask.ulPropTag);
    EXPECT_SAME(SRestriction, res.resBitMask.ulMask);
    EXPECT_SAME(SRestriction, res.resSize.relop);
    EXPECT_SAME(SRestriction, res.resSize.ulPropTag);
    EXPECT_SAME(SRestriction, res.resSize.cb);
    EXPECT_SAME(SRestriction, res.resExist.ulReserved1);
    EXPECT_SAME(SRestriction, res.resExist.ulPropTag);
    EXPECT_SAME(SRestriction, res.resExist.ulReserved2);
    EXPECT_SAME(SRestriction, res.resSub.ulSubObject);
    EXPECT_SAME(SRestriction, res.resSub.lpRes);
    EXPECT_SAME(SRestriction, res.resComment.cValues);
    EXPECT_SAME(SRestriction, res.resComment.lpRes);
    EXPECT_SAME(SRestriction, res.resComment.lpProp);
}

TEST(LayoutTest, NotificationsEqualTheToolchains)
{
    EXPECT_SAME_SIZE(MAPIERROR);
    EXPECT_SAME(MAPIERROR, ulVersion);
    EXPECT_SAME(MAPIERROR, lpszError);
    EXPECT_SAME(MAPIERROR, lpszComponent);
    EXPECT_SAME(MAPIERROR, ulLowLevelError);
    EXPECT_SAME(MAPIERROR, ulContext);
    EXPECT_SAME_SIZE(NOTIFICATION);
    EXPECT_SAME(NOTIFICATION, ulEventType);
    EXPECT_SAME(NOTIFICATION, ulAlignPad);
    EXPECT_SAME(NOTIFICATION, info);
    EXPECT_SAME(NOTIFICATION, info.err);
    EXPECT_SAME(NOTIFICATION, info.err.cbEntryID);
    EXPECT_SAME(NOTIFICATION, info.err.lpEntryID);
    EXPECT_SAME(NOTIFICATION, info.err.scode);
    EXPECT_SAME(NOTIFICATION, info.err.ulFlags);
    EXPECT_SAME(NOTIFICATION, info.err.lpMAPIError);
    EXPECT_SAME(NOTIFICATION, info.newmail);
    EXPECT_SAME(NOTIFICATION, info.newmail.cbEntryID);
    EXPECT_SAME(NOTIFICATION, info.newmail.lpEntryID);
    EXPECT_SAME(NOTIFICATION, info.newmail.cbParentID);
    EXPECT_SAME(NOTIFICATION, info.newmail.lpParentID);
    EXPECT_SAME(NOTIFICATION, info.newmail.ulFlags);
    EXPECT_SAME(NOTIFICATION, info.newmail.lpszMessageClass);
    EXPECT_SAME(NOTIFICATION, info.newmail.ulMessageFlags);
    EXPECT_SAME(NOTIFICATION, info.obj);
    EXPECT_SAME(NOTIFICATION, info.obj.cbEntryID);
    EXPECT_SAME(NOTIFICATION, info.obj.lpEntryID);
    EXPECT_SAME(NOTIFICATION, info.obj.ulObjType);
    EXPECT_SAME(NOTIFICATION, info.obj.cbParentID);
    EXPECT_SAME(NOTIFICATION, info.obj.lpParentID);
    EXPECT_SAME(NOTIFICATION, info.obj.cbOldID);
    EXPECT_SAME(NOTIFICATION, info.obj.lpOldID);
    EXPECT_SAME(NOTIFICATION, info.obj.cbOldParentID);
    EXPECT_SAME(NOTIFICATION, info.obj.lpOldParentID);
    EXPECT_SAME(NOTIFICATION, info.obj.lpPropTagArray);
    EXPECT_SAME(NOTIFICATION, info.tab);
    EXPECT_SAME(NOTIFICATION, info.tab.ulTableEvent);
    EXPECT_SAME(NOTIFICATION, info.tab.hResult);
    EXPECT_SAME(NOTIFICATION, info.tab.propIndex);
    EXPECT_SAME(NOTIFICATION, info.tab.propPrior);
    EXPECT_SAME(NOTIFICATION, info.tab.row);
    EXPECT_SAME(NOTIFICATION, info.tab.ulPad);
    EXPECT_SAME(NOTIFICATION, info.ext);
    EXPECT_SAME(NOTIFICATION, info.ext.ulEvent);
    EXPECT_SAME(NOTIFICATION, info.ext.cb);
    EXPECT_SAME(NOTIFICATION, info.ext.pbEventParameters);
    EXPECT_SAME(NOTIFICATION, info.statobj);
    EXPECT_SAME(NOTIFICATION, info.statobj.cbEntryID);
    EXPECT_SAME(NOTIFICATION, info.statobj.lpEntryID);
    EXPECT_SAME(NOTIFICATION, info.statobj.cValues);
    EXPECT_SAME(NOTIFICATION, info.statobj.lpPropVals);
}

// Where we differ on purpose: a bookmark has 64 bits in the published x64 interface.
TEST(LayoutTest, BookmarksAreWiderThanTheToolchains)
{
    EXPECT_EQ(sizeof(ours::BOOKMARK), sizeof(void*));
    EXPECT_EQ(sizeof(::BOOKMARK), 4u);
}
} // namespace

// Restrictions, as IMAPITable::Restrict evaluates them.
#include "tests/sandbox/SandboxTest.h"

using namespace sandboxtest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// Message by message: names, a number, a size, a date and keywords, each missing somewhere.
const char* const s_mailbox = R"({"stores":[{"name":"S","ipmSubtree":{"messages":[
    {"displayName":"Anna","givenName":"anna","properties":{"PR_MESSAGE_FLAGS":1,"PR_ATTR_HIDDEN":true,
       "PR_BIRTHDAY":"1980-01-01T00:00:00Z","PR_SEARCH_KEY":"0102","PS_PUBLIC_STRINGS:Keywords:texts":["red","blue"]}},
    {"displayName":"Björn","givenName":"Björn","properties":{"PR_MESSAGE_FLAGS":-6,"PR_ATTR_HIDDEN":false,
       "PR_BIRTHDAY":"1990-01-01T00:00:00Z","PR_SEARCH_KEY":"010203","PS_PUBLIC_STRINGS:Keywords:texts":[]}},
    {"displayName":"Carl","properties":{"PR_MESSAGE_FLAGS":null,"PR_SEARCH_KEY":"FF"}},
    {"displayName":"carla","properties":{"PR_MESSAGE_FLAGS":12,"PR_GIVEN_NAME":{"error":"MAPI_E_NO_ACCESS"}}}
  ]}}]})";

/// A value in the test's own memory.
SPropValue textValue(ULONG tag, const wchar_t* text)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return value;
}

SPropValue longValue(ULONG tag, LONG number)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.l = number;
    return value;
}

SRestriction property(ULONG relation, ULONG tag, SPropValue* value)
{
    SRestriction restriction = {};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {relation, tag, value};
    return restriction;
}

SRestriction content(ULONG level, ULONG tag, SPropValue* value)
{
    SRestriction restriction = {};
    restriction.rt = RES_CONTENT;
    restriction.res.resContent = {level, tag, value};
    return restriction;
}

SRestriction exists(ULONG tag)
{
    SRestriction restriction = {};
    restriction.rt = RES_EXIST;
    restriction.res.resExist.ulPropTag = tag;
    return restriction;
}

SRestriction negation(SRestriction* inner)
{
    SRestriction restriction = {};
    restriction.rt = RES_NOT;
    restriction.res.resNot.lpRes = inner;
    return restriction;
}

SRestriction combined(ULONG kind, std::vector<SRestriction>& items)
{
    SRestriction restriction = {};
    restriction.rt = kind;
    restriction.res.resAnd = {static_cast<ULONG>(items.size()), items.data()};
    return restriction;
}

class FilterTest : public SandboxTest
{
protected:
    FilterTest()
        : m_session(logonTo(s_mailbox)), m_store(openStore(m_session)), m_table(contentsTable(openIpmSubtree(m_store)))
    {
        checkOk(m_table->SetColumns(Tags({PR_DISPLAY_NAME_W}), 0));
    }

    /// The names of the rows that a restriction lets through.
    std::vector<std::wstring> matches(SRestriction restriction)
    {
        checkOk(m_table->Restrict(&restriction, 0));
        return nextRows(m_table, 100).texts();
    }

    HRESULT restrict(SRestriction restriction) { return m_table->Restrict(&restriction, 0); }

    /// The tag of the keywords, which are named.
    ULONG keywords()
    {
        GUID set = {0x00020329, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
        WCHAR text[] = L"Keywords";
        MAPINAMEID name = {};
        name.lpguid = &set;
        name.ulKind = MNID_STRING;
        name.Kind.lpwstrName = text;
        MAPINAMEID* names[] = {&name};
        SPropTagArray* tags = nullptr;
        checkOk(m_store->GetIDsFromNames(1, names, 0, &tags));
        const ULONG tag = CHANGE_PROP_TYPE(tags->aulPropTag[0], MV_FLAG | PT_UNICODE);
        dll.MAPIFreeBuffer(tags);
        return tag;
    }

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
    IMAPITablePtr m_table;
};

const wchar_t* const s_bjorn = L"Bj\u00F6rn";
} // namespace

TEST_F(FilterTest, ComparesNumbersByEachRelation)
{
    SPropValue one = longValue(PR_MESSAGE_FLAGS, 1);
    EXPECT_THAT(matches(property(RELOP_EQ, PR_MESSAGE_FLAGS, &one)), ElementsAre(L"Anna"));
    EXPECT_THAT(matches(property(RELOP_NE, PR_MESSAGE_FLAGS, &one)), ElementsAre(s_bjorn, L"carla"));
    EXPECT_THAT(matches(property(RELOP_LT, PR_MESSAGE_FLAGS, &one)), ElementsAre(s_bjorn));
    EXPECT_THAT(matches(property(RELOP_LE, PR_MESSAGE_FLAGS, &one)), ElementsAre(L"Anna", s_bjorn));
    EXPECT_THAT(matches(property(RELOP_GT, PR_MESSAGE_FLAGS, &one)), ElementsAre(L"carla"));
    EXPECT_THAT(matches(property(RELOP_GE, PR_MESSAGE_FLAGS, &one)), ElementsAre(L"Anna", L"carla"));
    EXPECT_EQ(restrict(property(6, PR_MESSAGE_FLAGS, &one)), MAPI_E_TOO_COMPLEX); // RELOP_RE
}

TEST_F(FilterTest, ComparesTextExactly)
{
    SPropValue carl = textValue(PR_DISPLAY_NAME_W, L"Carl");
    SPropValue lower = textValue(PR_DISPLAY_NAME_W, L"carl");
    EXPECT_THAT(matches(property(RELOP_EQ, PR_DISPLAY_NAME_W, &carl)), ElementsAre(L"Carl"));
    EXPECT_THAT(matches(property(RELOP_EQ, PR_DISPLAY_NAME_W, &lower)), IsEmpty());
    EXPECT_THAT(matches(property(RELOP_GT, PR_DISPLAY_NAME_W, &carl)), ElementsAre(L"carla"));
    SPropValue narrow = {};
    narrow.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8);
    char text[] = "Carl";
    narrow.Value.lpszA = text;
    EXPECT_THAT(matches(property(RELOP_EQ, narrow.ulPropTag, &narrow)), ElementsAre(L"Carl"));
}

TEST_F(FilterTest, ComparesOtherTypes)
{
    SPropValue hidden = {};
    hidden.ulPropTag = PR_ATTR_HIDDEN;
    hidden.Value.b = 1;
    EXPECT_THAT(matches(property(RELOP_EQ, PR_ATTR_HIDDEN, &hidden)), ElementsAre(L"Anna"));
    BYTE bytes[] = {1, 2};
    SPropValue key = {};
    key.ulPropTag = 0x300B0102;
    key.Value.bin = {2, bytes};
    EXPECT_THAT(matches(property(RELOP_EQ, 0x300B0102, &key)), ElementsAre(L"Anna"));
    EXPECT_THAT(matches(property(RELOP_GT, 0x300B0102, &key)), ElementsAre(s_bjorn, L"Carl"));
    SPropValue born = {};
    born.ulPropTag = 0x3A420040;
    born.Value.li.QuadPart = 122'000'000'000'000'000; // in 1987
    EXPECT_THAT(matches(property(RELOP_LT, 0x3A420040, &born)), ElementsAre(L"Anna"));
}

TEST_F(FilterTest, ComparesAnyValueOfMany)
{
    const ULONG tag = keywords();
    SPropValue blue = textValue(CHANGE_PROP_TYPE(tag, PT_UNICODE), L"blue");
    EXPECT_THAT(matches(property(RELOP_EQ, tag, &blue)), ElementsAre(L"Anna"));
    SPropValue l = textValue(CHANGE_PROP_TYPE(tag, PT_UNICODE), L"l");
    EXPECT_THAT(matches(content(FL_SUBSTRING, tag, &l)), ElementsAre(L"Anna"));
}

TEST_F(FilterTest, FailsEveryComparisonWithWhatIsMissingOrUnreadable)
{
    SPropValue name = textValue(PR_GIVEN_NAME_W, L"anna");
    EXPECT_THAT(matches(property(RELOP_NE, PR_GIVEN_NAME_W, &name)), ElementsAre(s_bjorn));
    SRestriction equal = property(RELOP_EQ, PR_GIVEN_NAME_W, &name);
    EXPECT_THAT(matches(negation(&equal)), ElementsAre(s_bjorn, L"Carl", L"carla"));
}

TEST_F(FilterTest, TellsWhatExists)
{
    EXPECT_THAT(matches(exists(PR_MESSAGE_FLAGS)), ElementsAre(L"Anna", s_bjorn, L"carla"));
    EXPECT_THAT(matches(exists(PR_GIVEN_NAME_W)), ElementsAre(L"Anna", s_bjorn, L"carla")); // one can't be read
    EXPECT_THAT(matches(exists(CHANGE_PROP_TYPE(PR_MESSAGE_FLAGS, PT_UNICODE))), IsEmpty());
    EXPECT_THAT(matches(exists(CHANGE_PROP_TYPE(PR_GIVEN_NAME_W, PT_STRING8))),
                ElementsAre(L"Anna", s_bjorn, L"carla"));
}

TEST_F(FilterTest, CombinesRestrictions)
{
    SPropValue one = longValue(PR_MESSAGE_FLAGS, 1);
    std::vector<SRestriction> items = {exists(PR_GIVEN_NAME_W), property(RELOP_LT, PR_MESSAGE_FLAGS, &one)};
    EXPECT_THAT(matches(combined(RES_AND, items)), ElementsAre(s_bjorn));
    EXPECT_THAT(matches(combined(RES_OR, items)), ElementsAre(L"Anna", s_bjorn, L"carla"));
    std::vector<SRestriction> none;
    EXPECT_THAT(matches(combined(RES_OR, none)), IsEmpty());
    EXPECT_EQ(matches(combined(RES_AND, none)).size(), 4u);
    SRestriction comment = {};
    comment.rt = RES_COMMENT;
    comment.res.resComment.lpRes = items.data() + 1;
    EXPECT_THAT(matches(comment), ElementsAre(s_bjorn));
}

TEST_F(FilterTest, LetsVisibleFoldersThroughByTheAgentsFilter)
{
    const IMAPISessionPtr session = logonTo(
        R"({"stores":[{"name":"S","folders":[{"name":"no word"},{"name":"hidden","hidden":true},
            {"name":"shown","hidden":false}]}]})");
    const IMAPITablePtr table = hierarchyTable(openIpmSubtree(openStore(session)));
    SPropValue shown = {};
    shown.ulPropTag = PR_ATTR_HIDDEN;
    SRestriction exist = exists(PR_ATTR_HIDDEN);
    std::vector<SRestriction> items = {negation(&exist), property(RELOP_EQ, PR_ATTR_HIDDEN, &shown)};
    SRestriction filter = combined(RES_OR, items);
    ASSERT_EQ(table->Restrict(&filter, TBL_BATCH), S_OK);
    EXPECT_THAT(queryRows(table, {PR_DISPLAY_NAME_W}).texts(), ElementsAre(L"no word", L"shown"));
}

TEST_F(FilterTest, KeepsNothingOfTheClientsMemory)
{
    auto name = std::make_unique<std::wstring>(L"Carl");
    auto value = std::make_unique<SPropValue>(textValue(PR_DISPLAY_NAME_W, name->c_str()));
    SRestriction restriction = property(RELOP_EQ, PR_DISPLAY_NAME_W, value.get());
    ASSERT_EQ(m_table->Restrict(&restriction, TBL_BATCH), S_OK);
    name->assign(L"Anna");
    value->ulPropTag = 0;
    restriction.rt = 99;
    EXPECT_THAT(nextRows(m_table, 10).texts(), ElementsAre(L"Carl"));
}

TEST_F(FilterTest, ComparesContent)
{
    SPropValue carl = textValue(PR_DISPLAY_NAME_W, L"CARL");
    SPropValue ar = textValue(PR_DISPLAY_NAME_W, L"ar");
    SPropValue bjorn = textValue(PR_DISPLAY_NAME_W, L"Bjorn");
    SPropValue empty = textValue(PR_DISPLAY_NAME_W, L"");
    EXPECT_THAT(matches(content(FL_FULLSTRING | FL_IGNORECASE, PR_DISPLAY_NAME_W, &carl)), ElementsAre(L"Carl"));
    EXPECT_THAT(matches(content(FL_PREFIX | FL_IGNORECASE, PR_DISPLAY_NAME_W, &carl)), ElementsAre(L"Carl", L"carla"));
    EXPECT_THAT(matches(content(FL_PREFIX, PR_DISPLAY_NAME_W, &carl)), IsEmpty());
    EXPECT_THAT(matches(content(FL_SUBSTRING, PR_DISPLAY_NAME_W, &ar)), ElementsAre(L"Carl", L"carla"));
    EXPECT_THAT(matches(content(FL_FULLSTRING, PR_DISPLAY_NAME_W, &bjorn)), IsEmpty());
    EXPECT_THAT(matches(content(FL_FULLSTRING | FL_IGNORENONSPACE, PR_DISPLAY_NAME_W, &bjorn)), ElementsAre(s_bjorn));
    EXPECT_THAT(matches(content(FL_FULLSTRING | FL_LOOSE, PR_DISPLAY_NAME_W, &bjorn)), ElementsAre(s_bjorn));
    EXPECT_EQ(matches(content(FL_SUBSTRING, PR_DISPLAY_NAME_W, &empty)).size(), 4u);
    BYTE bytes[] = {2};
    SPropValue key = {};
    key.ulPropTag = 0x300B0102;
    key.Value.bin = {1, bytes};
    EXPECT_THAT(matches(content(FL_SUBSTRING, 0x300B0102, &key)), ElementsAre(L"Anna", s_bjorn));
    SPropValue number = longValue(PR_MESSAGE_FLAGS, 1);
    EXPECT_EQ(restrict(content(FL_SUBSTRING, PR_MESSAGE_FLAGS, &number)), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(restrict(content(3, PR_DISPLAY_NAME_W, &carl)), MAPI_E_TOO_COMPLEX);
}

TEST_F(FilterTest, ComparesPropertiesBitsAndSizes)
{
    SRestriction compare = {};
    compare.rt = RES_COMPAREPROPS;
    compare.res.resCompareProps = {RELOP_EQ, PR_DISPLAY_NAME_W, PR_GIVEN_NAME_W};
    EXPECT_THAT(matches(compare), ElementsAre(s_bjorn));
    compare.res.resCompareProps.relop = RELOP_LT;
    EXPECT_THAT(matches(compare), ElementsAre(L"Anna"));
    compare.res.resCompareProps.ulPropTag2 = PR_MESSAGE_FLAGS;
    EXPECT_EQ(restrict(compare), MAPI_E_TOO_COMPLEX);

    SRestriction bits = {};
    bits.rt = RES_BITMASK;
    bits.res.resBitMask = {BMR_NEZ, PR_MESSAGE_FLAGS, 8};
    EXPECT_THAT(matches(bits), ElementsAre(s_bjorn, L"carla"));
    bits.res.resBitMask.relBMR = BMR_EQZ;
    EXPECT_THAT(matches(bits), ElementsAre(L"Anna"));
    bits.res.resBitMask.ulPropTag = PR_DISPLAY_NAME_W;
    EXPECT_EQ(restrict(bits), MAPI_E_TOO_COMPLEX);

    SRestriction size = {};
    size.rt = RES_SIZE;
    size.res.resSize = {RELOP_EQ, 0x300B0102, 2};
    EXPECT_THAT(matches(size), ElementsAre(L"Anna"));
    size.res.resSize = {RELOP_GE, PR_DISPLAY_NAME_W, 12}; // five characters and their end
    EXPECT_THAT(matches(size), ElementsAre(s_bjorn, L"carla"));
    size.res.resSize = {RELOP_EQ, PR_MESSAGE_FLAGS, 4};
    EXPECT_THAT(matches(size), ElementsAre(L"Anna", s_bjorn, L"carla"));
}

TEST_F(FilterTest, RefusesWhatIsTooComplexOrIncomplete)
{
    SPropValue one = longValue(PR_MESSAGE_FLAGS, 1);
    EXPECT_EQ(restrict(property(RELOP_EQ, PR_DISPLAY_NAME_W, &one)), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(restrict(property(RELOP_EQ, PR_DISPLAY_NAME_W, nullptr)), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(restrict(negation(nullptr)), MAPI_E_INVALID_PARAMETER);
    SPropValue nothing = textValue(PR_DISPLAY_NAME_W, nullptr);
    EXPECT_EQ(restrict(property(RELOP_EQ, PR_DISPLAY_NAME_W, &nothing)), MAPI_E_TOO_COMPLEX);
    SRestriction sub = {};
    sub.rt = RES_SUBRESTRICTION;
    EXPECT_EQ(restrict(sub), MAPI_E_TOO_COMPLEX);
    sub.rt = 77;
    EXPECT_EQ(restrict(sub), MAPI_E_TOO_COMPLEX);
    SRestriction self = negation(&self); // no end to it
    EXPECT_EQ(restrict(self), MAPI_E_TOO_COMPLEX);
}

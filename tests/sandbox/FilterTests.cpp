// Restrictions, as IMAPITable::Restrict evaluates them.
#include "tests/sandbox/SandboxTest.h"

using namespace sandboxtest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// Message by message; each property is missing somewhere.
const char* const filteredMailbox = R"({"stores":[{"name":"S","ipmSubtree":{"messages":[
    {"displayName":"Anna","givenName":"anna","properties":{"PR_ATTR_HIDDEN":true}},
    {"displayName":"Bj\u00F6rn","givenName":"Bj\u00F6rn","properties":{"PR_ATTR_HIDDEN":false}},
    {"displayName":"Carl"},
    {"displayName":"carla","properties":{"PR_GIVEN_NAME":{"error":"MAPI_E_NO_ACCESS"}}}
  ]}}]})";
const wchar_t* const bjoern = L"Bj\u00F6rn";

/// A value in the test's own memory.
SPropValue textValue(ULONG tag, const wchar_t* text)
{
    SPropValue value = {};
    value.ulPropTag = tag;
    value.Value.lpszW = const_cast<wchar_t*>(text);
    return value;
}

SPropValue hiddenValue(bool hidden)
{
    SPropValue value = {};
    value.ulPropTag = PR_ATTR_HIDDEN;
    value.Value.b = hidden ? 1 : 0;
    return value;
}

SRestriction equal(SPropValue* value, ULONG relation = RELOP_EQ)
{
    SRestriction restriction = {};
    restriction.rt = RES_PROPERTY;
    restriction.res.resProperty = {relation, value->ulPropTag, value};
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
        : m_session(logonTo(filteredMailbox)),
          m_store(openStore(m_session)),
          m_table(contentsTable(openIpmSubtree(m_store)))
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

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
    IMAPITablePtr m_table;
};
} // namespace

TEST_F(FilterTest, ComparesTextExactlyInEitherWidth)
{
    SPropValue carl = textValue(PR_DISPLAY_NAME_W, L"Carl");
    SPropValue lower = textValue(PR_DISPLAY_NAME_W, L"carl");
    EXPECT_THAT(matches(equal(&carl)), ElementsAre(L"Carl"));
    EXPECT_THAT(matches(equal(&lower)), IsEmpty());
    char text[] = "Carl";
    SPropValue narrow = {};
    narrow.ulPropTag = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8);
    narrow.Value.lpszA = text;
    EXPECT_THAT(matches(equal(&narrow)), ElementsAre(L"Carl"));
}

TEST_F(FilterTest, FailsEveryComparisonWithWhatIsMissingOrUnreadable)
{
    SPropValue name = textValue(PR_GIVEN_NAME_W, L"anna");
    SRestriction isAnna = equal(&name);
    EXPECT_THAT(matches(isAnna), ElementsAre(L"Anna"));
    EXPECT_THAT(matches(negation(&isAnna)), ElementsAre(bjoern, L"Carl", L"carla"));
    EXPECT_THAT(matches(exists(PR_GIVEN_NAME_W)), ElementsAre(L"Anna", bjoern, L"carla")); // one can't be read
    EXPECT_THAT(matches(exists(CHANGE_PROP_TYPE(PR_GIVEN_NAME_W, PT_LONG))), IsEmpty());
}

TEST_F(FilterTest, CombinesRestrictions)
{
    SPropValue shown = hiddenValue(false);
    std::vector<SRestriction> items = {exists(PR_GIVEN_NAME_W), equal(&shown)};
    EXPECT_THAT(matches(combined(RES_AND, items)), ElementsAre(bjoern));
    EXPECT_THAT(matches(combined(RES_OR, items)), ElementsAre(L"Anna", bjoern, L"carla"));
    std::vector<SRestriction> none;
    EXPECT_THAT(matches(combined(RES_OR, none)), IsEmpty());
    EXPECT_EQ(matches(combined(RES_AND, none)).size(), 4u);
}

TEST_F(FilterTest, KeepsNothingOfTheClientsMemory)
{
    auto name = std::make_unique<std::wstring>(L"Carl");
    auto value = std::make_unique<SPropValue>(textValue(PR_DISPLAY_NAME_W, name->c_str()));
    SRestriction restriction = equal(value.get());
    ASSERT_EQ(m_table->Restrict(&restriction, TBL_BATCH), S_OK);
    name->assign(L"Anna");
    value->ulPropTag = 0;
    restriction.rt = 99;
    EXPECT_THAT(nextRows(m_table, 10).texts(), ElementsAre(L"Carl"));
}

TEST_F(FilterTest, RefusesWhatIsNotServedOrIncomplete)
{
    SPropValue carl = textValue(PR_DISPLAY_NAME_W, L"Carl");
    EXPECT_EQ(restrict(equal(&carl, RELOP_NE)), MAPI_E_TOO_COMPLEX);
    SRestriction otherType = equal(&carl);
    otherType.res.resProperty.ulPropTag = PR_ATTR_HIDDEN;
    EXPECT_EQ(restrict(otherType), MAPI_E_TOO_COMPLEX);
    SRestriction withoutValue = equal(&carl);
    withoutValue.res.resProperty.lpProp = nullptr;
    EXPECT_EQ(restrict(withoutValue), MAPI_E_INVALID_PARAMETER);
    SPropValue nothing = textValue(PR_DISPLAY_NAME_W, nullptr);
    EXPECT_EQ(restrict(equal(&nothing)), MAPI_E_TOO_COMPLEX);
    EXPECT_EQ(restrict(negation(nullptr)), MAPI_E_INVALID_PARAMETER);
    SRestriction size = {};
    size.rt = RES_SIZE;
    EXPECT_EQ(restrict(size), MAPI_E_TOO_COMPLEX);
    SRestriction self = negation(&self); // no end to it
    EXPECT_EQ(restrict(self), MAPI_E_TOO_COMPLEX);
}

// IMAPIProp, as stores, folders, messages and users serve it.
#include "sandbox/mailbox/model/SandboxTags.h"
#include "tests/sandbox/SandboxTest.h"

using namespace sandboxtest;
using sandbox::Bytes;
using sandbox::toHex;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::SizeIs;

namespace
{
constexpr LONG emailAddress = 0x8083;

class PropObjectTest : public SandboxTest
{
protected:
    /// The one message of a mailbox, which has these members.
    IMAPIPropPtr openOne(const std::string& members)
    {
        m_session = logonTo(R"({"stores":[{"name":"S","folders":[{"name":"F","messages":[{)" + members + "}]}]}]}");
        m_store = openStore(m_session);
        return openMessage(openSubfolder(openIpmSubtree(m_store)));
    }

    struct NameAnswer
    {
        HRESULT result;
        std::vector<ULONG> tags;
    };

    /// GetIDsFromNames with numbers in PSETID_Address.
    NameAnswer idsOf(IMAPIProp* object, std::vector<LONG> numbers, ULONG flags)
    {
        GUID set = PSETID_Address;
        std::vector<MAPINAMEID> names(numbers.size());
        std::vector<MAPINAMEID*> pointers;
        for (std::size_t index = 0; index < numbers.size(); ++index)
        {
            names[index].lpguid = &set;
            names[index].ulKind = MNID_ID;
            names[index].Kind.lID = numbers[index];
            pointers.push_back(&names[index]);
        }
        return idsOf(object, static_cast<ULONG>(pointers.size()), pointers.data(), flags);
    }

    NameAnswer idsOf(IMAPIProp* object, ULONG count, MAPINAMEID** names, ULONG flags)
    {
        SPropTagArray* tags = nullptr;
        NameAnswer answer{object->GetIDsFromNames(count, names, flags, &tags), {}};
        if (tags != nullptr)
            answer.tags.assign(tags->aulPropTag, tags->aulPropTag + tags->cValues);
        dll.MAPIFreeBuffer(tags);
        return answer;
    }

    IMAPISessionPtr m_session;
    IMsgStorePtr m_store;
};
} // namespace

TEST_F(PropObjectTest, GivesValuesInTheOrderOfTheRequest)
{
    const IMAPIPropPtr message = openOne(R"("displayName":"D","company":"C")");
    const Values values = getProps(message, {PR_COMPANY_NAME_W, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W});
    ASSERT_EQ(values.count(), 3u);
    EXPECT_STREQ(values.at(0).Value.lpszW, L"C");
    EXPECT_EQ(values.at(1).Value.l, static_cast<LONG>(MAPI_MESSAGE));
    EXPECT_STREQ(values.at(2).Value.lpszW, L"D");
}

TEST_F(PropObjectTest, GivesAnErrorInPlaceOfWhatIsMissing)
{
    const IMAPIPropPtr message =
        openOne(R"("displayName":"D","properties":{"PR_BODY":{"error":"MAPI_E_NOT_ENOUGH_MEMORY"}})");
    const Values values = getProps(
        message, {PR_COMPANY_NAME_W, PR_DISPLAY_NAME_W, 0x1000001F, CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_LONG)},
        MAPI_W_ERRORS_RETURNED);
    ASSERT_EQ(values.count(), 4u);
    EXPECT_EQ(values.at(0).ulPropTag, CHANGE_PROP_TYPE(PR_COMPANY_NAME_W, PT_ERROR));
    EXPECT_EQ(values.at(0).Value.err, MAPI_E_NOT_FOUND);
    EXPECT_EQ(values.at(1).ulPropTag, PR_DISPLAY_NAME_W);
    EXPECT_EQ(values.at(2).Value.err, MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(values.at(3).ulPropTag, CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_ERROR));
}

TEST_F(PropObjectTest, GivesAllPropertiesWhenAskedForNone)
{
    const IMAPIPropPtr message = openOne(R"("displayName":"D")");
    ULONG count = 0;
    SPropValue* raw = nullptr;
    ASSERT_EQ(message->GetProps(nullptr, MAPI_UNICODE, &count, &raw), S_OK);
    const Values values(dll, raw, count);
    EXPECT_EQ(count, propList(message).size());
    EXPECT_STREQ(values.of(PR_DISPLAY_NAME_W).Value.lpszW, L"D");
    EXPECT_STREQ(values.of(PR_MESSAGE_CLASS_W).Value.lpszW, L"IPM.Contact");
}

TEST_F(PropObjectTest, GivesTextInTheWidthThatIsAskedFor)
{
    const IMAPIPropPtr message = openOne(R"("displayName":"Dora","properties":{"0x3A4F001E":"Do"})");
    const ULONG narrowName = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8);
    const ULONG openName = CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_UNSPECIFIED);
    EXPECT_STREQ(getProps(message, {narrowName}).at(0).Value.lpszA, "Dora");
    EXPECT_STREQ(getProps(message, {openName}).of(PR_DISPLAY_NAME_W).Value.lpszW, L"Dora");
    EXPECT_STREQ(getProps(message, {openName}, S_OK, 0).of(narrowName).Value.lpszA, "Dora");
    EXPECT_STREQ(getProps(message, {0x3A4F001F}).of(0x3A4F001F).Value.lpszW, L"Do");
    EXPECT_STREQ(getProps(message, {0x3A4F001E}).of(0x3A4F001E).Value.lpszA, "Do");
}

TEST_F(PropObjectTest, GivesEveryTypeOfValue)
{
    const IMAPIPropPtr message = openOne(
        R"("properties":{"0x66000002":-2,"0x66010003":3,"0x66020005":0.5,"0x6603000B":true,"0x66040014":-4,
           "0x66050040":"1601-01-01T00:00:01Z","0x66060048":"{00062004-0000-0000-C000-000000000046}",
           "0x66070102":"0A0B","0x66080102":"","0x66091003":[1,2],"0x660A101F":["a","bc"],"0x660B1102":["01","","0203"]})");
    const Values values = getProps(message, {0x66000002, 0x66010003, 0x66020005, 0x6603000B, 0x66040014, 0x66050040,
                                             0x66060048, 0x66070102, 0x66080102, 0x66091003, 0x660A101F, 0x660B1102});
    EXPECT_EQ(values.at(0).Value.i, -2);
    EXPECT_EQ(values.at(1).Value.l, 3);
    EXPECT_EQ(values.at(2).Value.dbl, 0.5);
    EXPECT_EQ(values.at(3).Value.b, 1);
    EXPECT_EQ(values.at(4).Value.li.QuadPart, -4);
    EXPECT_EQ(values.at(5).Value.ft.dwLowDateTime, 10'000'000u);
    EXPECT_TRUE(IsEqualGUID(*values.at(6).Value.lpguid, PSETID_Address));
    EXPECT_EQ(bytesOf(values.at(7)), Bytes({0x0A, 0x0B}));
    EXPECT_EQ(values.at(8).Value.bin.cb, 0u);
    ASSERT_EQ(values.at(9).Value.MVl.cValues, 2u);
    EXPECT_EQ(values.at(9).Value.MVl.lpl[1], 2);
    ASSERT_EQ(values.at(10).Value.MVszW.cValues, 2u);
    EXPECT_STREQ(values.at(10).Value.MVszW.lppszW[1], L"bc");
    ASSERT_EQ(values.at(11).Value.MVbin.cValues, 3u);
    EXPECT_EQ(values.at(11).Value.MVbin.lpbin[1].cb, 0u);
    EXPECT_EQ(values.at(11).Value.MVbin.lpbin[2].lpb[1], 3);
}

TEST_F(PropObjectTest, ChecksTheArgumentsOfGetProps)
{
    const IMAPIPropPtr message = openOne("");
    ULONG count = 5;
    SPropValue* values = nullptr;
    EXPECT_EQ(message->GetProps(Tags({}), MAPI_UNICODE, &count, &values), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(message->GetProps(Tags({PR_ENTRYID}), 1, &count, &values), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(message->GetProps(Tags({PR_ENTRYID}), 0, nullptr, &values), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(message->GetProps(Tags({PR_ENTRYID}), 0, &count, nullptr), MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(values, nullptr);
}

TEST_F(PropObjectTest, ListsItsProperties)
{
    const IMAPIPropPtr message =
        openOne(R"("displayName":"D","email":"a@example.com","properties":{"PR_ACCESS":null})");
    const std::vector<ULONG> wide = propList(message);
    EXPECT_THAT(wide, AllOf(Contains(PR_DISPLAY_NAME_W), Contains(PR_ENTRYID), Contains(PR_MESSAGE_CLASS_W)));
    EXPECT_THAT(wide, AllOf(Not(Contains(PR_ACCESS)), Not(Contains(PR_COMPANY_NAME_W))));
    const ULONG id = PROP_ID(idsOf(message, {emailAddress}, 0).tags.at(0));
    EXPECT_THAT(wide, Contains(PROP_TAG(PT_UNICODE, id)));
    EXPECT_THAT(propList(message, 0), Contains(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_STRING8)));
    SPropTagArray* tags = nullptr;
    EXPECT_EQ(message->GetPropList(2, &tags), MAPI_E_UNKNOWN_FLAGS);
    EXPECT_EQ(message->GetPropList(0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(PropObjectTest, FindsNamesWithTheirTypeLeftOpen)
{
    const IMAPIPropPtr message = openOne(R"("email":"a@example.com")");
    const NameAnswer answer = idsOf(message, {0x8082, emailAddress}, 0);
    EXPECT_EQ(answer.result, S_OK);
    ASSERT_THAT(answer.tags, SizeIs(2));
    for (const ULONG tag : answer.tags)
    {
        EXPECT_EQ(PROP_TYPE(tag), PT_UNSPECIFIED);
        EXPECT_GE(PROP_ID(tag), 0x8000u);
    }
    EXPECT_EQ(textOf(message, CHANGE_PROP_TYPE(answer.tags[1], PT_UNICODE)), L"a@example.com");
}

TEST_F(PropObjectTest, MarksUnknownNamesAndMakesThemOnRequest)
{
    const IMAPIPropPtr message = openOne("");
    const NameAnswer unknown = idsOf(message, {emailAddress}, 0);
    EXPECT_EQ(unknown.result, MAPI_W_ERRORS_RETURNED);
    EXPECT_THAT(unknown.tags, ElementsAre(0x0000000Au));
    const NameAnswer made = idsOf(message, {emailAddress}, MAPI_CREATE);
    EXPECT_EQ(made.result, S_OK);
    EXPECT_GE(PROP_ID(made.tags.at(0)), 0x8000u);
    const NameAnswer known = idsOf(m_store, {emailAddress}, 0); // one mapping for the whole store
    EXPECT_EQ(known.result, S_OK);
    EXPECT_EQ(known.tags, made.tags);
    const ULONG tag = CHANGE_PROP_TYPE(made.tags.at(0), PT_UNICODE);
    EXPECT_EQ(getProps(message, {tag}, MAPI_W_ERRORS_RETURNED).at(0).Value.err, MAPI_E_NOT_FOUND);
}

TEST_F(PropObjectTest, ChecksTheArgumentsOfGetIDsFromNames)
{
    const IMAPIPropPtr message = openOne("");
    MAPINAMEID name = {};
    MAPINAMEID* names[] = {&name};
    EXPECT_EQ(idsOf(message, 1, names, 0).result, MAPI_E_INVALID_PARAMETER); // no property set
    EXPECT_EQ(idsOf(message, 1, nullptr, 0).result, MAPI_E_INVALID_PARAMETER);
    EXPECT_EQ(idsOf(message, {emailAddress}, 4).result, MAPI_E_UNKNOWN_FLAGS);
}

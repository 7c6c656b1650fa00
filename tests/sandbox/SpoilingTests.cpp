// Plans with "gives": what calls give in place of what they have made.
#include <limits>

#include "tests/sandbox/NotifyTest.h"

using namespace sandboxtest;
using sandbox::Json;
using testing::ElementsAre;

namespace
{
class SpoilingTest : public NotifyTest
{
protected:
    SpoilingTest()
    {
        openOn(
            R"({"stores":[{"name":"A","folders":[{"name":"F","messages":[{"displayName":"a"},{"displayName":"b"}]}]}]})");
        m_folder = openIpmSubtree(m_store);
        m_message = openMessage(openSubfolder(m_folder));
    }
    ~SpoilingTest() override
    {
        dll.clearPlans();
        m_folder = nullptr;
        m_message = nullptr;
    }

    void plan(const char* method, const char* word) { dll.plan({{"method", method}, {"gives", word}}); }
    /// What a call that must succeed puts into its place when it is planned to give nothing.
    template <class Pointer, class Call>
    [[nodiscard]] Pointer* givenNothing(const char* method, Call call)
    {
        plan(method, "nothing");
        Pointer* given = reinterpret_cast<Pointer*>(this); // not null
        EXPECT_EQ(call(&given), S_OK) << method;
        return given;
    }

    IMAPIFolderPtr m_folder;
    IMAPIPropPtr m_message;
};
} // namespace

TEST_F(SpoilingTest, NothingIsANullPointerInPlaceOfAnObject)
{
    EXPECT_EQ(givenNothing<IMAPITable>("IMAPISession::GetMsgStoresTable",
                                       [&](auto given) { return m_session->GetMsgStoresTable(0, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<IMAPITable>("IMAPIContainer::GetContentsTable",
                                       [&](auto given) { return m_folder->GetContentsTable(0, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<IMAPITable>("IMAPIContainer::GetHierarchyTable",
                                       [&](auto given) { return m_folder->GetHierarchyTable(0, given); }),
              nullptr);
    const sandbox::Bytes folder = binaryOf(m_folder, PR_ENTRYID);
    const auto size = static_cast<ULONG>(folder.size());
    ULONG type = 0;
    EXPECT_EQ(givenNothing<IUnknown>("IMsgStore::OpenEntry", [&](auto given)
                                     { return m_store->OpenEntry(size, entryId(folder), nullptr, 0, &type, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<IUnknown>("IMAPIContainer::OpenEntry", [&](auto given)
                                     { return m_folder->OpenEntry(size, entryId(folder), nullptr, 0, &type, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<IUnknown>("IMAPISession::OpenEntry", [&](auto given)
                                     { return m_session->OpenEntry(size, entryId(folder), nullptr, 0, &type, given); }),
              nullptr);
    const sandbox::Bytes store = binaryOf(m_store, PR_ENTRYID);
    EXPECT_EQ(givenNothing<IMsgStore>("IMAPISession::OpenMsgStore",
                                      [&](auto given)
                                      {
                                          return m_session->OpenMsgStore(0, static_cast<ULONG>(store.size()),
                                                                         entryId(store), nullptr, 0, given);
                                      }),
              nullptr);
    EXPECT_EQ(givenNothing<void>("IUnknown::QueryInterface",
                                 [&](auto given) { return m_store->QueryInterface(IID_IMAPIProp, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<IMAPISession>("MAPILogonEx", [&](auto given)
                                         { return dll.MAPILogonEx(0, nullptr, nullptr, MAPI_EXTENDED, given); }),
              nullptr);
    const RecordingSinkPtr sink = makeSink();
    EXPECT_EQ(givenNothing<IMAPIAdviseSink>("HrThisThreadAdviseSink",
                                            [&](auto given) { return dll.HrThisThreadAdviseSink(sink, given); }),
              nullptr);
}

TEST_F(SpoilingTest, NothingIsANullPointerInPlaceOfMemory)
{
    EXPECT_EQ(givenNothing<void>("MAPIAllocateBuffer", [&](auto given) { return dll.MAPIAllocateBuffer(8, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<SPropTagArray>("IMAPIProp::GetPropList",
                                          [&](auto given) { return m_message->GetPropList(0, given); }),
              nullptr);
    EXPECT_EQ(givenNothing<SPropValue>("HrGetOneProp", [&](auto given)
                                       { return dll.HrGetOneProp(m_message, PR_DISPLAY_NAME_W, given); }),
              nullptr);
    ULONG count = 0;
    EXPECT_EQ(givenNothing<SPropValue>("IMAPIProp::GetProps", [&](auto given)
                                       { return m_message->GetProps(Tags{PR_ENTRYID, PR_ENTRYID}, 0, &count, given); }),
              nullptr);
    EXPECT_EQ(count, 2U);
    const IMAPITablePtr table = storesTable(m_session);
    EXPECT_EQ(givenNothing<SRowSet>("IMAPITable::QueryRows", [&](auto given) { return table->QueryRows(1, 0, given); }),
              nullptr);
}

TEST_F(SpoilingTest, ArraysAreEmptyOrWithoutTheirFirst)
{
    const std::vector<ULONG> all = propList(m_message);
    plan("IMAPIProp::GetPropList", "empty");
    EXPECT_THAT(propList(m_message), ElementsAre());
    plan("IMAPIProp::GetPropList", "fewer");
    EXPECT_EQ(propList(m_message), std::vector<ULONG>(all.begin() + 1, all.end()));

    plan("IMAPIProp::GetProps", "empty");
    EXPECT_EQ(getProps(m_message, {PR_ENTRYID, PR_DISPLAY_NAME_W}).count(), 0U);
    plan("IMAPIProp::GetProps", "fewer");
    const Values fewer = getProps(m_message, {PR_ENTRYID, PR_DISPLAY_NAME_W});
    EXPECT_EQ(fewer.count(), 1U);
    EXPECT_STREQ(fewer.at(0).Value.lpszW, L"a");

    const IMAPITablePtr table = contentsTable(openSubfolder(m_folder));
    plan("IMAPITable::QueryRows", "empty");
    EXPECT_EQ(queryRows(table, {PR_ENTRYID}).count(), 0U);
    const IMAPITablePtr anew = contentsTable(openSubfolder(m_folder));
    plan("IMAPITable::QueryRows", "fewer");
    EXPECT_THAT(queryRows(anew, {PR_ENTRYID, PR_DISPLAY_NAME_W}).texts(), ElementsAre(L"a", L"b"));
}

TEST_F(SpoilingTest, ValuesAreOfAnotherTypeOrWithoutWhatTheyPointTo)
{
    plan("IMAPIProp::GetProps", "otherTypes");
    const Values other = getProps(m_message, {PR_DISPLAY_NAME_W, PR_ENTRYID, PR_OBJECT_TYPE});
    EXPECT_EQ(other.at(0).ulPropTag, CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_LONG));
    EXPECT_EQ(other.at(1).ulPropTag, CHANGE_PROP_TYPE(PR_ENTRYID, PT_LONG));
    EXPECT_EQ(other.at(2).ulPropTag, CHANGE_PROP_TYPE(PR_OBJECT_TYPE, PT_UNICODE));
    EXPECT_STREQ(other.at(2).Value.lpszW, L"a text");
    plan("IMAPIProp::GetPropList", "otherTypes");
    EXPECT_THAT(propList(m_message), testing::Contains(CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_LONG)));

    plan("IMAPIProp::GetProps", "nullValues");
    const Values none = getProps(m_message, {PR_DISPLAY_NAME_W, PR_ENTRYID, PR_OBJECT_TYPE});
    EXPECT_EQ(none.at(0).Value.lpszW, nullptr);
    EXPECT_EQ(none.at(1).Value.bin.lpb, nullptr);
    EXPECT_NE(none.at(1).Value.bin.cb, 0U);
    EXPECT_EQ(none.at(2).Value.l, static_cast<LONG>(MAPI_MESSAGE));

    plan("HrGetOneProp", "otherTypes"); // and not the GetProps below it
    SPropValue* value = nullptr;
    ASSERT_EQ(dll.HrGetOneProp(m_message, PR_DISPLAY_NAME_W, &value), S_OK);
    EXPECT_EQ(value->ulPropTag, CHANGE_PROP_TYPE(PR_DISPLAY_NAME_W, PT_LONG));
    dll.MAPIFreeBuffer(value);
}

TEST_F(SpoilingTest, NumbersAreNoneOneLessOrHuge)
{
    const IMAPITablePtr table = contentsTable(openSubfolder(m_folder));
    const auto rowCount = [&](const char* word)
    {
        plan("IMAPITable::GetRowCount", word);
        ULONG count = 7;
        EXPECT_EQ(table->GetRowCount(0, &count), S_OK);
        return count;
    };
    EXPECT_EQ(rowCount("empty"), 0U);
    EXPECT_EQ(rowCount("fewer"), 1U);
    EXPECT_EQ(rowCount("huge"), std::numeric_limits<ULONG>::max());

    const sandbox::Bytes id = binaryOf(m_folder, PR_ENTRYID);
    const auto size = static_cast<ULONG>(id.size());
    plan("IMAPISession::CompareEntryIDs", "empty");
    ULONG same = 7;
    EXPECT_EQ(m_session->CompareEntryIDs(size, entryId(id), size, entryId(id), 0, &same), S_OK);
    EXPECT_EQ(same, 0U);

    const IMAPIAdviseSinkPtr sink = wrap(makeSink());
    plan("IMsgStore::Advise", "empty");
    EXPECT_EQ(advise(sink), 0U);
    const Json subscriptions = ask({{"do", "subscriptions"}}).at("subscriptions");
    EXPECT_EQ(m_store->Unadvise(std::stoull(subscriptions.at(0).at("connection").get<std::string>(), nullptr, 16)),
              S_OK);
}

TEST_F(SpoilingTest, WhatAMethodDoesNotGiveIsRefused)
{
    const auto plan = [&](Json keys)
    {
        keys["do"] = "plan";
        return refused(keys);
    };
    EXPECT_EQ(plan({{"method", "IMAPITable::FindRow"}, {"gives", "empty"}}),
              "/gives: IMAPITable::FindRow gives nothing that could differ");
    EXPECT_EQ(plan({{"method", "IMAPITable::GetRowCount"}, {"gives", "nothing"}}),
              "/gives: IMAPITable::GetRowCount does not know 'nothing'; it knows: empty fewer huge");
    EXPECT_EQ(plan({{"opens", "A/F"}, {"gives", "nothing"}}), "/gives: is for a method");
    EXPECT_EQ(plan({{"method", "IMAPITable::GetRowCount"}, {"gives", "less"}}),
              R"(/gives: must be "nothing", "empty", "fewer", "otherTypes", "nullValues" or "huge")");
}

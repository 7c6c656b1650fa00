#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/sandbox/NotifyTest.h"

using namespace sandbox;
using namespace sandboxtest;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace
{
const char* const requestedMailbox = R"({"stores":[
    {"name":"Mailbox","default":true,"entryId":"0000000001","folders":[
      {"name":"Contacts","class":"IPF.Contact","entryId":"0000000002",
       "messages":[{"displayName":"Mara","email":"mara@example.com","entryId":"0000000003"},
                   {"displayName":"Ada","class":null,"entryId":"0000000004"}],
       "folders":[{"name":"Old","hidden":true,"entryId":"0000000005"}]}]},
    {"name":"Other","entryId":"0000000011","folders":[{"name":"Contacts","entryId":"0000000012"}]}]})";

class EditRequestsTest : public NotifyTest
{
protected:
    EditRequestsTest() { openOn(requestedMailbox); }

    [[nodiscard]] std::vector<std::wstring> namesIn(ULONG folder = 0)
    {
        const IMAPIFolderPtr contacts = openSubfolder(openIpmSubtree(m_store), folder);
        const IMAPITablePtr table = contentsTable(contacts);
        return queryRows(table, {PR_DISPLAY_NAME_W}).texts();
    }
};
} // namespace

// ---- As a client sees it ---------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, AnAddedContactIsInTheTableAndOpens)
{
    watch();
    const Json answer = dll.request({{"do", "addContact"},
                                     {"folder", "Mailbox/Contacts"},
                                     {"contact", {{"displayName", "Łukasz"}, {"mobilePhone", "+44 7700 900001"}}}});
    const std::string added = answer.at("entryId");
    EXPECT_THAT(namesIn(), ElementsAre(L"Mara", L"Ada", L"\u0141ukasz"));
    const IMAPIPropPtr message(openEntry(m_session.GetInterfacePtr(), fromHex(added).value()));
    EXPECT_EQ(textOf(message, PR_MOBILE_TELEPHONE_NUMBER_W), L"+44 7700 900001");
    EXPECT_THAT(events(), ElementsAre("created 5 " + added + " in 0000000002", "|", "modified 3 0000000002"));
}

TEST_F(EditRequestsTest, AnEditedContactAnswersTheNewValuesAlsoWhereItIsOpen)
{
    watch();
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(m_store));
    const IMAPIPropPtr message = openMessage(folder);
    const IMAPITablePtr table = contentsTable(folder);
    dll.request({{"do", "editContact"},
                 {"contact", "Mailbox/Contacts/Mara"},
                 {"set", {{"displayName", "Mara Lindqvist"}, {"company", "Example"}}}});
    EXPECT_EQ(textOf(message, PR_DISPLAY_NAME_W), L"Mara Lindqvist");
    EXPECT_EQ(textOf(message, PR_COMPANY_NAME_W), L"Example");
    EXPECT_THAT(queryRows(table, {PR_DISPLAY_NAME_W}).texts(), ElementsAre(L"Mara Lindqvist", L"Ada"));
    EXPECT_THAT(events(), ElementsAre("modified 5 0000000003 in 0000000002"));
}

TEST_F(EditRequestsTest, WhatIsDeletedOpensNoMoreButAnswersWhoHoldsIt)
{
    watch();
    const IMAPIFolderPtr folder = openSubfolder(openIpmSubtree(m_store));
    const IMAPIPropPtr message = openMessage(folder);
    const IMAPITablePtr table = contentsTable(folder);
    dll.request({{"do", "delete"}, {"object", "Mailbox/Contacts"}});
    EXPECT_EQ(textOf(message, PR_DISPLAY_NAME_W), L"Mara");
    EXPECT_EQ(bytesOf(getProps(message, {PR_PARENT_ENTRYID}).at(0)), (Bytes{0, 0, 0, 0, 2}));
    EXPECT_EQ(textOf(folder, PR_DISPLAY_NAME_W), L"Contacts");
    EXPECT_EQ(queryRows(table, {PR_DISPLAY_NAME_W}).count(), 2U);
    EXPECT_EQ(queryRows(hierarchyTable(openIpmSubtree(m_store)), {PR_DISPLAY_NAME_W}).count(), 0U);
    for (const Bytes& goneId : {Bytes{0, 0, 0, 0, 2}, Bytes{0, 0, 0, 0, 3}, Bytes{0, 0, 0, 0, 5}})
    {
        ULONG type = 0;
        UnknownPtr object;
        EXPECT_EQ(m_session->OpenEntry(5, entryId(goneId), nullptr, 0, &type, &object), MAPI_E_UNKNOWN_ENTRYID);
        EXPECT_EQ(folder->OpenEntry(5, entryId(goneId), nullptr, 0, &type, &object), MAPI_E_NOT_FOUND);
    }
    EXPECT_THAT(events(), ElementsAre(StartsWith("deleted 3 0000000002 in 0000")));
}

TEST_F(EditRequestsTest, AMessageMovesWithinItsStore)
{
    watch();
    const std::string moved =
        dll.request({{"do", "move"}, {"object", "Mailbox/Contacts/Ada"}, {"to", "Mailbox/Contacts/Old"}}).at("entryId");
    EXPECT_NE(moved, "0000000004");
    EXPECT_THAT(namesIn(), ElementsAre(L"Mara"));
    EXPECT_THAT(events(), ElementsAre("moved 5 " + moved + " in 0000000005 from 0000000004 in 0000000002", "|",
                                      "modified 3 0000000002", "modified 3 0000000005"));
    EXPECT_EQ(dll.request({{"do", "move"}, {"object", "#" + moved}, {"to", "Mailbox/Contacts"}, {"keepId", true}})
                  .at("entryId"),
              moved);
}

TEST_F(EditRequestsTest, FoldersAreAddedEditedCopiedAndHidden)
{
    watch();
    const std::string added =
        dll.request({{"do", "addFolder"},
                     {"parent", "Mailbox"},
                     {"folder", {{"name", "More"}, {"class", "IPF.Contact"}, {"generate", {{"contacts", 3}}}}}})
            .at("entryId");
    EXPECT_EQ(namesIn(1).size(), 3U);
    dll.request({{"do", "editFolder"}, {"folder", "Mailbox/More"}, {"set", {{"hidden", true}}}});
    EXPECT_EQ(dll.request({{"do", "list"}, {"path", "Mailbox/More"}}).at("items").at(0).at("hidden"), true);
    const std::string copied =
        dll.request({{"do", "copy"}, {"object", "Mailbox/More"}, {"to", "Mailbox/Contacts"}}).at("entryId");
    const std::string ipmSubtree = toHex(binaryOf(m_store, PR_IPM_SUBTREE_ENTRYID));
    EXPECT_THAT(events(), ElementsAre("created 3 " + added + " in " + ipmSubtree, "|",
                                      "modified 3 " + added + " in " + ipmSubtree, "|",
                                      "copied 3 " + copied + " in 0000000002 from " + added + " in " + ipmSubtree));
}

TEST_F(EditRequestsTest, AStoreBecomesPublicAndNobodyIsNotified)
{
    watch();
    EXPECT_EQ(dll.request({{"do", "editStore"}, {"store", "Mailbox"}, {"set", {{"public", true}, {"name", "Public"}}}}),
              (Json{{"ok", true}}));
    EXPECT_EQ(textOf(m_store, PR_DISPLAY_NAME_W), L"Public");
    EXPECT_EQ(toHex(binaryOf(m_store, PR_MDB_PROVIDER)), "78B2FA70AFF711CD9BC800AA002FC45A");
    EXPECT_THAT(events(), IsEmpty());
}

TEST_F(EditRequestsTest, TheAnswerSaysWhenItsNotificationsWereHandedOn)
{
    const auto now = []
    {
        LARGE_INTEGER counter{};
        QueryPerformanceCounter(&counter);
        return counter.QuadPart;
    };
    const Json edit = {{"do", "delete"}, {"object", "Mailbox/Contacts/Ada"}};
    const LONGLONG before = now();
    const Json answer = dll.request({{"do", "batch"}, {"requests", {edit}}});
    EXPECT_GE(answer.at("notified"), before);
    EXPECT_LE(answer.at("notified"), now());
    EXPECT_EQ(answer.at("answers"), Json::array({{{"ok", true}}}));
}

TEST_F(EditRequestsTest, TheMaskOfASubscriptionHolds)
{
    watch(fnevObjectDeleted);
    dll.request({{"do", "addContact"}, {"folder", "Mailbox"}, {"contact", Json::object()}});
    dll.request({{"do", "delete"}, {"object", "Mailbox/Contacts/Ada"}});
    EXPECT_THAT(events(), ElementsAre("deleted 5 0000000004 in 0000000002"));
}

// ---- Batches ---------------------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, ABatchComesAtOnce)
{
    watch();
    const Json answer =
        dll.request({{"do", "batch"},
                     {"requests",
                      {{{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "B"}}}},
                       {{"do", "editContact"}, {"contact", "Mailbox/Contacts/B"}, {"set", {{"surname", "B"}}}},
                       {{"do", "inject"},
                        {"store", "Mailbox"},
                        {"notifications", {{{"event", 2}, {"objectType", 5}, {"entryId", "Mailbox/Contacts/B"}}}}},
                       {{"do", "delete"}, {"object", "Mailbox/Contacts/Mara"}},
                       {{"do", "list"}, {"path", "Mailbox/Contacts/B"}}}}});
    ASSERT_EQ(answer.at("answers").size(), 5U);
    const std::string added = answer.at("answers").at(0).at("entryId");
    EXPECT_EQ(answer.at("answers").at(1), (Json{{"ok", true}}));
    EXPECT_EQ(answer.at("answers").at(4).at("items").at(0).at("entryId"), added);
    EXPECT_THAT(events(),
                ElementsAre("created 5 " + added + " in 0000000002", "modified 5 " + added + " in 0000000002",
                            "event 2 5 " + added, "deleted 5 0000000003 in 0000000002", "|", "modified 3 0000000002"));
}

TEST_F(EditRequestsTest, ABatchIsDoneAsAWholeOrNotAtAll)
{
    watch();
    const auto batch = [](const Json& last)
    {
        return Json{{"do", "batch"},
                    {"requests",
                     {{{"do", "addContact"}, {"folder", "Mailbox/Contacts"}, {"contact", {{"displayName", "B"}}}},
                      {{"do", "move"}, {"object", "Mailbox/Contacts/Old"}, {"to", "Other"}},
                      {{"do", "delete"}, {"object", "Mailbox/Contacts"}},
                      last}}};
    };
    EXPECT_EQ(refused(batch({{"do", "delete"}, {"object", "Mailbox/Contacts/Mara"}})),
              "/requests/3/object: there is no 'Contacts' where 'Mailbox/Contacts/Mara' has it");
    EXPECT_EQ(refused(batch({{"do", "addContact"}, {"folder", "Other"}, {"contact", {{"surname", 1}}}})),
              "/requests/3/contact/surname: must be a text");
    EXPECT_EQ(refused(batch({{"do", "wait"}, {"for", "idle"}})),
              "/requests/3/do: a batch has no request 'wait'; it has edits, injections and lists");
    EXPECT_EQ(refused(batch({{"do", "batch"}, {"requests", Json::array()}})),
              "/requests/3/do: a batch has no request 'batch'; it has edits, injections and lists");
    EXPECT_EQ(refused(batch("delete")), "/requests/3: must be an object with the name of a request under 'do'");
    EXPECT_EQ(refused(batch({{"do", "move"}, {"object", "Other/Old"}, {"to", "Other/Old"}})),
              "/requests/3/object: a folder can't be moved into itself");
}

// ---- Raw notifications -----------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, ARawNotificationArrivesAsItStands)
{
    watch(fnevNewMail); // a mask that fits none of them
    const auto inject = [&](Json notification)
    {
        dll.request({{"do", "inject"}, {"store", "Mailbox"}, {"notifications", {std::move(notification)}}});
        return events().back();
    };
    EXPECT_EQ(inject({{"event", "0x4"}, {"objectType", 5}}), "created 5");
    EXPECT_EQ(inject({{"event", "fnevObjectMoved"},
                      {"objectType", "MAPI_MESSAGE"},
                      {"entryId", "#DEADBEEF01"},
                      {"parentId", "Mailbox/Contacts"},
                      {"oldId", "#0000000003"},
                      {"oldParentId", "#8000"}}),
              "moved 5 DEADBEEF01 in 0000000002 from 0000000003 in 8000");
    EXPECT_EQ(inject({{"event", 8}, {"objectType", "MAPI_FOLDER"}, {"entryId", {{"size", 5}}}}),
              "deleted 3 5 bytes of nothing");
    EXPECT_EQ(inject({{"event", 8}, {"objectType", "0x3"}, {"entryId", {{"bytes", "0011"}, {"size", 0}}}}),
              "deleted 3 no byte of something");
    EXPECT_EQ(inject({{"event", 16}, {"objectType", 5}, {"entryId", {{"bytes", "0011"}, {"size", 1}}}}),
              "modified 5 00");
    EXPECT_EQ(inject({{"event", 16}, {"objectType", 1}, {"entryId", "Mailbox"}}), "modified 1 0000000001");
    EXPECT_EQ(inject({{"event", 16}, {"objectType", 5}, {"propTags", {"PR_DISPLAY_NAME_W", "0x3003001F", 805503007}}}),
              "modified 5 with 3 tag(s)");
}

TEST_F(EditRequestsTest, RefusesRawNotificationsThatMeanNothing)
{
    watch();
    const auto inject = [&](Json notification)
    {
        return refused({{"do", "inject"}, {"store", "Mailbox"}, {"notifications", {std::move(notification)}}});
    };
    EXPECT_EQ(inject({{"event", "fnevObjectGone"}, {"objectType", 5}}),
              "/notifications/0/event: there is no published name 'fnevObjectGone'; they are like "
              "\"fnevCriticalError\", and others can be written as a number");
    EXPECT_EQ(inject({{"event", 4}, {"objectType", "MAPI_CONTACT"}}),
              "/notifications/0/objectType: there is no published name 'MAPI_CONTACT'; they are like "
              "\"MAPI_STORE\", and others can be written as a number");
    EXPECT_EQ(inject({{"event", 4}, {"objectType", 5}, {"entryId", "#1"}}),
              "/notifications/0/entryId: behind '#' must be hexadecimal digits in pairs");
    EXPECT_EQ(inject({{"event", 4}, {"objectType", 5}, {"entryId", "Mailbox/Nobody"}}),
              "/notifications/0/entryId: there is no 'Nobody' where 'Mailbox/Nobody' has it");
}

// ---- What is refused -------------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, RefusesWhatIsNoRequest)
{
    EXPECT_EQ(refusedLine("{\"do\":"), "line 1, column 7: unexpected end of input; expected '[', '{', or a literal");
    for (const char* line : {"[]", "{}", R"({"do":7})"})
        EXPECT_EQ(refusedLine(line), "/: must be an object with the name of a request under 'do'");
    EXPECT_EQ(refusedLine(R"({"do":"dance"})"), "/do: there is no request 'dance'");
    EXPECT_EQ(refusedLine(R"({"do":"da\nnce"})"), "/do: there is no request 'da\\u000Ance'") << "one line";
    EXPECT_EQ(refusedLine(R"({"do":"list","do":"list"})"), "/do: this key is given twice");
    EXPECT_THAT(refusedLine(R"({"do":"list","palce":"x"})"), HasSubstr("/palce: unknown key; known here are do, path"));
    EXPECT_THAT(refusedLine("{\"do\":\"\xff\"}"), HasSubstr("line 1, column "));
}

TEST_F(EditRequestsTest, RefusesEditsOfTheWrongKind)
{
    watch();
    EXPECT_EQ(refused({{"do", "addFolder"}, {"parent", "Mailbox/Contacts/Mara"}, {"folder", {{"name", "x"}}}}),
              "/parent: 'Mailbox/Contacts/Mara' is a message, and not a folder");
    EXPECT_EQ(refused({{"do", "editStore"}, {"store", "Nobody"}, {"set", Json::object()}}),
              "/store: there is no store 'Nobody'");
    EXPECT_EQ(refused({{"do", "delete"}, {"object", "Mailbox"}}), "/object: a store can't be deleted");
}

TEST(RequestsWithoutRuntimeTest, NeedAMailboxAndNothingElse)
{
    SandboxDll dll;
    EXPECT_THAT(dll.answer(R"({"do":"list"})"), HasSubstr("no mailbox is served: "));
    dll.serve("{}");
    EXPECT_EQ(dll.request({{"do", "list"}}).at("items"), Json::array());
    dll.plan({{"method", "MAPIInitialize"}, {"result", "MAPI_E_CALL_FAILED"}});
    EXPECT_EQ(dll.MAPIInitialize(nullptr), MAPI_E_CALL_FAILED);
}

// ---- What is there ---------------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, ListsEverythingWithItsIdentifiers)
{
    const Json items = list();
    ASSERT_EQ(items.size(), 2U);
    const Json& store = items.at(0);
    EXPECT_EQ(store.at("kind"), "store");
    EXPECT_EQ(store.at("name"), "Mailbox");
    EXPECT_EQ(store.at("entryId"), "0000000001");
    EXPECT_EQ(store.at("default"), true);
    EXPECT_EQ(store.at("public"), false);
    const Json& root = store.at("items").at(0);
    EXPECT_EQ(root.at("name"), "Root");
    const Json& contacts = root.at("items").at(0).at("items").at(0);
    EXPECT_EQ(contacts,
              (Json{{"kind", "folder"},
                    {"name", "Contacts"},
                    {"entryId", "0000000002"},
                    {"class", "IPF.Contact"},
                    {"items",
                     {{{"kind", "message"}, {"name", "Mara"}, {"entryId", "0000000003"}, {"class", "IPM.Contact"}},
                      {{"kind", "message"}, {"name", "Ada"}, {"entryId", "0000000004"}},
                      {{"kind", "folder"},
                       {"name", "Old"},
                       {"entryId", "0000000005"},
                       {"hidden", true},
                       {"items", Json::array()}}}}}));
}

TEST_F(EditRequestsTest, ListsAnObject)
{
    EXPECT_EQ(dll.request({{"do", "list"}, {"path", "Mailbox"}}).at("items"), Json::array({list().at(0)}));
    const Json folder = dll.request({{"do", "list"}, {"path", "Mailbox/Contacts"}}).at("items");
    ASSERT_EQ(folder.size(), 1U);
    EXPECT_EQ(folder.at(0).at("items").size(), 3U);
    EXPECT_EQ(dll.request({{"do", "list"}, {"path", "#0000000004"}}).at("items").at(0).at("name"), "Ada");
    EXPECT_EQ(refused({{"do", "list"}, {"path", "Nobody"}}), "/path: there is no store 'Nobody'");
}

// ---- Watching --------------------------------------------------------------------------------------------------------

TEST_F(EditRequestsTest, ListsWhoWatches)
{
    EXPECT_EQ(dll.request({{"do", "subscriptions"}}).at("subscriptions"), Json::array());
    watch(fnevObjectCreated | fnevObjectDeleted);
    const Json subscriptions = dll.request({{"do", "subscriptions"}}).at("subscriptions");
    ASSERT_EQ(subscriptions.size(), 1U);
    EXPECT_EQ(subscriptions.at(0).at("store"), "Mailbox");
    EXPECT_EQ(subscriptions.at(0).at("mask"), "0xC");
    EXPECT_THAT(subscriptions.at(0).at("connection").get<std::string>(), StartsWith("0x"));
}

TEST_F(EditRequestsTest, WaitsUntilItIsSo)
{
    watch();
    pumpDuring([this] { dll.request({{"do", "wait"}, {"for", "idle"}}); });
    dll.request({{"do", "wait"}, {"for", "advised"}, {"count", 1}});
    EXPECT_EQ(refused({{"do", "wait"}, {"for", "advised"}, {"count", 2}, {"timeout", 10}}),
              "after 10 ms there are fewer than 2 subscriptions");
}

#include "sandbox/mailbox/model/Mailbox.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "mapiabi/MapiTags.h"
#include "sandbox/mailbox/model/EntryIds.h"
#include "sandbox/mailbox/model/NameMapping.h"
#include "sandbox/mailbox/model/SandboxTags.h"
#include "sandbox/mailbox/reading/MailboxReader.h"

using namespace sandbox;
using testing::Contains;
using testing::IsSupersetOf;
using testing::Not;

namespace
{
std::wstring textOf(const MailboxObject& object, ULONG tag)
{
    const std::optional<Property> property = object.property(PROP_ID(tag));
    return property ? std::get<std::wstring>(property->value) : L"(none)";
}

const char* const s_twoStores = R"({"stores":[{"name":"One"},{"name":"Two","root":{"messages":[{}]},
    "folders":[{"name":"A","messages":[{"displayName":"a1"},{"displayName":"a2","entryId":"0000000042"}],
                "generate":{"contacts":2},
                "folders":[{"name":"AA","messages":[{"displayName":"aa1"}]}]},
               {"name":"B","aliases":["8000000001"],"shortTermIds":true,"messages":[{"displayName":"b1"}]}],
    "rootFolders":[{"name":"C"}]}]})";
} // namespace

TEST(MailboxTest, NumbersFoldersAndMessagesInFileOrder)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const Store& store = *mailbox->stores().at(1);
    const StoreUid uid = storeUid(2);
    EXPECT_EQ(store.entryId(), storeEntryId(uid));
    EXPECT_EQ(store.root()->entryId(), folderEntryId(uid, 1));
    EXPECT_EQ(store.ipmSubtree()->entryId(), folderEntryId(uid, 2));
    const Folder& a = *store.ipmSubtree()->folders().at(0);
    const Folder& aa = *a.folders().at(0);
    const Folder& b = *store.ipmSubtree()->folders().at(1);
    EXPECT_EQ(a.entryId(), folderEntryId(uid, 3));
    EXPECT_EQ(aa.entryId(), folderEntryId(uid, 4));
    EXPECT_EQ(b.entryId(), folderEntryId(uid, 5));
    EXPECT_EQ(store.root()->folders().at(1)->entryId(), folderEntryId(uid, 6));

    EXPECT_EQ(store.root()->messages().at(0)->entryId(), messageEntryId(uid, 1, 1));
    ASSERT_EQ(a.messages().size(), 4u);
    EXPECT_EQ(a.messages()[0]->entryId(), messageEntryId(uid, 3, 2));
    EXPECT_EQ(a.messages()[1]->entryId(), Bytes({0, 0, 0, 0, 0x42}));
    EXPECT_EQ(a.messages()[2]->entryId(), messageEntryId(uid, 3, 4));
    EXPECT_EQ(a.messages()[3]->entryId(), messageEntryId(uid, 3, 5));
    EXPECT_EQ(aa.messages().at(0)->entryId(), messageEntryId(uid, 4, 6));
    EXPECT_EQ(b.messages().at(0)->entryId(), messageEntryId(uid, 5, 7));
}

TEST(MailboxTest, FindsAnObjectByAllItsIds)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const Store& store = *mailbox->stores().at(1);
    const StoreUid uid = storeUid(2);
    const std::shared_ptr<MailboxObject> a1 = store.ipmSubtree()->folders().at(0)->messages().at(0);
    const std::shared_ptr<MailboxObject> a2 = store.ipmSubtree()->folders().at(0)->messages().at(1);
    const std::shared_ptr<MailboxObject> b = store.ipmSubtree()->folders().at(1);

    EXPECT_EQ(mailbox->find(messageEntryId(uid, 3, 2)), a1);
    EXPECT_EQ(mailbox->find(shortTermMessageId(uid, 2)), a1);
    EXPECT_EQ(mailbox->find({0, 0, 0, 0, 0x42}), a2);
    EXPECT_EQ(mailbox->find(shortTermMessageId(uid, 3)), a2);
    EXPECT_EQ(mailbox->find(folderEntryId(uid, 5)), b);
    EXPECT_EQ(mailbox->find(shortTermFolderId(uid, 5)), b);
    EXPECT_EQ(mailbox->find({0x80, 0, 0, 0, 1}), b);
    EXPECT_EQ(mailbox->find(store.entryId()), mailbox->stores().at(1));
}

TEST(MailboxTest, FindsNothingByOtherIds)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const StoreUid uid = storeUid(2);
    EXPECT_EQ(mailbox->find({}), nullptr);
    EXPECT_EQ(mailbox->find(messageEntryId(uid, 4, 2)), nullptr);         // another folder's
    EXPECT_EQ(mailbox->find(messageEntryId(uid, 3, 3)), nullptr);         // has an explicit one
    EXPECT_EQ(mailbox->find(messageEntryId(uid, 3, 99)), nullptr);        // no such message
    EXPECT_EQ(mailbox->find(messageEntryId(storeUid(3), 3, 2)), nullptr); // no such store
    EXPECT_EQ(mailbox->find(messageEntryId(storeUid(0), 3, 2)), nullptr);
    EXPECT_EQ(mailbox->find(folderEntryId(uid, 7)), nullptr);
}

TEST(MailboxTest, TellsShortTermIdsInTheRowOnly)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const Message& b1 = *mailbox->stores().at(1)->ipmSubtree()->folders().at(1)->messages().at(0);
    EXPECT_EQ(std::get<Bytes>(b1.property(PROP_ID(PR_ENTRYID))->value), b1.entryId());
    EXPECT_EQ(std::get<Bytes>(b1.rowProperty(PROP_ID(PR_ENTRYID))->value), b1.shortTermId());
}

TEST(MailboxTest, TellsTheParentsOfFoldersAndMessages)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const Store& store = *mailbox->stores().at(1);
    const auto parentOf = [](const MailboxObject& object)
    {
        return std::get<Bytes>(object.property(PROP_ID(PR_PARENT_ENTRYID))->value);
    };
    const Folder& a = *store.ipmSubtree()->folders().at(0);
    EXPECT_EQ(parentOf(*store.root()), store.root()->entryId());
    EXPECT_EQ(parentOf(*store.ipmSubtree()), store.root()->entryId());
    EXPECT_EQ(parentOf(a), store.ipmSubtree()->entryId());
    EXPECT_EQ(parentOf(*a.messages().at(0)), a.entryId());
}

TEST(MailboxTest, MapsNamesToOtherIdentifiersInEachStore)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(s_twoStores);
    const ULONG one = mailbox->stores().at(0)->names().findOrCreate(addressProperty(0x8083)).value();
    const ULONG two = mailbox->stores().at(1)->names().findOrCreate(addressProperty(0x8083)).value();
    EXPECT_NE(one, two);
    EXPECT_GE(one, 0x8000u);
    EXPECT_GE(two, 0x8000u);
    EXPECT_NE(one, 0x8083u);
    EXPECT_NE(two, 0x8083u);
}

TEST(MailboxTest, ListsTheTagsOfWhatThereIs)
{
    const std::shared_ptr<Mailbox> mailbox = readMailbox(
        R"({"stores":[{"name":"S","folders":[{"name":"F","properties":{"PR_COMMENT":"c","PR_SUBFOLDERS":null}},
            {"name":"G","class":"IPF.Contact","hidden":false}]}]})");
    const auto& folders = mailbox->stores().at(0)->ipmSubtree()->folders();
    EXPECT_THAT(folders.at(0)->tags(), IsSupersetOf({PR_ENTRYID, PR_OBJECT_TYPE, PR_DISPLAY_NAME_W, PR_COMMENT_W,
                                                     PR_PARENT_ENTRYID, PR_STORE_ENTRYID}));
    for (const ULONG absent : {PR_SUBFOLDERS, PR_CONTAINER_CLASS_W, PR_ATTR_HIDDEN})
        EXPECT_THAT(folders.at(0)->tags(), Not(Contains(absent)));
    EXPECT_THAT(folders.at(1)->tags(), IsSupersetOf({PR_CONTAINER_CLASS_W, PR_ATTR_HIDDEN, PR_SUBFOLDERS}));
}

TEST(MailboxTest, TellsWhatKindOfStoreItIs)
{
    const std::shared_ptr<Mailbox> mailbox =
        readMailbox(R"({"stores":[{"name":"A","default":true},{"name":"B"},{"name":"C","public":true}]})");
    const auto providerOf = [&](std::size_t store)
    {
        return std::get<Bytes>(mailbox->stores().at(store)->property(PROP_ID(PR_MDB_PROVIDER))->value);
    };
    EXPECT_EQ(toHex(providerOf(0)), "5494A1C0297F101BA58708002B2A2517");
    EXPECT_EQ(toHex(providerOf(1)), "9EB4770074E411CE8C5E00AA004254E2");
    EXPECT_EQ(toHex(providerOf(2)), "78B2FA70AFF711CD9BC800AA002FC45A");
    EXPECT_TRUE(std::get<bool>(mailbox->stores().at(0)->property(PROP_ID(PR_DEFAULT_STORE))->value));
    EXPECT_FALSE(std::get<bool>(mailbox->stores().at(1)->property(PROP_ID(PR_DEFAULT_STORE))->value));
}

// ---- Generated contacts --------------------------------------------------------------------------------------------

namespace
{
struct Generated
{
    explicit Generated(std::uint32_t seed)
        : mailbox(readMailbox(R"({"stores":[{"name":"S","ipmSubtree":{"generate":{"contacts":1000,"seed":)" +
                              std::to_string(seed) + "}}}]}"))
    {
    }

    [[nodiscard]] const Message& at(std::size_t index) const
    {
        return *mailbox->stores().at(0)->ipmSubtree()->messages().at(index);
    }
    [[nodiscard]] std::wstring text(std::size_t index, ULONG tag) const { return textOf(at(index), tag); }
    [[nodiscard]] std::wstring named(std::size_t index, LONG number) const
    {
        const NameMapping& names = mailbox->stores().at(0)->names();
        return text(index, PROP_TAG(PT_UNICODE, names.find(addressProperty(number)).value()));
    }

    std::shared_ptr<Mailbox> mailbox;
};
} // namespace

TEST(ContactGeneratorTest, MakesTheDocumentedContacts)
{
    const Generated contacts(7);
    // i = 0: given name 7, surname 7
    EXPECT_EQ(contacts.text(0, PR_DISPLAY_NAME_W), L"\u6625\u5B50 Horv\u00E1th 000001");
    EXPECT_EQ(contacts.text(0, PR_GIVEN_NAME_W), L"\u6625\u5B50");
    EXPECT_EQ(contacts.text(0, PR_SURNAME_W), L"Horv\u00E1th");
    EXPECT_EQ(contacts.text(0, PR_MIDDLE_NAME_W), L"(none)");
    EXPECT_EQ(contacts.text(0, PR_COMPANY_NAME_W), L"Example Trading 0");
    EXPECT_EQ(contacts.named(0, PidLidEmail1AddressType), L"SMTP");
    EXPECT_EQ(contacts.named(0, PidLidEmail1EmailAddress), L"contact-000001-7@example.com");
    EXPECT_EQ(contacts.text(0, PR_BUSINESS_TELEPHONE_NUMBER_W), L"+44 1632 960000");
    EXPECT_EQ(contacts.text(0, PR_MOBILE_TELEPHONE_NUMBER_W), L"+44 7700 900007");
    EXPECT_EQ(contacts.text(0, PR_HOME_TELEPHONE_NUMBER_W), L"+44 1632 960500");
    EXPECT_EQ(contacts.text(0, PR_BUSINESS_FAX_NUMBER_W), L"+44 1632 960250");
    EXPECT_EQ(contacts.text(0, PR_MESSAGE_CLASS_W), L"IPM.Contact");

    // i = 999: given name (999 + 7) mod 16 = 14, surname (62 + 7) mod 16 = 5
    EXPECT_EQ(contacts.text(999, PR_DISPLAY_NAME_W), L"\u00D8ystein Fontaine 001000");
    EXPECT_EQ(contacts.text(999, PR_MIDDLE_NAME_W), L"Q.");
    EXPECT_EQ(contacts.text(999, PR_COMPANY_NAME_W), L"Example Trading 29");
    EXPECT_EQ(contacts.named(999, PidLidEmail1AddressType), L"(none)");
    EXPECT_EQ(contacts.named(999, PidLidEmail1EmailAddress), L"(none)");
    EXPECT_EQ(contacts.text(999, PR_BUSINESS_TELEPHONE_NUMBER_W), L"+44 1632 960999");
    EXPECT_EQ(contacts.text(999, PR_MOBILE_TELEPHONE_NUMBER_W), L"+44 7700 900006");
    EXPECT_EQ(contacts.text(999, PR_HOME_TELEPHONE_NUMBER_W), L"(none)");
    EXPECT_EQ(contacts.text(999, PR_BUSINESS_FAX_NUMBER_W), L"(none)");
}

TEST(ContactGeneratorTest, TakesEachNameInItsTurn)
{
    const Generated contacts(0);
    const wchar_t* const givenNames[] = {L"Ada",
                                         L"Bj\u00F6rn",
                                         L"Chlo\u00E9",
                                         L"\u0414\u0430\u0440\u044C\u044F",
                                         L"Eleni",
                                         L"Farid",
                                         L"\u0393\u03B9\u03CE\u03C1\u03B3\u03BF\u03C2",
                                         L"\u6625\u5B50",
                                         L"\u0130pek",
                                         L"Jo\u00E3o",
                                         L"Katarzyna",
                                         L"\u0141ukasz",
                                         L"Mei",
                                         L"Noor",
                                         L"\u00D8ystein",
                                         L"\uC18C\uC5F0"};
    const wchar_t* const surnames[] = {L"Abara",       L"Brand\u00E3o", L"\u010Capek", L"D\u00EDaz",
                                       L"Eriksen",     L"Fontaine",     L"Gr\u00FCn",  L"Horv\u00E1th",
                                       L"Ivanova",     L"\uAE40",       L"Kova\u010D", L"L\u00F3pez",
                                       L"M\u00FCller", L"Nguy\u1EC5n",  L"O'Shea",     L"Papadakis"};
    for (std::size_t index = 0; index < 16; ++index)
    {
        EXPECT_EQ(contacts.text(index, PR_GIVEN_NAME_W), givenNames[index]);
        EXPECT_EQ(contacts.text(index, PR_SURNAME_W), surnames[0]);
        EXPECT_EQ(contacts.text(index * 16, PR_SURNAME_W), surnames[index]);
    }
}

TEST(ContactGeneratorTest, ListsOnlyWhatTheContactHas)
{
    const Generated contacts(0);
    EXPECT_THAT(contacts.at(0).tags(), Contains(PR_BUSINESS_FAX_NUMBER_W));
    EXPECT_THAT(contacts.at(1).tags(), Not(Contains(PR_BUSINESS_FAX_NUMBER_W)));
    EXPECT_THAT(contacts.at(1).tags(), Contains(PR_DISPLAY_NAME_W));
}

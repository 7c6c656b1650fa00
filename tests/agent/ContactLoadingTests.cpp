// What end to end doesn't show of the reading of a folder: calls without a folder, and rows that are malformed.
#include "agent/ContactLoading.h"

#include "tests/agent/AgentTest.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

class ContactLoadingTest : public tests::AgentTest
{
};

TEST_F(ContactLoadingTest, LogsTwiceWhenThereIsNoFolderToOpenAContactFrom)
{
    EXPECT_EQ(openContact({}, {0x0B}).GetInterfacePtr(), nullptr);
    EXPECT_THAT(log(), ElementsAre("HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057"
                                   "(container is not specified)",
                                   "Cannot open contact: hr = 80070057"));
}

TEST_F(ContactLoadingTest, CollectsNothingWithoutAFolder)
{
    EXPECT_THAT(collectContactItems({}), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ContactLoadingTest, SkipsRowsWhoseIdentifierComesUnderAnotherTag)
{
    logon(R"({"stores": [{"name": "Mailbox", "folders": [{"name": "Contacts", "class": "IPF.Contact",
        "entryId": "00000000C1", "messages": [
            {"displayName": "Ada", "entryId": "00000000A1",
             "row": {"PR_ENTRYID": {"answersAs": "0x0FF60102", "value": "00000000A1"}}},
            {"displayName": "Bea", "entryId": "00000000B1"}]}]}]})");
    EXPECT_THAT(tests::textsOf(collectContactItems(find(openStore(), {L"Contacts"}))),
                ElementsAre(L"Bea;;;;;;;;;;00000000B1;00000000C1"));
}
} // namespace

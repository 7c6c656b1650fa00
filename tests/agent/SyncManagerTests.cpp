// What end to end doesn't show of the manager: which watchers it holds when, and messages of items as no watcher makes them.
#include "agent/SyncManager.h"

#include <optional>

#include "tests/agent/AgentTest.h"
#include "tests/agent/RecordingManager.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

SyncItem contact(const std::wstring& text)
{
    SyncItem made(EntryId(), false);
    made.text = text;
    return made;
}

class SyncManagerTest : public tests::AgentTest
{
protected:
    void logonToThreeStores()
    {
        logon(R"({"stores": [{"name": "A", "entryId": "00000000A0"}, {"name": "B", "entryId": "00000000B0"},
                             {"name": "C", "entryId": "00000000C0"}]})");
    }

    [[nodiscard]] std::vector<std::wstring> names() const
    {
        std::vector<std::wstring> all;
        for (const auto& watcher : m_manager->watchers())
            all.push_back(watcher->displayName());
        return all;
    }

    std::optional<tests::RecordingManager> m_manager{std::in_place};
};

// ---- Watchers ------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, DoesNothingWithoutWatchers)
{
    EXPECT_THAT(names(), IsEmpty());
    m_manager->createSnapshot();
    EXPECT_THAT(m_manager->m_messages, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(SyncManagerTest, ThrowsWithoutASession)
{
    EXPECT_EQ(thrown([this] { m_manager->createWatchers(); }),
              L"MAPI session is not active (mapi::Session::enumerateStores in MapiSession.cpp, line N)");
}

TEST_F(SyncManagerTest, ReplacesItsWatchersWhenNewOnesCanBeMade)
{
    logonToThreeStores();
    m_manager->createWatchers();
    planResult("IMAPISession::OpenMsgStore", "0x80070005");
    m_manager->createWatchers();
    EXPECT_THAT(names(), ElementsAre(L"B", L"C"));
    planResult("IMAPISession::GetMsgStoresTable", "0x80070005");
    EXPECT_NE(thrown([this] { m_manager->createWatchers(); }), L"");
    EXPECT_THAT(names(), ElementsAre(L"B", L"C"));
}

TEST_F(SyncManagerTest, ReleasesItsWatchersFirstToLast)
{
    logonToThreeStores();
    m_manager->createWatchers();
    for (const auto& watcher : m_manager->watchers())
        watcher->subscribe([](const Changes&) {});
    sandbox().startJournal();
    m_manager.reset();
    std::vector<std::string> stores;
    for (const tests::Json& call : sandbox().takeJournal())
        stores.push_back(call.at("on"));
    EXPECT_THAT(stores, ElementsAre("00000000A0", "00000000B0", "00000000C0"));
}

// ---- Messages ------------------------------------------------------------------------------------------------------

TEST_F(SyncManagerTest, SendsNothingForNoChanges)
{
    m_manager->sendChanges({});
    EXPECT_THAT(m_manager->m_messages, IsEmpty());
}

TEST_F(SyncManagerTest, TakesTheKindFromTheFirstItemAlone)
{
    Changes changes;
    changes.deletedFolders = {SyncItem({0x0F}, true), contact(L"contact")};
    changes.added = {contact(L"contact"), SyncItem({0x0F}, true)};
    m_manager->sendChanges(changes);
    EXPECT_THAT(m_manager->m_messages,
                ElementsAre(L"2;delete;folder;0;1\n0F\ncontact", L"2;add;contact;0;1\ncontact\n0F"));
}
} // namespace

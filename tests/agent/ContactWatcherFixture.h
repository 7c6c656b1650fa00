// ContactWatcherFixture.h: a watcher over a small mailbox of mocks, and the notifications that it gets.
//
//     Beginning 0F, its own parent
//       Top 01, the root of what users see
//         Contacts 02, Team 03: contact folders, which the watcher knows once it has subscribed
//         Notes 04: a folder of another class
//       Outside 05: beside what users see
//
// Anna (000A) and Ola (000B) are contacts; in which folder, only the notifications say.
#pragma once

#include "agent/ContactWatcher.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/agent/MailboxMocks.h"
#include "tests/support/MapiTest.h"

namespace tests
{
/// One notification, as a store would send it.
struct Event
{
    ULONG type = 0;
    ULONG objectType = MAPI_MESSAGE;
    EntryId id = {};
    EntryId parent = {};
    EntryId oldId = {};
    EntryId oldParent = {};
};

/// What a folder tells of itself.
[[nodiscard]] Properties folderProperties(const std::wstring& name, const EntryId& parent, Properties more);

class ContactWatcherFixture : public support::MapiTest
{
protected:
    ContactWatcherFixture();
    ~ContactWatcherFixture() override;

    /// Expects one Advise, which gives the number and the result and keeps the sink, and one Unadvise for it.
    void expectAdvise(ULONG_PTR connection = 7, HRESULT result = S_OK);
    /// Subscribes the watcher; what has been logged and called until then counts no more.
    void subscribe();

    /// Hands a batch to the sink that the store was advised with. It must answer 0.
    void notify(std::vector<Event> events);

    /// What has been logged since `subscribe`.
    [[nodiscard]] std::vector<std::string> lines() const;
    /// What the callback got in its only call; fails the test when there was not exactly one.
    [[nodiscard]] Changes onlyBatch() const;

    /// The line of a notification.
    [[nodiscard]] static std::string logged(ULONG eventType, const std::string& name, ULONG objectType,
                                            const EntryId& id);
    /// What is logged in its place of an object that can't be opened: that, and the line.
    [[nodiscard]] static std::vector<std::string> loggedGone(ULONG eventType, ULONG objectType, const EntryId& id);
    /// What is logged of a parent that lies below Top, or not.
    [[nodiscard]] static std::vector<std::string> loggedPlace(const std::string& parent, bool below);

    FolderMock m_beginning{{0x0F}, folderProperties(L"Beginning", {0x0F}, {})};
    FolderMock m_contacts{{0x02}, folderProperties(L"Contacts", {0x01}, contactFolder())};
    FolderMock m_team{{0x03}, folderProperties(L"Team", {0x01}, contactFolder())};
    FolderMock m_notes{{0x04}, folderProperties(L"Notes", {0x01}, otherFolder())};
    FolderMock m_outside{{0x05}, folderProperties(L"Outside", {0x0F}, otherFolder())};
    FolderMock m_top{{0x01}, folderProperties(L"Top", {0x0F}, otherFolder()), {}, {&m_contacts, &m_team, &m_notes}};
    ContactMock m_anna{{0x00, 0x0A}, L"Anna"};
    ContactMock m_ola{{0x00, 0x0B}, L"Ola"};
    StoreMock m_store{{0x99}, m_top};
    SessionMock m_session;

    /// What the store opens by identifier, and the results that are not S_OK. A warning comes with its object.
    std::map<EntryId, IUnknown*> m_objects;
    std::map<EntryId, HRESULT> m_openResults;
    std::vector<std::pair<EntryId, EntryId>> m_aliases; // the same object to MAPI
    HRESULT m_compareResult = S_OK;
    std::function<void()> m_whenUnadvised;

    /// The calls of the store and the session, such as "open prop 000A", "open folder 02", "compare 03 02".
    std::vector<std::string> m_calls;
    std::vector<Changes> m_batches; // what the callback got
    IMAPIAdviseSinkPtr m_sink;      // what the store was advised with
    std::unique_ptr<ContactWatcher> m_watcher;

private:
    HRESULT open(const EntryId& id, const IID& iid, IUnknown** object);
    HRESULT compare(const EntryId& first, const EntryId& second, ULONG* result);

    std::size_t m_linesBefore = 0;
};

/// The texts of items.
[[nodiscard]] std::vector<std::wstring> textsOf(const std::vector<SyncItem>& items);

/// The lines one after the other.
[[nodiscard]] std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts);
} // namespace tests

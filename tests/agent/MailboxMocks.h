// MailboxMocks.h: a small mailbox made of mocks: a session, its stores, their folders and the contacts in them.
//
// Every object answers the calls by which it is read, any number of times. Calls that a test expects later on take
// precedence, so a test says only what is to differ. A fault that is planned for TestRuntime::Call::Interface is met by
// whichever of them is called next. Objects are borrowed by those that hold them.
#pragma once

#include "mapiabi/MapiTags.h"

#include <string>
#include <utility>
#include <vector>

#include "agent/mapi/EntryId.h"
#include "tests/support/MapiMocks.h"
#include "tests/support/MapiValues.h"

namespace tests
{
using support::Mocked;
using support::MockFolder;
using support::MockMsgStore;
using support::MockProp;
using support::MockSession;
using support::MockTable;
using support::Properties;
using support::Property;

/// What OpenEntry finds by identifier; MAPI_E_NOT_FOUND for any other.
using Objects = std::vector<std::pair<EntryId, IUnknown*>>;
[[nodiscard]] HRESULT openObject(const Objects& objects, ULONG size, const ENTRYID* bytes, IUnknown** object);

/// A contact's message. The named properties of its first e-mail slot are 0x8101, 0x8102 and 0x8103.
struct ContactMock
{
    ContactMock(EntryId entryId, const Properties& properties);
    /// One with nothing but a display name and its identifier.
    ContactMock(EntryId entryId, const std::wstring& name);

    const EntryId id;
    const Mocked<MockProp> message;
};

/// A folder with its two tables. Whatever restriction is put on the table of subfolders, all are there; FindRow finds.
struct FolderMock
{
    /// @param properties  a container class for example, or nothing.
    FolderMock(EntryId entryId, const Properties& properties, const std::vector<ContactMock*>& contacts = {},
               const std::vector<FolderMock*>& subfolders = {});

    const EntryId id;
    const Mocked<MockFolder> folder;
    const Mocked<MockTable> contents;
    const Mocked<MockTable> hierarchy;
};

[[nodiscard]] Properties contactFolder();
[[nodiscard]] Properties otherFolder();

/// A store with the root of what users see.
struct StoreMock
{
    StoreMock(EntryId entryId, FolderMock& ipmSubtree, bool isPublic = false);

    const EntryId id;
    const Mocked<MockMsgStore> store;
};

/// A row of the message stores table.
struct StoreRow
{
    StoreMock* store; // null: it can't be opened
    Properties values;
};
/// A row with all values that the table has of a store; in it the store is not public.
[[nodiscard]] StoreRow storeRow(StoreMock& store, const std::wstring& name, bool isDefault = false);

/// A session with these stores. Logs off, and has no fast shutdown.
struct SessionMock
{
    explicit SessionMock(const std::vector<StoreRow>& rows = {});

    const Mocked<MockTable> stores;
    const Mocked<MockSession> session;
};

inline const EntryId publicProvider = {0x78, 0xB2, 0xFA, 0x70, 0xAF, 0xF7, 0x11, 0xCD,
                                       0x9B, 0xC8, 0x00, 0xAA, 0x00, 0x2F, 0xC4, 0x5A};
} // namespace tests

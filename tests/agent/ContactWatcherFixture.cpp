#include "tests/agent/ContactWatcherFixture.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "agent/EntryIdHash.h"
#include "utilities/HexString.h"

namespace tests
{
using testing::_;
using testing::AnyNumber;

namespace
{
std::string hexOf(const EntryId& id)
{
    const std::wstring hex = toHexString(id);
    return {hex.begin(), hex.end()};
}

std::string hexOf(std::uint64_t number)
{
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

ENTRYID* entryId(const EntryId& id)
{
    return mapi::entryIdBytes(id);
}

/// The notification, with the identifiers in the event.
NOTIFICATION toNotification(const Event& event)
{
    NOTIFICATION notification{};
    notification.ulEventType = event.type;
    notification.info.obj = {mapi::entryIdSize(event.id),
                             entryId(event.id),
                             event.objectType,
                             mapi::entryIdSize(event.parent),
                             entryId(event.parent),
                             mapi::entryIdSize(event.oldId),
                             entryId(event.oldId),
                             mapi::entryIdSize(event.oldParent),
                             entryId(event.oldParent),
                             nullptr};
    return notification;
}
} // namespace

Properties folderProperties(const std::wstring& name, const EntryId& parent, Properties more)
{
    more.push_back(Property::text(PR_DISPLAY_NAME_W, name));
    more.push_back(Property::bytes(PR_PARENT_ENTRYID, parent));
    more.push_back(Property::bytes(PR_STORE_ENTRYID, {0x99}));
    more.push_back(Property::number(PR_OBJECT_TYPE, MAPI_FOLDER));
    return more;
}

ContactWatcherFixture::ContactWatcherFixture()
{
    for (const FolderMock* const folder : {&m_beginning, &m_top, &m_contacts, &m_team, &m_notes, &m_outside})
        m_objects[folder->id] = folder->folder.get();
    for (const ContactMock* const contact : {&m_anna, &m_ola})
        m_objects[contact->id] = contact->message.get();

    support::giveProperties(m_store.store, {Property::bytes(PR_MDB_PROVIDER, EntryId(16, 0x11)),
                                            Property::bytes(PR_IPM_SUBTREE_ENTRYID, m_top.id),
                                            Property::bytes(PR_ENTRYID, m_store.id)});
    EXPECT_CALL(*m_store.store, OpenEntry(_, _, _, 0, _, _))
        .Times(AnyNumber())
        .WillRepeatedly([this](ULONG size, ENTRYID* bytes, const IID* iid, ULONG, ULONG*, IUnknown** object)
                        { return open(mapi::makeEntryId(size, bytes), *iid, object); });
    EXPECT_CALL(*m_session.session, CompareEntryIDs(_, _, _, _, 0, _))
        .Times(AnyNumber())
        .WillRepeatedly(
            [this](ULONG size1, ENTRYID* bytes1, ULONG size2, ENTRYID* bytes2, ULONG, ULONG* result)
            { return compare(mapi::makeEntryId(size1, bytes1), mapi::makeEntryId(size2, bytes2), result); });
    mapi::Session::s_session = m_session.session.pointer();
    m_watcher = std::make_unique<ContactWatcher>(mapi::MessageStore(m_store.store.pointer()), L"Mailbox");
}

ContactWatcherFixture::~ContactWatcherFixture()
{
    m_watcher.reset();
    mapi::Session::s_session = nullptr;
    EXPECT_EQ(m_store.store->references(), 1);
    for (const FolderMock* const folder : {&m_beginning, &m_top, &m_contacts, &m_team, &m_notes, &m_outside})
        EXPECT_EQ(folder->folder->references(), 1);
    EXPECT_EQ(m_anna.message->references(), 1);
    EXPECT_EQ(m_ola.message->references(), 1);
    EXPECT_THAT(m_runtime.liveBlocks(), testing::IsEmpty());
}

void ContactWatcherFixture::expectAdvise(ULONG_PTR connection, HRESULT result)
{
    EXPECT_CALL(*m_store.store, Advise(0, nullptr, 0xFC, _, _))
        .WillOnce(
            [this, connection, result](ULONG, ENTRYID*, ULONG, IMAPIAdviseSink* sink, ULONG_PTR* number)
            {
                m_runtime.note("Advise");
                m_sink = sink;
                *number = connection;
                return result;
            });
    if (result >= 0 && connection != 0)
        EXPECT_CALL(*m_store.store, Unadvise(connection))
            .WillOnce(
                [this](ULONG_PTR)
                {
                    if (m_whenUnadvised)
                        m_whenUnadvised();
                    return S_OK;
                });
}

void ContactWatcherFixture::subscribe()
{
    expectAdvise();
    m_watcher->subscribe([this](const Changes& changes) { m_batches.push_back(changes); });
    m_linesBefore = log().size();
    m_calls.clear();
    m_runtime.clearCalls();
}

void ContactWatcherFixture::notify(std::vector<Event> events)
{
    std::vector<NOTIFICATION> notifications;
    for (const Event& event : events)
        notifications.push_back(toNotification(event));
    EXPECT_EQ(m_sink->OnNotify(static_cast<ULONG>(notifications.size()), notifications.data()), 0u);
}

std::vector<std::string> ContactWatcherFixture::lines() const
{
    auto all = log();
    all.erase(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(m_linesBefore));
    return all;
}

Changes ContactWatcherFixture::onlyBatch() const
{
    EXPECT_EQ(m_batches.size(), 1u);
    return m_batches.size() == 1 ? m_batches.front() : Changes();
}

std::string ContactWatcherFixture::logged(ULONG eventType, const std::string& name, ULONG objectType, const EntryId& id)
{
    return "Notification " + hexOf(std::uint64_t{eventType}) + " for " + name + " of type " +
           hexOf(std::uint64_t{objectType}) + ", EntryId hash = " + hexOf(EntryIdHash()(toHexString(id))) + " (" +
           hexOf(id) + ")";
}

std::vector<std::string> ContactWatcherFixture::loggedGone(ULONG eventType, ULONG objectType, const EntryId& id)
{
    return {"HRESULT logged: `anonymous-namespace'::logNotification, line N: hr = 0x8004010f",
            logged(eventType, "(cannot resolve)", objectType, id)};
}

std::vector<std::string> ContactWatcherFixture::loggedPlace(const std::string& parent, bool below)
{
    const std::string function = "mapi::MessageStore::testHierarchy: ";
    return {function + "Analyze relations of root folder Top and  " + parent,
            function + "Object " + parent + (below ? " is a " : " is not a ") + "successor of specified root Top"};
}

HRESULT ContactWatcherFixture::open(const EntryId& id, const IID& iid, IUnknown** object)
{
    m_calls.push_back(std::string("open ") + (iid == IID_IMAPIFolder ? "folder " : "prop ") + hexOf(id));
    EXPECT_TRUE(iid == IID_IMAPIFolder || iid == IID_IMAPIProp);
    const auto planned = m_openResults.find(id);
    const HRESULT result = planned != m_openResults.end() ? planned->second : S_OK;
    if (result < 0)
        return result;
    const auto found = m_objects.find(id);
    if (found == m_objects.end())
        return MAPI_E_NOT_FOUND;
    if (found->second != nullptr)
        found->second->AddRef();
    *object = found->second;
    return result;
}

HRESULT ContactWatcherFixture::compare(const EntryId& first, const EntryId& second, ULONG* result)
{
    m_calls.push_back("compare " + hexOf(first) + " " + hexOf(second));
    const auto isPair = [&](const auto& pair)
    {
        return pair == std::pair(first, second) || pair == std::pair(second, first);
    };
    *result = first == second || std::ranges::any_of(m_aliases, isPair) ? 1 : 0;
    return m_compareResult;
}

std::vector<std::wstring> textsOf(const std::vector<SyncItem>& items)
{
    std::vector<std::wstring> texts;
    for (const SyncItem& item : items)
        texts.push_back(item.text);
    return texts;
}

std::vector<std::string> joined(std::initializer_list<std::vector<std::string>> parts)
{
    std::vector<std::string> all;
    for (const std::vector<std::string>& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}
} // namespace tests

// Failures while a watcher handles a batch: what is lost, what is logged, and what the next batch finds.
#include <stdexcept>

#include "tests/agent/ContactWatcherFixture.h"

namespace
{
using namespace support;
using namespace tests;
using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Return;
using testing::SizeIs;

const EntryId known = {0x02};
const std::string caught = "An exception has been caught in AdviseSinkImpl::OnNotify : ";

class ContactWatcherFailureTest : public ContactWatcherFixture
{
protected:
    ContactWatcherFailureTest() { subscribe(); }

    /// A batch in which something stands before the event and behind it.
    void notifyAround(const Event& event)
    {
        notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known},
                event,
                {.type = fnevObjectDeleted, .id = {0x00, 0x02}, .parent = known}});
    }
    /// The batch has ended with this failure, as the last thing in the log; the next one is handled.
    void expectBatchLost(const std::string& failure)
    {
        EXPECT_THAT(m_batches, IsEmpty());
        EXPECT_EQ(log().back(), caught + failure);
        EXPECT_THAT(log(), Not(Contains(loggedGone(fnevObjectDeleted, 5, {0x00, 0x02}).back())));
        EXPECT_THAT(log(), Contains(loggedGone(fnevObjectDeleted, 5, {0x00, 0x01}).back()));
        EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
        expectNextBatchHandled();
    }
    void expectNextBatchHandled()
    {
        m_batches.clear();
        notify({{.type = fnevObjectDeleted, .id = {0x00, 0x03}, .parent = known}});
        EXPECT_THAT(textsOf(onlyBatch().deleted), ElementsAre(L";;;;;;;;;;0003;"));
    }
    /// From now on the contact can be named, and not loaded.
    static void failToLoad(const ContactMock& contact)
    {
        const auto several = testing::Pointee(testing::Field(&SPropTagArray::cValues, testing::Gt(1u)));
        EXPECT_CALL(*contact.message, GetProps(several, _, _, _)).WillRepeatedly(Return(MAPI_E_CALL_FAILED));
    }
};

// ---- Failures of the system's own kind -----------------------------------------------------------------------------

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenAContactCannotBeLoaded)
{
    failToLoad(m_anna);
    const std::string failure = "OutlookContact::load, line N: hr = 0x80004005(MAPI call failed)";
    for (const ULONG type : {fnevObjectCreated, fnevObjectModified})
    {
        notifyAround({.type = type, .id = m_anna.id, .parent = known});
        expectBatchLost(failure);
        m_batches.clear();
    }
    notifyAround({.type = fnevObjectModified, .id = m_anna.id, .parent = known, .oldId = {0x00, 0x0C}});
    expectBatchLost(failure);
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenAnObjectCannotBeNamed)
{
    EXPECT_CALL(*m_anna.message, GetPropList(_, _)).WillOnce(Return(MAPI_E_NO_ACCESS)).RetiresOnSaturation();
    notifyAround({.type = fnevObjectCreated, .id = m_anna.id, .parent = known});
    expectBatchLost("mapi::hasProperty, line N: hr = 0x80070005(MAPI call failed)");
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenTheWalkFails)
{
    EXPECT_CALL(*m_top.hierarchy, Restrict(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX)).RetiresOnSaturation();
    notifyAround({.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = known});
    expectBatchLost("mapi::getSubfolders, line N: hr = 0x80040117(MAPI call failed)");
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenTheRootCannotBeOpened)
{
    m_openResults[m_top.id] = MAPI_E_NOT_FOUND;
    const std::string failure = "mapi::openEntry, line N: hr = 0x8004010f(MAPI call failed)";
    notifyAround({.type = fnevObjectCreated, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = {0x04}});
    expectBatchLost(failure); // the question about the parent
    m_batches.clear();
    notifyAround({.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = known});
    expectBatchLost(failure); // the walk
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenAFolderOfTheWalkHasNoIdentifier)
{
    giveProperties(m_notes.folder, otherFolder());
    giveRows(m_top.hierarchy, {{Property::bytes(PR_ENTRYID, {0x04}), Property::text(PR_DISPLAY_NAME_W, L"Notes"),
                                Property::number(PR_OBJECT_TYPE, MAPI_FOLDER)}});
    notifyAround({.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = known});
    expectBatchLost("mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)"); // and no folder is forgotten
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenTheWalkIsCancelled)
{
    utilities::requestStop();
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known},
            {.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = known}});
    EXPECT_EQ(log().back(), caught + "mapi::traverseFolders: cancelled by request");
    EXPECT_THAT(m_batches, IsEmpty());
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWithoutASession)
{
    mapi::Session::s_session = nullptr;
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known}});
    EXPECT_THAT(lines(), ElementsAre(caught + "condition \"s_session\" failed (mapi::Session::isSameObject in "
                                              "MapiSession.cpp, line N)"));
    mapi::Session::s_session = m_session.session.pointer();
    expectNextBatchHandled();
}

TEST_F(ContactWatcherFailureTest, LosesTheBatchWhenANewFolderIsNoFolder)
{
    m_objects[{0x06}] = m_anna.message.get(); // says E_NOINTERFACE when it is asked for a folder
    notifyAround({.type = fnevObjectCreated, .objectType = MAPI_FOLDER, .id = {0x06}, .parent = known});
    expectBatchLost("condition \"folder\" failed (mapi::maybeContactFolder in MapiUtilities.cpp, line N)");
}

TEST_F(ContactWatcherFailureTest, LosesTheContactsOfANewFolderThatCannotBeRegistered)
{
    auto properties = contactFolder(); // no identifier
    properties.push_back(Property::text(PR_DISPLAY_NAME_W, L"New"));
    const FolderMock created({0x06}, {}, {&m_anna});
    giveProperties(created.folder, properties);
    m_objects[created.id] = created.folder.get();
    notifyAround({.type = fnevObjectCreated, .objectType = MAPI_FOLDER, .id = created.id, .parent = known});
    expectBatchLost("mapi::PropValue::read, line N: hr = 0x8004010f(MAPI call failed)");
}

TEST_F(ContactWatcherFailureTest, ReportsWhatTheCallbackThrows)
{
    m_watcher->subscribe(
        [this](const Changes& changes)
        {
            m_batches.push_back(changes);
            if (m_batches.size() == 1)
                throw utilities::exception(L"Unable to send data through ipc channel");
        });
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known}});
    EXPECT_EQ(log().back(), caught + "Unable to send data through ipc channel");
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x02}, .parent = known}});
    ASSERT_THAT(m_batches, SizeIs(2));
    EXPECT_THAT(textsOf(m_batches[1].deleted), ElementsAre(L";;;;;;;;;;0002;")); // and nothing of the first
}

TEST_F(ContactWatcherFailureTest, ForgetsFoldersAlsoWhenTheBatchIsLostLater)
{
    giveRows(m_top.hierarchy, {}); // all folders below the root are gone
    m_watcher->subscribe([](const Changes&) { throw utilities::exception(L"the host is away"); });
    notify({{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = {0x01}}});
    EXPECT_EQ(log().back(), caught + "the host is away");
    const auto before = log().size();
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known}});
    EXPECT_THAT(log(), SizeIs(before)); // no folder is known any more
}

TEST_F(ContactWatcherFailureTest, ForgetsTheFoldersThatItCameToBeforeTheFailure)
{
    // The first known folder is gone; the session goes when the second is about to be looked up.
    giveRows(m_top.hierarchy, {});
    EXPECT_CALL(*m_session.session, CompareEntryIDs(_, _, _, _, 0, _))
        .WillRepeatedly(
            [](ULONG size1, ENTRYID* bytes1, ULONG size2, ENTRYID* bytes2, ULONG, ULONG* result)
            {
                const EntryId first = mapi::makeEntryId(size1, bytes1);
                const EntryId second = mapi::makeEntryId(size2, bytes2);
                *result = first == second ? 1 : 0;
                if (first == EntryId{0x01} && second == EntryId{0x02}) // the look-up of 02 among those present
                    mapi::Session::s_session = nullptr;
                return S_OK;
            });
    notify({{.type = fnevObjectDeleted, .objectType = MAPI_FOLDER, .id = {0x77}, .parent = {0x03}}});
    EXPECT_THAT(log().back(), testing::StartsWith(caught + "condition \"s_session\" failed"));
    EXPECT_THAT(m_batches, IsEmpty());

    mapi::Session::s_session = m_session.session.pointer();
    const auto before = log().size();
    notify({{.type = fnevSearchComplete, .id = m_anna.id, .parent = {0x02}}});
    EXPECT_THAT(log(), SizeIs(before)); // forgotten
    notify({{.type = fnevSearchComplete, .id = m_anna.id, .parent = {0x03}}});
    EXPECT_THAT(log(), SizeIs(before + 1)); // still known
}

TEST_F(ContactWatcherFailureTest, GoesByTheBytesWhenIdentifiersCannotBeCompared)
{
    m_compareResult = MAPI_E_CALL_FAILED;
    m_aliases = {{{0x03}, {0x03, 0x77}}};
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x03}}});
    EXPECT_THAT(textsOf(onlyBatch().deleted), SizeIs(1));
    const std::string notCompared = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80004005";
    EXPECT_EQ(std::ranges::count(lines(), notCompared), 3);
    m_batches.clear();
    notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = {0x03, 0x77}}});
    EXPECT_THAT(m_batches, IsEmpty()); // an alias is not found
    EXPECT_THAT(lines().back(), notCompared);
}

// ---- Other failures ------------------------------------------------------------------------------------------------

TEST_F(ContactWatcherFailureTest, PassesAComErrorOfANewFolder)
{
    FolderMock created({0x06}, folderProperties(L"New", known, contactFolder()), {&m_anna});
    created.folder->answerInterface(IID_IMAPIFolder, E_ACCESSDENIED);
    m_objects[created.id] = created.folder.get();
    const Event event{.type = fnevObjectCreated, .objectType = MAPI_FOLDER, .id = created.id, .parent = known};
    try
    {
        notify({event});
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), E_ACCESSDENIED);
    }
    EXPECT_THAT(lines(), ElementsAre(logged(fnevObjectCreated, "New", MAPI_FOLDER, created.id)));
    EXPECT_THAT(m_batches, IsEmpty());
    EXPECT_EQ(created.folder->references(), 1);
    expectNextBatchHandled();
}

TEST_F(ContactWatcherFailureTest, PassesWhatElseTheCallbackThrows)
{
    m_watcher->subscribe([](const Changes&) { throw std::bad_alloc(); });
    EXPECT_THROW(notify({{.type = fnevObjectDeleted, .id = {0x00, 0x01}, .parent = known}}), std::bad_alloc);
    EXPECT_THAT(log(), Not(Contains(testing::StartsWith(caught))));
}
} // namespace

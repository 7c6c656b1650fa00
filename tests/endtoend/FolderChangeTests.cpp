// What comes of a folder that is added, changed, moved, copied or deleted while the agent runs.
#include "tests/endtoend/LiveTest.h"

namespace endtoend
{
namespace
{
/// The records of the walk of the reconciliation.
Records walk(std::initializer_list<std::string_view> folders)
{
    Records records;
    for (const std::string_view folder : folders)
        records.push_back("subfolder found: " + std::string(folder));
    return records;
}

class FolderChangeTest : public EditTest
{
protected:
    static inline const std::string subtree = folderId(1, ipmSubtree);
    static inline const std::string root = folderId(1, rootFolder);
    static inline const std::string mailId = folderId(1, mail);
    static inline const std::string deepId = folderId(1, deep);
    static inline const std::string outsideId = folderId(1, outside);
    static inline const std::string belowId = folderId(1, below);
    static inline const std::string newId = folderId(1, newFolder);

    static Json add(const std::string& parent, const Json& folder)
    {
        return {{"do", "addFolder"}, {"parent", parent}, {"folder", folder}};
    }
    static Json contactFolder(const std::string& name) { return {{"name", name}, {"class", "IPF.Contact"}}; }
    static Json edit(const std::string& folder, const Json& set)
    {
        return {{"do", "editFolder"}, {"folder", folder}, {"set", set}};
    }
    static Json move(const std::string& folder, const std::string& to)
    {
        return {{"do", "move"}, {"object", folder}, {"to", to}};
    }
    static Json remove(const std::string& folder) { return {{"do", "delete"}, {"object", folder}}; }

    static Notification about(unsigned event, const std::string& id, const std::string& parent,
                              const std::string& oldId = "", const std::string& oldParent = "")
    {
        return {event, folderType, id, parent, oldId, oldParent};
    }
    static std::string logged(unsigned event, std::string_view name, const std::string& id)
    {
        return notified(event, name, id, folderType);
    }

    /// Deletes the folder "Deep", which isn't known: the walk must find these folders, and these must be sent as gone.
    void expectReconciled(std::initializer_list<std::string_view> found, const std::vector<std::string>& gone)
    {
        m_calls.remove(deepId);
        Records log = joined({lies("Mail", true), notifiedUnopened(8, deepId, folderType), walk(found)});
        if (!gone.empty())
            log.push_back(sending("delete", gone, "folder"));
        expect(remove("Mailbox/Mail/Deep"), about(8, deepId, mailId), log);
    }

    /// Adds a contact to this folder; it must be sent, or not.
    void expectWatched(const std::string& folder, bool isWatched)
    {
        const Reaction reaction =
            after({{"do", "addContact"}, {"folder", "#" + folder}, {"contact", {{"displayName", "New"}}}});
        EXPECT_EQ(reaction.messages.size(), isWatched ? 1U : 0U);
        EXPECT_EQ(reaction.log.size(), isWatched ? 2U : 0U);
    }
};

// ---- Created, copied ---------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, WatchesANewContactFolderAndSendsItsContacts)
{
    Json folder = contactFolder("Family");
    folder["messages"] = Json::array({{{"displayName", "Fay"}}, {{"displayName", "Gus"}}});
    m_calls.putContacts(newId, subtree, {messageId(1, newFolder, newMessage), messageId(1, newFolder, newMessage + 1)});
    expect(add("Mailbox", folder), about(4, newId, subtree),
           joined({isIpmSubtree(),
                   {logged(4, "Family", newId)},
                   isIpmSubtree(),
                   {registered("Family"), sending("add", {namedLine("Fay", 1, newFolder, newMessage),
                                                          namedLine("Gus", 1, newFolder, newMessage + 1)})}}));
    expectWatched(newId, true);
}

TEST_F(FolderChangeTest, WatchesANewContactFolderInAKnownFolder)
{
    m_calls.putContacts(newId, known);
    expect(add("Mailbox/Contacts", contactFolder("Work")), about(4, newId, known),
           {logged(4, "Work", newId), registered("Work")});
    expectWatched(newId, true);
}

TEST_F(FolderChangeTest, WatchesANewContactFolderDeepAmongOthers)
{
    m_calls.putContacts(newId, deepId);
    expect(add("Mailbox/Mail/Deep", contactFolder("Buried")), about(4, newId, deepId),
           joined({lies("Deep", true), {logged(4, "Buried", newId)}, lies("Deep", true), {registered("Buried")}}));
    expectWatched(newId, true);
}

TEST_F(FolderChangeTest, OnlyLogsANewFolderThatIsNoContactFolder)
{
    m_calls.put(newId, mailId);
    expect(add("Mailbox/Mail", {{"name", "Drafts"},
                                {"class", "IPF.Note"},
                                {"messages", Json::array({{{"displayName", "Fay"}}})},
                                {"folders", Json::array({contactFolder("Contacts below")})}}),
           about(4, newId, mailId), joined({lies("Mail", true), {logged(4, "Drafts", newId)}, lies("Mail", true)}));
    expectWatched(newId, false);
    expectWatched(folderId(1, newFolder + 1), false); // what lies below a new folder is not looked for
}

TEST_F(FolderChangeTest, SeesNothingNewOutsideTheIpmSubtree)
{
    expect(add("#" + outsideId, contactFolder("Far")), about(4, newId, outsideId), lies("Outside", false));
    expectWatched(newId, false);
}

TEST_F(FolderChangeTest, WatchesACopiedContactFolderAndSendsItsContacts)
{
    m_calls.putContacts(newId, known, {messageId(1, newFolder, newMessage)});
    expect({{"do", "copy"}, {"object", "Mailbox/Friends"}, {"to", "Mailbox/Contacts"}},
           about(0x40, newId, known, alsoKnown, subtree),
           {logged(0x40, "Friends", newId), registered("Friends"),
            sending("add", {namedLine("Cid", 1, newFolder, newMessage)})});
    expectWatched(newId, true);
}

TEST_F(FolderChangeTest, OnlyLogsAFolderThatIsCopiedOutOfTheIpmSubtree)
{
    expect({{"do", "copy"}, {"object", "Mailbox/Friends"}, {"to", "#" + outsideId}},
           about(0x40, newId, outsideId, alsoKnown, subtree),
           joined({lies("Outside", false), isIpmSubtree(), {logged(0x40, "Friends", newId)}, lies("Outside", false)}));
    expectWatched(newId, false);
}

TEST_F(FolderChangeTest, OnlyLogsAFolderThatIsCreatedButGone)
{
    expect(about(4, nobody, known), joined({notifiedUnopened(4, nobody, folderType),
                                            {"HRESULT logged: ContactWatcher::onNewObject, line N: hr = 0x8004010f"
                                             "(Cannot open new or copied object. EntryID = " +
                                             nobody + ")"}}));
}

TEST_F(FolderChangeTest, LosesTheBatchWithACreatedFolderThatIsNone)
{
    expect({{.event = 0x10, .id = ada, .parent = known}, about(4, ada, known)},
           {notified(0x10, "Ada", ada), logged(4, "Ada", ada),
            caught("AdviseSinkImpl::OnNotify",
                   "condition \"folder\" failed (mapi::maybeContactFolder in MapiUtilities.cpp, line N)")});
}

// ---- Deleted -----------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, SendsADeletedContactFolder)
{
    m_calls.remove(alsoKnown);
    expect(remove("Mailbox/Friends"), about(8, alsoKnown, subtree),
           joined({isIpmSubtree(),
                   notifiedUnopened(8, alsoKnown, folderType),
                   walk({"Contacts", "Mail", "Deep"}),
                   {sending("delete", {alsoKnown}, "folder")}}));
}

TEST_F(FolderChangeTest, SendsTheKnownFoldersBelowADeletedOneToo)
{
    const std::string distant = folderId(1, newFolder + 1);
    m_calls.putContacts(newId, alsoKnown);
    m_calls.putContacts(distant, mailId);
    expect(add("Mailbox/Friends", contactFolder("Near")), about(4, newId, alsoKnown),
           {logged(4, "Near", newId), registered("Near")});
    expect(add("Mailbox/Mail", contactFolder("Far")), about(4, distant, mailId),
           joined({lies("Mail", true), {logged(4, "Far", distant)}, lies("Mail", true), {registered("Far")}}));
    m_calls.remove(alsoKnown);
    expect(remove("Mailbox/Friends"), about(8, alsoKnown, subtree),
           joined({isIpmSubtree(),
                   notifiedUnopened(8, alsoKnown, folderType),
                   walk({"Contacts", "Mail", "Deep", "Far"}),
                   {sending("delete", {alsoKnown, newId}, "folder")}}));
}

TEST_F(FolderChangeTest, SendsNothingOfADeletedFolderThatWasNotKnown)
{
    expectReconciled({"Contacts", "Friends", "Mail"}, {});
}

TEST_F(FolderChangeTest, SeesNothingDeletedOutsideTheIpmSubtree)
{
    expect(remove("#" + belowId), about(8, belowId, outsideId), lies("Outside", false));
}

TEST_F(FolderChangeTest, LooksAtTheStoreAndNotAtTheIdentifierOfADeletion)
{
    // Hidden, which is only logged: whichever folder the next deletion is about, this one is sent.
    m_calls.hide(alsoKnown);
    expect(edit("Mailbox/Friends", {{"hidden", true}}), about(0x10, alsoKnown, subtree),
           joined({isIpmSubtree(), {logged(0x10, "Friends", alsoKnown)}}));
    expect(about(8, "", known), joined({{notifiedWithoutId(8)},
                                        walk({"Contacts", "Mail", "Deep"}),
                                        {sending("delete", {alsoKnown}, "folder")}}));
    expectWatched(alsoKnown, false);
}

TEST_F(FolderChangeTest, WatchesANewHiddenContactFolderUntilTheNextReconciliation)
{
    Json folder = contactFolder("Secret");
    folder["hidden"] = true;
    m_calls.putContacts(newId, known);
    m_calls.hide(newId);
    expect(add("Mailbox/Contacts", folder), about(4, newId, known), {logged(4, "Secret", newId), registered("Secret")});
    expectWatched(newId, true);
    expectReconciled({"Contacts", "Friends", "Mail"}, {newId});
    expectWatched(newId, false);
}

// ---- Modified ----------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, OnlyLogsAChangedFolder)
{
    expect(edit("Mailbox/Friends", {{"name", "Pals"}}), about(0x10, alsoKnown, subtree),
           joined({isIpmSubtree(), {logged(0x10, "Pals", alsoKnown)}}));
    expect(edit("#" + belowId, {{"name", "Lower"}}), about(0x10, belowId, outsideId), lies("Outside", false));
}

TEST_F(FolderChangeTest, DoesNotWatchAFolderThatBecomesAContactFolder)
{
    expect(edit("Mailbox/Mail/Deep", {{"class", "IPF.Contact"}}), about(0x10, deepId, mailId),
           joined({lies("Mail", true), {logged(0x10, "Deep", deepId)}}));
    expectWatched(deepId, false);
}

TEST_F(FolderChangeTest, StillWatchesAFolderThatIsAContactFolderNoMore)
{
    expect(edit("Mailbox/Friends", {{"class", "IPF.Note"}}), about(0x10, alsoKnown, subtree),
           joined({isIpmSubtree(), {logged(0x10, "Friends", alsoKnown)}}));
    expectWatched(alsoKnown, true);
}

// ---- Moved -------------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, SendsAFolderThatIsMovedOutOfTheIpmSubtree)
{
    m_calls.put(alsoKnown, outsideId);
    expect(move("Mailbox/Friends", "#" + outsideId), about(0x20, alsoKnown, outsideId, alsoKnown, subtree),
           joined({lies("Outside", false),
                   isIpmSubtree(),
                   {logged(0x20, "Friends", alsoKnown)},
                   walk({"Contacts", "Mail", "Deep"}),
                   {sending("delete", {alsoKnown}, "folder")}}));
    expectWatched(alsoKnown, false);
}

TEST_F(FolderChangeTest, WatchesAFolderThatIsMovedIntoTheIpmSubtreeAndSendsItsContacts)
{
    m_calls.put(outsideId, known);
    expect(move("#" + outsideId, "Mailbox/Contacts"), about(0x20, outsideId, known, outsideId, root),
           joined({{logged(0x20, "Outside", outsideId)},
                   lies("Root", false),
                   {registered("Outside"), sending("add", {namedLine("Eve", 1, outside, 5)})}}));
    expectWatched(outsideId, true);
    expectWatched(belowId, false); // what lies below it is not looked for
}

TEST_F(FolderChangeTest, OnlyLogsAFolderThatIsMovedWithinTheIpmSubtree)
{
    m_calls.put(alsoKnown, mailId);
    expect(move("Mailbox/Friends", "Mailbox/Mail"), about(0x20, alsoKnown, mailId, alsoKnown, subtree),
           joined({lies("Mail", true), {logged(0x20, "Friends", alsoKnown)}, isIpmSubtree()}));
    expectWatched(alsoKnown, true);
    expectReconciled({"Contacts", "Mail", "Friends"}, {}); // which misses nothing
}

TEST_F(FolderChangeTest, SeesNothingMovedOutsideTheIpmSubtree)
{
    m_calls.put(belowId, root);
    expect(move("#" + belowId, "#" + root), about(0x20, belowId, root, belowId, outsideId),
           joined({lies("Root", false), lies("Outside", false)}));
}

// ---- The question of the parent ----------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, SeesNothingWithAParentThatCannotBeOpened)
{
    expect(about(8, nobody, nobody, "", nobody), {});
    for (const char* const result : {"0x80070005", "0x40380"}) // a warning too
    {
        m_calls.setResult(mailId, result);
        ask({{"do", "plan"}, {"opens", "Mailbox/Mail"}, {"times", 0}, {"result", result}});
        expect(about(8, nobody, mailId), {});
    }
}

TEST_F(FolderChangeTest, GoesByTheFirstOfTheTwoSearchesForAParent)
{
    // Contacts by its alias, which only MAPI knows for the same, and which three comparisons find.
    const Notification changed = about(0x10, alsoKnown, "0000000001");
    const std::string failed = "HRESULT logged: mapi::Session::isSameObject, line N: hr = 0x80040115";
    const auto failFrom = [this](unsigned call)
    {
        ask({{"do", "plan"},
             {"method", "IMAPISession::CompareEntryIDs"},
             {"call", call},
             {"times", 3},
             {"result", "0x80040115"}});
    };
    const Records failedSearch = {failed, failed, failed};
    const Records handled = {logged(0x10, "Friends", alsoKnown)};
    failFrom(4);
    expectLog(inject({changed}), joined({failedSearch, handled}));
    failFrom(1);
    expectLog(inject({changed}), joined({failedSearch, lies("Contacts", true), handled}));
}

TEST_F(FolderChangeTest, SeesNothingWithoutAnyParent)
{
    expect(about(0x10, known, ""), {});
}
} // namespace
} // namespace endtoend

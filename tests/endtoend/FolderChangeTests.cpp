// What comes of a folder that is added, changed, moved, copied or deleted while the agent runs.
#include "tests/endtoend/ExpectedCalls.h"

namespace endtoend
{
namespace
{
constexpr unsigned folderType = 3;

// The folders of the mailbox below, by their numbers. New ones go on from there.
constexpr unsigned contacts = 3;
constexpr unsigned friends = 4;
constexpr unsigned mail = 5;
constexpr unsigned deep = 6;
constexpr unsigned outside = 7;
constexpr unsigned below = 8;
constexpr unsigned firstNew = 9;
constexpr unsigned firstNewMessage = 4;

/// Two contact folders, which are known, and a mail folder with another in it below the IPM subtree; a contact folder
/// with another in it beside it.
constexpr std::string_view mailbox = R"({"stores": [{"name": "Mailbox", "default": true,
    "ipmSubtree": {"class": "IPF.Note"},
    "folders": [
        {"name": "Contacts", "class": "IPF.Contact", "messages": [{"displayName": "Ada"}]},
        {"name": "Friends", "class": "IPF.Contact", "messages": [{"displayName": "Cid"}]},
        {"name": "Mail", "class": "IPF.Note", "folders": [{"name": "Deep", "class": "IPF.Note"}]}],
    "rootFolders": [{"name": "Outside", "class": "IPF.Contact", "messages": [{"displayName": "Eve"}],
                     "folders": [{"name": "Below", "class": "IPF.Contact"}]}]}]})";

std::string registered(std::string_view folder)
{
    return "Maybe Contacts folder " + std::string(folder) + " registered as known notification source";
}

std::string hierarchy(std::string_view text)
{
    return "mapi::MessageStore::testHierarchy: " + std::string(text);
}

/// The records of the question whether this folder lies in the IPM subtree. A folder that isn't known is asked for once,
/// and the other parent then.
Records lies(std::string_view folder, bool inside)
{
    const std::string name(folder);
    return {
        hierarchy("Analyze relations of root folder IPM_SUBTREE and  " + name),
        hierarchy("Object " + name + (inside ? " is a " : " is not a ") + "successor of specified root IPM_SUBTREE")};
}

Records isIpmSubtree()
{
    return {hierarchy("Analyze relations of root folder IPM_SUBTREE and  IPM_SUBTREE"),
            hierarchy("These are different instances of the same object.")};
}

/// The records of the walk of the reconciliation.
Records walk(std::initializer_list<std::string_view> folders)
{
    Records records;
    for (const std::string_view folder : folders)
        records.push_back("subfolder found: " + std::string(folder));
    return records;
}

class FolderChangeTest : public LiveTest
{
protected:
    void SetUp() override
    {
        LiveTest::SetUp();
        startLive(mailbox);
    }

    void TearDown() override { closeLive(); }

    /// One request must bring these messages, records and calls, and no others.
    void expect(const Json& request, const std::vector<std::string>& messages, std::initializer_list<Records> log,
                std::initializer_list<Calls> calls)
    {
        const Reaction reaction = after(request);
        EXPECT_EQ(reaction.messages, messages);
        EXPECT_EQ(reaction.log, joined(log));
        EXPECT_EQ(reaction.calls, joinedCalls(calls));
    }

    /// The search for this folder, and, as it is not known, the question where it lies.
    [[nodiscard]] Calls asked(unsigned folder) const
    {
        const std::string id = folderId(1, folder);
        return joinedCalls({lookedUp(id), askedForSubtree(id, above(folder))});
    }

    /// The search for the folder "Contacts", which is known.
    [[nodiscard]] Calls askedForContacts() const { return lookedUp(folderId(1, contacts)); }

    /// The search for the parent of a folder, which is made twice; for that of a message it is made once.
    [[nodiscard]] Calls lookedUp(const std::string& id) const
    {
        return joinedCalls({searched(m_known, id), searched(m_known, id)});
    }

    /// What a new contact folder takes behind its record, with these messages in it.
    [[nodiscard]] Calls taken(const std::string& id, const std::vector<std::string>& messages = {}) const
    {
        return joinedCalls({opened(id), collected(id, messages), registeredAmong(m_known, id)});
    }

    static Calls notThere(const std::string& id) { return opened(id, "0x8004010F"); }

    /// The visible folders of the IPM subtree, with these ones in it.
    static Tree tree(std::vector<Tree> folders) { return {folderId(1, ipmSubtree), std::move(folders)}; }
    static Tree leaf(unsigned folder) { return {folderId(1, folder)}; }

    std::vector<std::string> m_known = {folderId(1, contacts), folderId(1, friends)};

private:
    static std::vector<std::string> above(unsigned folder)
    {
        const auto ids = [](std::initializer_list<unsigned> folders)
        {
            std::vector<std::string> texts;
            for (const unsigned one : folders)
                texts.push_back(folderId(1, one));
            return texts;
        };
        switch (folder)
        {
        case mail:
            return ids({ipmSubtree});
        case deep:
            return ids({mail, ipmSubtree});
        case outside:
            return ids({rootFolder, rootFolder}); // the root's parent is the root
        case rootFolder:
            return ids({rootFolder});
        default:
            return {};
        }
    }

protected:
    /// Adds a contact to this folder; it must be told, or not.
    void expectWatched(const std::string& folder, bool isWatched)
    {
        const Reaction reaction =
            after({{"do", "addContact"}, {"folder", "#" + folder}, {"contact", {{"displayName", "New"}}}});
        EXPECT_EQ(reaction.messages.size(), isWatched ? 1U : 0U);
        EXPECT_EQ(reaction.log.size(), isWatched ? 2U : 0U);
    }
};

// ---- Created, copied ---------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, NewContactFolderIsWatchedAndItsContactsAreTold)
{
    const std::string id = folderId(1, firstNew);
    const std::string message =
        change("add", "contact",
               {namedLine("Fay", 1, firstNew, firstNewMessage), namedLine("Gus", 1, firstNew, firstNewMessage + 1)});
    expect({{"do", "addFolder"},
            {"parent", "Mailbox"},
            {"folder",
             {{"name", "Family"},
              {"class", "IPF.Contact"},
              {"messages", Json::array({{{"displayName", "Fay"}}, {{"displayName", "Gus"}}})}}}},
           {message},
           {isIpmSubtree(),
            {notified(4, "Family", folderType, id)},
            isIpmSubtree(),
            {registered("Family"), sending(message)}},
           {asked(ipmSubtree), openedForLog(id), asked(ipmSubtree),
            taken(id, {messageId(1, firstNew, firstNewMessage), messageId(1, firstNew, firstNewMessage + 1)})});
    expectWatched(id, true);
}

TEST_F(FolderChangeTest, NewContactFolderInAKnownFolderIsWatched)
{
    const std::string id = folderId(1, firstNew);
    expect(
        {{"do", "addFolder"}, {"parent", "Mailbox/Contacts"}, {"folder", {{"name", "Work"}, {"class", "IPF.Contact"}}}},
        {}, {{notified(4, "Work", folderType, id), registered("Work")}},
        {askedForContacts(), openedForLog(id), askedForContacts(), taken(id)});
    expectWatched(id, true);
}

TEST_F(FolderChangeTest, NewContactFolderDeepAmongOthersIsWatched)
{
    const std::string id = folderId(1, firstNew);
    expect({{"do", "addFolder"},
            {"parent", "Mailbox/Mail/Deep"},
            {"folder", {{"name", "Buried"}, {"class", "IPF.Contact"}}}},
           {},
           {lies("Deep", true), {notified(4, "Buried", folderType, id)}, lies("Deep", true), {registered("Buried")}},
           {asked(deep), openedForLog(id), asked(deep), taken(id)});
    expectWatched(id, true);
}

TEST_F(FolderChangeTest, NewFolderThatIsNoContactFolderLeavesNoTrace)
{
    const std::string id = folderId(1, firstNew);
    expect({{"do", "addFolder"},
            {"parent", "Mailbox/Mail"},
            {"folder",
             {{"name", "Drafts"},
              {"class", "IPF.Note"},
              {"messages", Json::array({{{"displayName", "Fay"}}})},
              {"folders", Json::array({{{"name", "Contacts below"}, {"class", "IPF.Contact"}}})}}}},
           {}, {lies("Mail", true), {notified(4, "Drafts", folderType, id)}, lies("Mail", true)},
           {asked(mail), openedForLog(id), asked(mail), opened(id), judged(id), judged(id)});
    expectWatched(id, false);
    expectWatched(folderId(1, firstNew + 1), false); // what lies below a new folder is not looked for
}

TEST_F(FolderChangeTest, NewFolderOutsideTheIpmSubtreeIsNotWatched)
{
    expect({{"do", "addFolder"},
            {"parent", "#" + folderId(1, outside)},
            {"folder", {{"name", "Far"}, {"class", "IPF.Contact"}}}},
           {}, {lies("Outside", false)}, {asked(outside)});
    expectWatched(folderId(1, firstNew), false);
}

TEST_F(FolderChangeTest, CopiedContactFolderIsWatchedAndItsContactsAreTold)
{
    const std::string id = folderId(1, firstNew);
    const std::string message = change("add", "contact", {namedLine("Cid", 1, firstNew, firstNewMessage)});
    expect({{"do", "copy"}, {"object", "Mailbox/Friends"}, {"to", "Mailbox/Contacts"}}, {message},
           {{notified(0x40, "Friends", folderType, id), registered("Friends"), sending(message)}},
           {askedForContacts(), openedForLog(id), askedForContacts(),
            taken(id, {messageId(1, firstNew, firstNewMessage)})});
    expectWatched(id, true);
}

TEST_F(FolderChangeTest, CopiedOutOfTheIpmSubtreeIsLoggedOnly)
{
    const std::string id = folderId(1, firstNew);
    expect(
        {{"do", "copy"}, {"object", "Mailbox/Friends"}, {"to", "#" + folderId(1, outside)}}, {},
        {lies("Outside", false), isIpmSubtree(), {notified(0x40, "Friends", folderType, id)}, lies("Outside", false)},
        {asked(outside), asked(ipmSubtree), openedForLog(id), asked(outside)});
    expectWatched(id, false);
}

TEST_F(FolderChangeTest, CreatedButGoneIsLoggedOnly)
{
    expect(inject({{.event = 4, .objectType = folderType, .id = nobody, .parent = folderId(1, contacts)}}), {},
           {notifiedUnopened(4, folderType, nobody),
            {"HRESULT logged: ContactWatcher::onNewObject, line N: hr = 0x8004010f"
             "(Cannot open new or copied object. EntryID = " +
             nobody + ")"}},
           {askedForContacts(), notThere(nobody), askedForContacts(), notThere(nobody)});
}

TEST_F(FolderChangeTest, CreatedThatIsNoFolderLosesItsBatch)
{
    const std::string ada = messageId(1, contacts, 1);
    expect(inject({{.event = 0x10, .id = ada, .parent = folderId(1, contacts)},
                   {.event = 4, .objectType = folderType, .id = ada, .parent = folderId(1, contacts)}}),
           {},
           {{notified(0x10, "Ada", 5, ada), notified(4, "Ada", folderType, ada),
             "An exception has been caught in AdviseSinkImpl::OnNotify : condition \"folder\" failed "
             "(mapi::maybeContactFolder in MapiUtilities.cpp, line N)"}},
           {searched(m_known, folderId(1, contacts)), openedForLog(ada), opened(ada), loaded(ada), askedForContacts(),
            openedForLog(ada), askedForContacts(), opened(ada)});
}

// ---- Deleted -----------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, DeletedContactFolderIsTold)
{
    const std::string id = folderId(1, friends);
    const std::string message = change("delete", "folder", {id});
    expect(
        {{"do", "delete"}, {"object", "Mailbox/Friends"}}, {message},
        {isIpmSubtree(), notifiedUnopened(8, folderType, id), walk({"Contacts", "Mail", "Deep"}), {sending(message)}},
        {asked(ipmSubtree), notThere(id),
         reconciled(tree({leaf(contacts), {folderId(1, mail), {leaf(deep)}}}), m_known)});
}

TEST_F(FolderChangeTest, DeletedFolderTakesTheKnownFoldersBelowItAlong)
{
    (void)after(
        {{"do", "addFolder"}, {"parent", "Mailbox/Friends"}, {"folder", {{"name", "Near"}, {"class", "IPF.Contact"}}}});
    (void)after(
        {{"do", "addFolder"}, {"parent", "Mailbox/Mail"}, {"folder", {{"name", "Far"}, {"class", "IPF.Contact"}}}});
    m_known.insert(m_known.end(), {folderId(1, firstNew), folderId(1, firstNew + 1)});
    const std::string message = change("delete", "folder", {folderId(1, friends), folderId(1, firstNew)});
    expect({{"do", "delete"}, {"object", "Mailbox/Friends"}}, {message},
           {isIpmSubtree(),
            notifiedUnopened(8, folderType, folderId(1, friends)),
            walk({"Contacts", "Mail", "Deep", "Far"}),
            {sending(message)}},
           {asked(ipmSubtree), notThere(folderId(1, friends)),
            reconciled(tree({leaf(contacts), {folderId(1, mail), {leaf(deep), leaf(firstNew + 1)}}}), m_known)});
}

TEST_F(FolderChangeTest, DeletedFolderThatWasNotKnownTellsNothing)
{
    expect(
        {{"do", "delete"}, {"object", "Mailbox/Mail/Deep"}}, {},
        {lies("Mail", true), notifiedUnopened(8, folderType, folderId(1, deep)), walk({"Contacts", "Friends", "Mail"})},
        {asked(mail), notThere(folderId(1, deep)),
         reconciled(tree({leaf(contacts), leaf(friends), leaf(mail)}), m_known)});
}

TEST_F(FolderChangeTest, DeletedOutsideTheIpmSubtreeIsNotSeen)
{
    expect({{"do", "delete"}, {"object", "#" + folderId(1, below)}}, {}, {lies("Outside", false)}, {asked(outside)});
}

TEST_F(FolderChangeTest, DeletionLooksAtTheStoreAndNotAtTheIdentifier)
{
    // Hidden without a word of it: whichever folder the next deletion is about, this one is told of.
    ask({{"do", "editFolder"}, {"folder", "Mailbox/Friends"}, {"set", {{"hidden", true}}}});
    (void)reaction();
    const std::string message = change("delete", "folder", {folderId(1, friends)});
    expect(inject({{.event = 8, .objectType = folderType, .parent = folderId(1, contacts)}}), {message},
           {{"`anonymous-namespace'::logNotification: Notification 8: EntryId is empty!"},
            walk({"Contacts", "Mail", "Deep"}),
            {sending(message)}},
           {askedForContacts(), reconciled(tree({leaf(contacts), {folderId(1, mail), {leaf(deep)}}}), m_known)});
    expectWatched(folderId(1, friends), false);
}

TEST_F(FolderChangeTest, NewHiddenContactFolderIsWatchedUntilTheNextReconciliation)
{
    const std::string id = folderId(1, firstNew);
    expect({{"do", "addFolder"},
            {"parent", "Mailbox/Contacts"},
            {"folder", {{"name", "Secret"}, {"class", "IPF.Contact"}, {"hidden", true}}}},
           {}, {{notified(4, "Secret", folderType, id), registered("Secret")}},
           {askedForContacts(), openedForLog(id), askedForContacts(), taken(id)});
    expectWatched(id, true);
    m_known.push_back(id);
    const std::string message = change("delete", "folder", {id});
    expect({{"do", "delete"}, {"object", "Mailbox/Mail/Deep"}}, {message},
           {lies("Mail", true),
            notifiedUnopened(8, folderType, folderId(1, deep)),
            walk({"Contacts", "Friends", "Mail"}),
            {sending(message)}},
           {asked(mail), notThere(folderId(1, deep)),
            reconciled(tree({leaf(contacts), leaf(friends), leaf(mail)}), m_known)});
    expectWatched(id, false);
}

// ---- Modified ----------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, ChangedIsLoggedOnly)
{
    expect({{"do", "editFolder"}, {"folder", "Mailbox/Friends"}, {"set", {{"name", "Pals"}}}}, {},
           {isIpmSubtree(), {notified(0x10, "Pals", folderType, folderId(1, friends))}},
           {asked(ipmSubtree), openedForLog(folderId(1, friends))});
}

TEST_F(FolderChangeTest, ThatBecomesAContactFolderStaysUnknown)
{
    expect({{"do", "editFolder"}, {"folder", "Mailbox/Mail/Deep"}, {"set", {{"class", "IPF.Contact"}}}}, {},
           {lies("Mail", true), {notified(0x10, "Deep", folderType, folderId(1, deep))}},
           {asked(mail), openedForLog(folderId(1, deep))});
    expectWatched(folderId(1, deep), false);
}

TEST_F(FolderChangeTest, ThatIsAContactFolderNoMoreStaysKnown)
{
    (void)after({{"do", "editFolder"}, {"folder", "Mailbox/Friends"}, {"set", {{"class", "IPF.Note"}}}});
    expectWatched(folderId(1, friends), true);
}

TEST_F(FolderChangeTest, ChangedOutsideTheIpmSubtreeIsNotSeen)
{
    expect({{"do", "editFolder"}, {"folder", "#" + folderId(1, below)}, {"set", {{"name", "Lower"}}}}, {},
           {lies("Outside", false)}, {asked(outside)});
}

// ---- Moved -------------------------------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, MovedOutOfTheIpmSubtreeIsTold)
{
    const std::string id = folderId(1, friends);
    const std::string message = change("delete", "folder", {id});
    expect({{"do", "move"}, {"object", "Mailbox/Friends"}, {"to", "#" + folderId(1, outside)}}, {message},
           {lies("Outside", false),
            isIpmSubtree(),
            {notified(0x20, "Friends", folderType, id)},
            walk({"Contacts", "Mail", "Deep"}),
            {sending(message)}},
           {asked(outside), asked(ipmSubtree), openedForLog(id),
            reconciled(tree({leaf(contacts), {folderId(1, mail), {leaf(deep)}}}), m_known)});
    expectWatched(id, false);
}

TEST_F(FolderChangeTest, MovedIntoTheIpmSubtreeIsWatchedAndItsContactsAreTold)
{
    const std::string id = folderId(1, outside);
    const std::string message = change("add", "contact", {namedLine("Eve", 1, outside, 3)});
    const Records root = {hierarchy("Analyze relations of root folder IPM_SUBTREE and  Root"),
                          hierarchy("Object Root is not a successor of specified root IPM_SUBTREE")};
    expect({{"do", "move"}, {"object", "#" + id}, {"to", "Mailbox/Contacts"}}, {message},
           {{notified(0x20, "Outside", folderType, id)}, root, {registered("Outside"), sending(message)}},
           {askedForContacts(), openedForLog(id), asked(rootFolder), askedForContacts(),
            taken(id, {messageId(1, outside, 3)})});
    expectWatched(id, true);
    expectWatched(folderId(1, below), false); // what lies below it is not looked for
}

TEST_F(FolderChangeTest, MovedWithinTheIpmSubtreeIsLoggedOnly)
{
    const std::string id = folderId(1, friends);
    expect({{"do", "move"}, {"object", "Mailbox/Friends"}, {"to", "Mailbox/Mail"}}, {},
           {lies("Mail", true), {notified(0x20, "Friends", folderType, id)}, isIpmSubtree()},
           {asked(mail), openedForLog(id), asked(ipmSubtree)});
    expectWatched(id, true);
    // And nothing is missed by the next reconciliation.
    expect(
        {{"do", "delete"}, {"object", "Mailbox/Mail/Deep"}}, {},
        {lies("Mail", true), notifiedUnopened(8, folderType, folderId(1, deep)), walk({"Contacts", "Mail", "Friends"})},
        {asked(mail), notThere(folderId(1, deep)),
         reconciled(tree({leaf(contacts), {folderId(1, mail), {leaf(friends)}}}), m_known)});
}

TEST_F(FolderChangeTest, MovedOutsideTheIpmSubtreeIsNotSeen)
{
    expect({{"do", "move"}, {"object", "#" + folderId(1, below)}, {"to", "#" + folderId(1, rootFolder)}}, {},
           {{hierarchy("Analyze relations of root folder IPM_SUBTREE and  Root"),
             hierarchy("Object Root is not a successor of specified root IPM_SUBTREE")},
            lies("Outside", false)},
           {asked(rootFolder), asked(outside)});
}

// ---- The question of the parent ----------------------------------------------------------------------------------------

TEST_F(FolderChangeTest, WithAParentThatCannotBeOpenedIsNotSeen)
{
    expect(
        inject({{.event = 8, .objectType = folderType, .id = nobody, .parent = nobody, .oldParent = nobody}}), {}, {},
        {lookedUp(nobody), openedFolder(nobody, "0x8004010F"), lookedUp(nobody), openedFolder(nobody, "0x8004010F")});
    ask({{"do", "editFolder"}, {"folder", "Mailbox/Mail"}, {"set", {{"openError", "0x80070005"}}}});
    (void)reaction();
    expect(inject({{.event = 8, .objectType = folderType, .id = nobody, .parent = folderId(1, mail)}}), {}, {},
           {lookedUp(folderId(1, mail)), openedFolder(folderId(1, mail), "0x80070005")});
}

TEST_F(FolderChangeTest, WithAParentThatOpensWithAWarningIsNotSeen)
{
    ask({{"do", "editFolder"}, {"folder", "Mailbox/Mail"}, {"set", {{"openError", "0x00040380"}}}});
    (void)reaction();
    expect(inject({{.event = 8, .objectType = folderType, .id = nobody, .parent = folderId(1, mail)}}), {}, {},
           {lookedUp(folderId(1, mail)), openedFolder(folderId(1, mail), "0x40380")});
}

TEST_F(FolderChangeTest, WithoutAnyParentIsNotSeen)
{
    expect(inject({{.event = 0x10, .objectType = folderType, .id = folderId(1, contacts)}}), {}, {}, {});
}
} // namespace
} // namespace endtoend

// LiveTest.h: an agent whose mailbox is edited while it runs, and what comes of each edit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"
#include "tests/endtoend/ExpectedCalls.h"

namespace endtoend
{
/// What the agent has done since it was looked at last.
struct Reaction
{
    std::vector<std::string> messages;
    Records log;
    Calls calls; // all by one thread
};

/// The request for these notifications of the store "Mailbox" in one batch.
[[nodiscard]] Json inject(const std::vector<Notification>& notifications);

class LiveTest : public EndToEndTest
{
protected:
    /// Starts the agent on this mailbox, as `startAgentOn`. Returns when it has sent its snapshots, has subscribed to all
    /// stores, of which the last is named, and handles its messages.
    void startLive(std::string_view json, std::string_view lastStore = "Mailbox");

    /// Asks the sandbox for this, waits until all that follows has been done, and gives that.
    [[nodiscard]] Reaction after(const Json& request);
    /// Waits until the agent has done all that it has been asked for, and gives what it has done since it was looked at last.
    [[nodiscard]] Reaction reaction();
    /// What follows must be these records and the messages that they say are sent; the calls are not looked at.
    void expectLog(const Json& request, const Records& log);
    /// Nothing must follow: no message, no record, no call.
    void expectNothing(const Json& request);

    /// The calls that the journal has had so far; they are forgotten.
    /// @param threads  how many threads must have made them.
    [[nodiscard]] Calls takeCalls(std::size_t threads = 1);

    /// Serves a host anew, after it has been stopped.
    void hostReturns();
    /// Begins anew after `finish`, with a new host and a new log.
    void forgetRun();
    /// Closes the window; the agent must end in order, with nothing held.
    void closeLive();

private:
    std::size_t m_messagesSeen = 0;
    std::size_t m_recordsSeen = 0;
};

/// One mailbox for the tests of edits. In the IPM subtree two contact folders, which are known, and a mail folder with
/// another in it; beside it a contact folder with another in it.
class EditTest : public LiveTest
{
protected:
    // The folders by their numbers, new ones too, and the number of the first new message.
    static constexpr unsigned contacts = 3;
    static constexpr unsigned friends = 4;
    static constexpr unsigned mail = 5;
    static constexpr unsigned deep = 6;
    static constexpr unsigned outside = 7;
    static constexpr unsigned below = 8;
    static constexpr unsigned newFolder = 9;
    static constexpr unsigned newMessage = 6;

    static inline const std::string ada = messageId(1, contacts, 1);
    static inline const std::string bea = messageId(1, contacts, 2);
    static inline const std::string cid = messageId(1, friends, 3);
    static inline const std::string dan = messageId(1, mail, 4);
    static inline const std::string eve = messageId(1, outside, 5);
    static inline const std::string known = folderId(1, contacts);
    static inline const std::string alsoKnown = folderId(1, friends);
    static inline const std::string unknown = folderId(1, mail);

    static constexpr std::string_view mailbox = R"({"stores": [{"name": "Mailbox", "default": true,
        "ipmSubtree": {"class": "IPF.Note"},
        "folders": [
            {"name": "Contacts", "class": "IPF.Contact", "aliases": ["00000000FF", "0000000001"],
             "messages": [{"displayName": "Ada"}, {"displayName": "Bea"}]},
            {"name": "Friends", "class": "IPF.Contact", "messages": [{"displayName": "Cid"}]},
            {"name": "Mail", "class": "IPF.Note", "messages": [{"class": "IPM.Note", "displayName": "Dan"}],
             "folders": [{"name": "Deep", "class": "IPF.Note"}]}],
        "rootFolders": [{"name": "Outside", "class": "IPF.Contact", "messages": [{"displayName": "Eve"}],
                         "folders": [{"name": "Below", "class": "IPF.Contact"}]}]}]})";

    void SetUp() override;
    void TearDown() override { closeLive(); }

    /// A request that causes this notification must bring these records, the messages that they say are sent, and the calls
    /// of such a notification, and no others.
    void expect(const Json& request, const Notification& caused, const Records& log);
    /// The same of raw notifications in one batch.
    void expect(const std::vector<Notification>& injected, const Records& log);
    void expect(const Notification& injected, const Records& log) { expect(std::vector{injected}, log); }

    /// The records of the question whether this folder lies in the IPM subtree. A folder that isn't known is asked for once,
    /// and the other parent then.
    [[nodiscard]] static Records lies(std::string_view folder, bool inside);
    /// The same for the IPM subtree itself.
    [[nodiscard]] static Records isIpmSubtree();

    CallModel m_calls;
};
} // namespace endtoend

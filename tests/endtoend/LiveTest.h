// LiveTest.h: an agent whose mailbox is edited while it runs, and what comes of each edit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend
{
/// MAPI calls as "<name> on <identifier>(<arguments>) -> <result>".
struct Calls : std::vector<std::string>
{
    using vector::vector;
};
void PrintTo(const Calls& calls, std::ostream* stream);

/// What the agent has done since it was looked at last.
struct Reaction
{
    std::vector<std::string> messages;
    Records log;
    Calls calls; // without those for memory and for another interface of an object; all by one thread
};

/// A long-term identifier that stands for nothing.
inline const std::string nobody = "00000000DEAD00";

// The wire forms of what changes.

/// A message of one contact's or folder's change: "2;<operation>;<kind>;0;1" and the lines.
[[nodiscard]] std::string change(std::string_view operation, std::string_view kind,
                                 const std::vector<std::string>& items);
/// A contact that is known by its identifier alone.
[[nodiscard]] std::string deletedLine(std::string_view id);

// What the log says.

/// The record of a notification.
[[nodiscard]] std::string notified(unsigned event, std::string_view name, unsigned objectType, const std::string& id);
/// The record of an object that could not be opened for that, and the record itself.
[[nodiscard]] Records notifiedUnopened(unsigned event, unsigned objectType, const std::string& id,
                                       std::string_view result = "8004010f");
/// The record of a deletion that is not told for want of a long-term identifier.
inline const std::string shortTermIgnored =
    "ContactWatcher::onObjectDeleted: A short-term EntryId has been received for deleted object. "
    "Object notification has been ignored.";
/// The record of a message that is sent.
[[nodiscard]] std::string sending(const std::string& message);

// Requests to the sandbox.

/// A raw notification of the store "Mailbox", or a list of them in one batch. Identifiers in hexadecimal; none when empty.
struct Raw
{
    unsigned event = 0;
    unsigned objectType = 5;
    std::string id{};
    std::string parent{};
    std::string oldId{};
    std::string oldParent{};
};
[[nodiscard]] Json inject(std::initializer_list<Raw> notifications);

class LiveTest : public EndToEndTest
{
protected:
    /// Starts the agent on this mailbox with a host that says "ack", if none is served yet. Returns when it has sent its
    /// snapshots, has subscribed to all stores, of which the last is named, and handles its messages.
    void startLive(std::string_view json, std::string_view lastStore = "Mailbox");

    /// Asks the sandbox for this, waits until all that follows has been done, and gives that.
    [[nodiscard]] Reaction after(const Json& request);
    /// Waits until the agent has done all that it was told, and gives what it has done since it was looked at last.
    [[nodiscard]] Reaction reaction();

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
} // namespace endtoend

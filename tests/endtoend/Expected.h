// Expected.h: what the agent must say, as tests write it down: identifiers, lines and messages on the wire, and records of
// the log.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "tests/endtoend/AgentLog.h"

namespace endtoend
{
// ---- Identifiers -------------------------------------------------------------------------------------------------------

// Those that the sandbox gives to objects of a mailbox file (docs/sandbox.md), as the hexadecimal text that the agent writes.
// Stores count from 1; in each, the root is folder 1, the IPM subtree folder 2, and the first folder of the file 3; messages
// count from 1 through the whole store.
constexpr unsigned rootFolder = 1;
constexpr unsigned ipmSubtree = 2;
constexpr unsigned firstFolder = 3;

[[nodiscard]] std::string storeId(unsigned store);
[[nodiscard]] std::string folderId(unsigned store, unsigned folder);
[[nodiscard]] std::string messageId(unsigned store, unsigned folder, unsigned message);

/// A long-term identifier that stands for nothing, and a short-term one.
inline const std::string nobody = "00000000DEAD00";
inline const std::string shortTerm = "80000000AB";

// What notifications call the kinds of objects.
constexpr unsigned folderType = 3;
constexpr unsigned messageType = 5;

// ---- Messages ----------------------------------------------------------------------------------------------------------

/// A contact's line: its first ten fields with the separators between them, and the identifiers of the message and of
/// its folder.
[[nodiscard]] std::string contactLine(std::string_view tenFields, unsigned store, unsigned folder, unsigned message);
/// The line of a contact that has a name and nothing else.
[[nodiscard]] std::string namedLine(std::string_view name, unsigned store, unsigned folder, unsigned message);
/// A contact that is known by its identifier alone.
[[nodiscard]] std::string deletedLine(std::string_view id);

/// The message of a store's snapshot; `indexAndTotal` as in "0;2".
[[nodiscard]] std::string snapshotMessage(std::string_view indexAndTotal, const std::vector<std::string>& contacts);
/// The message of a change.
[[nodiscard]] std::string change(std::string_view operation, std::string_view kind,
                                 const std::vector<std::string>& items);

// ---- Records -----------------------------------------------------------------------------------------------------------

/// A message that is sent, and one of a change.
[[nodiscard]] std::string sending(const std::string& message);
[[nodiscard]] std::string sending(std::string_view operation, const std::vector<std::string>& items,
                                  std::string_view kind = "contact");
/// The messages that these records say are sent.
[[nodiscard]] std::vector<std::string> sentIn(const Records& records);

/// An exception that ends the work at this place; in the worker's thread, its work as a whole.
[[nodiscard]] std::string caught(std::string_view place, std::string_view failure);
[[nodiscard]] std::string workerFailed(std::string_view failure);

/// A store in the message stores table whose provider's name is the sandbox's own.
[[nodiscard]] std::string storeFound(std::string_view name, unsigned store, bool isDefault = false,
                                     bool isPublic = false);
/// The snapshot of a store: its start, the records of its reading, its count and, if it isn't empty, its message.
[[nodiscard]] Records snapshot(std::string_view store, std::string_view indexAndTotal,
                               const std::vector<std::string>& contacts,
                               const Records& reading = {"subfolder found: Contacts"});

/// A folder that is watched from now on.
[[nodiscard]] std::string registered(std::string_view folder);
/// The subscription of a store whose only folders are these, all contact folders, and whose IPM subtree itself looks like
/// one, being empty.
[[nodiscard]] Records subscribed(std::string_view store, std::initializer_list<std::string_view> folders = {});
inline const std::string notTracked = "Event tracking for public store is not implemented.";

/// A notification.
[[nodiscard]] std::string notified(unsigned event, std::string_view name, const std::string& id,
                                   unsigned objectType = messageType);
/// One about an object that can't be opened for its name.
[[nodiscard]] Records notifiedUnopened(unsigned event, const std::string& id, unsigned objectType = messageType,
                                       std::string_view result = "8004010f");
/// One without an identifier.
[[nodiscard]] std::string notifiedWithoutId(unsigned event);
/// A deletion that is not sent for want of a long-term identifier.
inline const std::string shortTermIgnored =
    "ContactWatcher::onObjectDeleted: A short-term EntryId has been received for deleted object. "
    "Object notification has been ignored.";
inline const std::string emptyIdPassed =
    "HRESULT logged: mapi::impl::openEntry, line N: hr = 0x80070057(an empty entryId passed)";

/// How the main thread ends the session, and the log, when the worker has ended in its time.
extern const Records orderlyEnd;
} // namespace endtoend

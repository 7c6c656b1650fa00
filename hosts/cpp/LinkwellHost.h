// LinkwellHost.h: a host of the Linkwell agent: serves its pipe, reads its messages, keeps its contacts.
//
// Take this file and LinkwellHost.cpp into your program, and link advapi32. Needed are C++17 and Windows Vista or later, of 32
// or 64 bits; nothing else. README.md begins with an example; docs/host-lifecycle.md of the agent's project says how host
// and agent live together.
//
// All text is as it came: UTF-8 from an agent, any bytes from other clients. It is what anybody wrote who could send the user
// a contact: trust none of it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace linkwell
{
/// The one name by which the agent looks for its host.
inline constexpr const wchar_t* pipePath = L"\\\\.\\pipe\\CorvenaLinkwell";

// ---- What goes wrong ---------------------------------------------------------------------------------------------------

enum class ErrorCode
{
    Closed,     // `stop` cut a connection, so its message is not answered
    Connection, // a connection broke, or its client went before it was answered
    Handler,    // the handler of messages has thrown, so its message is refused
    Header,     // a message begins with a line that can't be read; it was answered, like the next three
    Kind,       // ... that is of a kind that is not known
    Operation,  // ... of an operation that is not known, or not of this kind
    Version,    // ... of a version that is not known
    Incomplete, // a client went in the middle of a message, of which nothing is handed on
    Memory,     // there is not enough for a message, which is not answered
    Option,     // a value that an option can't have
    Oversized,  // a message is longer than the limit; nothing of it is handed on, and it is not answered
    Pipe,       // the pipe can't be served, such as when another program serves it
    State,      // a call at the wrong time
    Timeout     // a client stood still for `idleTimeout`, in front of a message, in it, or behind it
};

/// A name that stays what it is, such as "ERR_LINKWELL_HANDLER": the same as that of the host for Node.js.
[[nodiscard]] const char* nameOf(ErrorCode code) noexcept;

/// What goes wrong: thrown by calls, and handed to the handler of errors.
struct Error : std::runtime_error
{
    Error(ErrorCode code, const std::string& text, std::uint32_t systemError = 0);

    ErrorCode code;
    std::uint32_t systemError = 0; // as GetLastError says; 0 where no call of the system has failed
    std::string message{};         // of a header that can't be read: the whole message
    std::exception_ptr cause{};    // of `Handler`: what was thrown
};

// ---- Messages ----------------------------------------------------------------------------------------------------------

/// A contact. What is absent is empty. Of a deleted one, `entryId` alone is there.
struct Contact
{
    std::string displayName;
    std::string givenName;
    std::string middleName;
    std::string surname;
    std::string company;
    std::string email;
    std::string businessPhone;
    std::string homePhone;
    std::string mobilePhone;
    std::string businessFax;
    std::string entryId;       // its identity: opaque, upper-case hexadecimal; empty where the store does not give it
    std::string folderEntryId; // that of its folder
    bool guessed = false; // a ";" stands in a field: the identifiers are certain, where other fields begin is guessed
};

/// The fields of a contact in the order of the wire, with their names.
struct ContactField
{
    const char* name;
    std::string Contact::* member;
};
inline constexpr std::array<ContactField, 12> contactFields{{{"displayName", &Contact::displayName},
                                                             {"givenName", &Contact::givenName},
                                                             {"middleName", &Contact::middleName},
                                                             {"surname", &Contact::surname},
                                                             {"company", &Contact::company},
                                                             {"email", &Contact::email},
                                                             {"businessPhone", &Contact::businessPhone},
                                                             {"homePhone", &Contact::homePhone},
                                                             {"mobilePhone", &Contact::mobilePhone},
                                                             {"businessFax", &Contact::businessFax},
                                                             {"entryId", &Contact::entryId},
                                                             {"folderEntryId", &Contact::folderEntryId}}};

[[nodiscard]] bool operator==(const Contact& one, const Contact& other) noexcept;
[[nodiscard]] inline bool operator!=(const Contact& one, const Contact& other) noexcept
{
    return !(one == other);
}

/// Shared by messages, changes and stores, so that a large message is not copied. Any thread may read it.
using ContactPtr = std::shared_ptr<const Contact>;

enum class Operation
{
    Snapshot,
    Add,
    Change,
    Delete
};

enum class Kind
{
    Contact,
    Folder
};

/// Their words on the wire.
[[nodiscard]] const char* nameOf(Operation operation) noexcept;
[[nodiscard]] const char* nameOf(Kind kind) noexcept;

/// One item of a message: a contact; or a folder, which is deleted with all contacts whose `folderEntryId` it is; or a text
/// of which nothing can be made, with neither. Of that, an empty one is to be passed over.
struct Item
{
    std::size_t begin = 0;       // where its text stands in that of the message; see `Message::textOf`
    std::size_t length = 0;      // in bytes
    ContactPtr contact{};        // null: it is none
    std::string folderEntryId{}; // empty: it is no folder
};

struct Message
{
    Operation operation = Operation::Snapshot;
    Kind kind = Kind::Contact; // of all items
    std::uint64_t index = 0;   // in a snapshot, the place of the store among all; otherwise 0
    std::uint64_t total = 0;   // in a snapshot, the number of stores, empty ones included; otherwise 1
    std::string text{};        // all of it, as it came
    std::vector<Item> items{};

    /// An item's text: one line, or several. Valid as long as this message and its text are.
    [[nodiscard]] std::string_view textOf(const Item& item) const
    {
        return std::string_view(text).substr(item.begin, item.length);
    }
};

/// Reads a whole message, without the length in front of it. `Host` does so; this is for recorded ones.
/// Throws Error when its header can't be read, and std::bad_alloc.
[[nodiscard]] Message parseMessage(std::string text);

// ---- The host ----------------------------------------------------------------------------------------------------------

struct HostOptions
{
    /// Another one for tests.
    std::wstring pipe = pipePath;
    /// Longer messages are an error. A store is one message, of some 350 bytes for each contact.
    std::size_t maxMessageBytes = 256 * 1024 * 1024;
    /// For which a client may stand still: send nothing, not read its answer, not go. A handler may take as long as it likes.
    std::chrono::milliseconds idleTimeout{30'000};
};

/// Serves the pipe, with four instances for the current user alone, each on a thread of its own.
///
/// Both handlers are called on a further thread, always the same from `start` to `stop`, one call at a time, messages in the
/// order in which they have become whole. A message is answered when its handler has returned; the agent does nothing else
/// until then, so return soon. A handler that throws refuses its message: it is lost, and during its snapshot the agent ends.
/// Whatever else goes wrong is handed to the handler of errors, and the host goes on; what that one throws is dropped.
///
/// All functions may be called from any thread, and from the handlers too, unless they say otherwise.
class Host
{
public:
    using MessageHandler = std::function<void(Message)>; // one that takes `const Message&` fits as well
    using ErrorHandler = std::function<void(const Error&)>;

    /// Throws Error (`Option`) without both handlers, and for values that can't be.
    Host(MessageHandler onMessage, ErrorHandler onError, HostOptions options = {});
    /// `stop()`; then waits for a handler that still runs. Not in a handler.
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    /// Agents can connect when it returns. Start none before: it ends when its first message finds no host.
    /// Throws Error: `Pipe` when the pipe can't be had, and then nothing runs; `State` when the host runs already.
    void start();

    /// Takes no new connections, and waits for those that there are, so that an answer on its way still arrives. What has not
    /// ended after `timeout` is cut: an error `Closed` for each message that is not answered by that. Afterwards there is no
    /// pipe, and no handler runs, unless the result is false: a handler ran on for three seconds more. Then call it
    /// again before `start`. In a handler it waits for nothing, and the result is false: all ends when the handler has returned.
    bool stop(std::chrono::milliseconds timeout = std::chrono::seconds(5));

private:
    class Service;

    const MessageHandler m_onMessage;
    const ErrorHandler m_onError;
    const HostOptions m_options;
    std::mutex m_mutex;
    std::shared_ptr<Service> m_service; // from `start` to the end of `stop`
};

// ---- What a host knows -------------------------------------------------------------------------------------------------

/// What a message has changed in a store.
struct Change
{
    struct Edit
    {
        ContactPtr before;
        ContactPtr after;
    };

    bool forgot = false; // a new run of the agent has begun: `removed` begins with all that was known
    std::vector<ContactPtr> added{};
    std::vector<Edit> changed{};
    std::vector<ContactPtr> removed{};     // as they were last known, those of deleted folders included
    std::vector<std::string> unknown{};    // the identifiers of what was deleted and not known
    std::vector<std::string> unreadable{}; // the texts of items that can't be kept, as they have no identifier
};

/// The contacts that a host knows. Not for two threads at once: use it in the handler of messages, or with a lock.
///
/// A snapshot has no mark for its beginning: a message of one counts as the first of a new run of the agent, before which all
/// is forgotten, when it can't go on with the snapshot before it, as its index is not above the last one, its number of
/// stores is another, or a change came in between. Who starts the agent knows better, and calls `clear`.
class ContactStore
{
public:
    Change apply(const Message& message);
    /// Forgets everything.
    Change clear();

    /// By entry identifier. The keys stand in the contacts.
    [[nodiscard]] const std::map<std::string_view, ContactPtr>& contacts() const noexcept { return m_contacts; }
    /// Null when it is not known.
    [[nodiscard]] ContactPtr find(std::string_view entryId) const;
    /// The identifiers of all folders that have contacts.
    [[nodiscard]] std::vector<std::string> folders() const;
    [[nodiscard]] std::vector<ContactPtr> contactsIn(std::string_view folderEntryId) const;

private:
    using Contacts = std::map<std::string_view, ContactPtr>;

    void put(const ContactPtr& contact, Change& change);
    void remove(const ContactPtr& contact, Change& change);
    void removeFolder(const std::string& folderEntryId, Change& change);
    void takeOut(const Contact& contact);

    Contacts m_contacts;
    std::map<std::string, Contacts, std::less<>> m_folders; // none is empty
    bool m_inSnapshot = false;                              // the last message was one of a snapshot, with these:
    std::uint64_t m_index = 0;
    std::uint64_t m_total = 0;
};
} // namespace linkwell

// LinkwellHost.cpp: the reading of messages, the pipe by the reference sequence of docs/wire-protocol.md, and the store.
// One file, however long, as it is taken into other code.
#include "LinkwellHost.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <iterator>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace linkwell
{
namespace
{
using namespace std::chrono_literals;

// ---- Messages ----------------------------------------------------------------------------------------------------------

constexpr std::string_view protocolVersion = "2";
constexpr std::array<const char*, 4> operationNames{"snapshot", "add", "change", "delete"};
constexpr std::array<const char*, 2> kindNames{"contact", "folder"};
constexpr std::size_t longestHeader = 200;
constexpr std::size_t semicolonsOfContact = contactFields.size() - 1;
constexpr std::size_t fieldsBeforeCompany = 4;
constexpr std::size_t fieldsBehindCompany = 7;
constexpr std::size_t leastIdDigits = 10;

bool isHex(std::string_view text, std::size_t leastDigits) noexcept
{
    return text.size() >= leastDigits && text.size() % 2 == 0 &&
           text.find_first_not_of("0123456789ABCDEF") == std::string_view::npos;
}

bool isDecimal(std::string_view text) noexcept
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

/// At least one, as a text without a ";" is one.
std::vector<std::string_view> fieldsOf(std::string_view text, const std::vector<std::size_t>& semicolons)
{
    std::vector<std::string_view> fields;
    std::size_t begin = 0;
    for (const std::size_t end : semicolons)
    {
        fields.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    fields.push_back(text.substr(begin));
    return fields;
}

std::vector<std::size_t> semicolonsIn(std::string_view text)
{
    std::vector<std::size_t> places;
    for (std::size_t at = text.find(';'); at != std::string_view::npos; at = text.find(';', at + 1))
        places.push_back(at);
    return places;
}

template <std::size_t count>
std::size_t indexOf(std::string_view name, const std::array<const char*, count>& names, ErrorCode code,
                    const char* what)
{
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end())
        throw Error(code, "the " + std::string(what) + " " + quoted(name) + " is not known");
    return static_cast<std::size_t>(found - names.begin());
}

std::uint64_t readNumber(std::string_view text, const char* what)
{
    if (!isDecimal(text) || text.size() > 15 || (text.size() > 1 && text[0] == '0'))
        throw Error(ErrorCode::Header, "the " + std::string(what) + " " + quoted(text) + " is not a number");
    return std::stoull(std::string(text));
}

/// All of a message but its text and items.
Message readHeader(std::string_view line)
{
    if (line.size() > longestHeader)
        throw Error(ErrorCode::Header, "the header has " + std::to_string(line.size()) + " bytes");
    const auto fields = fieldsOf(line, semicolonsIn(line));
    if (fields.size() > 1 && fields[0] != protocolVersion && isDecimal(fields[0]))
        throw Error(ErrorCode::Version, "version " + std::string(fields[0]) + " of the protocol is not known, only 2");
    if (fields.size() != 5)
        throw Error(ErrorCode::Header, "the header has " + std::to_string(fields.size()) + " field(s), not 5");
    if (fields[0] != protocolVersion)
        throw Error(ErrorCode::Header, "the header begins with " + quoted(fields[0]) + ", not \"2\"");
    Message message;
    message.operation = static_cast<Operation>(indexOf(fields[1], operationNames, ErrorCode::Operation, "operation"));
    message.kind = static_cast<Kind>(indexOf(fields[2], kindNames, ErrorCode::Kind, "kind"));
    if (message.kind == Kind::Folder && message.operation != Operation::Delete)
        throw Error(ErrorCode::Operation, "the operation " + quoted(fields[1]) + " is not known of folders");
    message.index = readNumber(fields[3], "index");
    message.total = readNumber(fields[4], "total");
    return message;
}

/// Reads the items of a message, by the rules of docs/wire-protocol.md. Each byte is looked at a few times, however long a
/// line or a contact is.
class ItemReader
{
public:
    ItemReader(Message& message, std::size_t begin) : m_message(message), m_text(message.text), m_begin(begin) {}

    void read()
    {
        for (std::size_t line = m_begin; line <= m_text.size();)
        {
            const std::size_t end = (std::min)(m_text.find('\n', line), m_text.size());
            takeLine(line, end);
            line = end + 1;
        }
        if (m_begin <= m_text.size()) // what is left over is no contact that anything can be done with
            add(m_text.size());
    }

private:
    void takeLine(std::size_t begin, std::size_t end)
    {
        const std::string_view line = m_text.substr(begin, end - begin);
        if (m_message.kind == Kind::Folder)
        {
            Item& item = add(end);
            if (isHex(line, 2))
                item.folderEntryId = line;
            return;
        }
        for (std::size_t at = line.find(';'); at != line.npos; at = line.find(';', at + 1))
            m_semicolons.push_back(begin + at - m_begin);
        if (m_message.operation == Operation::Delete)
            addDeleted(end);
        else if (endsContact(begin, end))
            addContact(end);
    }

    /// Each line is an item, and has an identifier alone.
    void addDeleted(std::size_t end)
    {
        const auto fields = fieldsOf(m_text.substr(m_begin, end - m_begin), m_semicolons);
        const bool valid = fields.size() == contactFields.size() && isHex(fields[10], 2) &&
                           end - m_begin == fields[10].size() + semicolonsOfContact;
        ContactPtr contact = valid ? makeContact(fields) : nullptr;
        add(end).contact = std::move(contact);
    }

    /// Whether a contact, which may take several lines, is whole with this one.
    [[nodiscard]] bool endsContact(std::size_t line, std::size_t end) const
    {
        const std::size_t count = m_semicolons.size();
        if (count < semicolonsOfContact || m_begin + m_semicolons[count - 2] < line)
            return false;
        const auto isId = [&](std::size_t begin, std::size_t idEnd)
        {
            return isHex(m_text.substr(begin, idEnd - begin), leastIdDigits) ||
                   (begin == idEnd && count == semicolonsOfContact);
        };
        const std::size_t last = m_begin + m_semicolons[count - 1];
        return isId(m_begin + m_semicolons[count - 2] + 1, last) && isId(last + 1, end);
    }

    void addContact(std::size_t end)
    {
        const std::string_view text = m_text.substr(m_begin, end - m_begin);
        const bool guessed = m_semicolons.size() > semicolonsOfContact;
        ContactPtr contact = makeContact(guessed ? guessFields(text) : fieldsOf(text, m_semicolons), guessed);
        add(end).contact = std::move(contact);
    }

    [[nodiscard]] std::vector<std::string_view> guessFields(std::string_view text) const
    {
        // People write a blank, or end the line, behind a ";" of theirs, and fields seldom begin so.
        std::vector<std::size_t> semicolons;
        std::copy_if(m_semicolons.begin(), m_semicolons.end(), std::back_inserter(semicolons), [&](std::size_t at)
                     { return at + 1 == text.size() || std::string_view(" \r\n").find(text[at + 1]) == text.npos; });
        if (semicolons.size() != semicolonsOfContact)
        {
            // Names from the left, address and telephones from the right; what is between is the company.
            semicolons.assign(m_semicolons.begin(), m_semicolons.begin() + fieldsBeforeCompany);
            semicolons.insert(semicolons.end(), m_semicolons.end() - fieldsBehindCompany, m_semicolons.end());
        }
        return fieldsOf(text, semicolons);
    }

    static ContactPtr makeContact(const std::vector<std::string_view>& fields, bool guessed = false)
    {
        const auto contact = std::make_shared<Contact>();
        contact->guessed = guessed;
        for (std::size_t field = 0; field < contactFields.size(); ++field)
            (*contact).*contactFields[field].member = fields[field];
        return contact;
    }

    /// What has not ended yet becomes an item, and the next one begins behind it.
    Item& add(std::size_t end)
    {
        Item& item = m_message.items.emplace_back();
        item.begin = m_begin;
        item.length = end - m_begin;
        m_begin = end + 1;
        m_semicolons.clear();
        return item;
    }

    Message& m_message;
    const std::string_view m_text;
    std::size_t m_begin;                   // of the item that has not ended yet
    std::vector<std::size_t> m_semicolons; // those in it, from its begin
};

// ---- The pipe ----------------------------------------------------------------------------------------------------------

constexpr DWORD instanceCount = 4;
constexpr DWORD bufferBytes = 4096;
constexpr DWORD waitForInstance = 5000; // milliseconds, for which a client waits that finds no free one
constexpr std::size_t lengthBytes = 4;
constexpr std::size_t pieceBytes = 256 * 1024;
constexpr std::chrono::milliseconds waitForHandlers = 3s; // when all connections have been cut
constexpr std::chrono::milliseconds longestStop = 24h * 365;

struct HandleCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

[[noreturn]] void throwPipeError(const std::string& reason, DWORD error)
{
    const bool taken = error == ERROR_ACCESS_DENIED || error == ERROR_PIPE_BUSY;
    throw Error(ErrorCode::Pipe,
                "the pipe can't be served: " + reason + ", system error " + std::to_string(error) +
                    (taken ? "; most likely another program serves it" : ""),
                error);
}

/// The owner of what a call gives; throws Error where it gives nothing.
Handle checked(HANDLE handle, const char* call)
{
    if (handle == nullptr || handle == INVALID_HANDLE_VALUE)
        throwPipeError(std::string(call) + " failed", GetLastError());
    return Handle(handle);
}

Handle makeEvent()
{
    return checked(CreateEventW(nullptr, TRUE, FALSE, nullptr), "CreateEventW");
}

/// Lets the user of this process do everything with what is made, and nobody else anything. The default list would lock an
/// agent out that is not elevated while its host is.
class OwnUserOnly
{
public:
    OwnUserOnly()
    {
        HANDLE token = nullptr;
        if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token))
            throwPipeError("OpenProcessToken failed", GetLastError());
        const Handle owned(token);
        DWORD size = 0;
        if (!GetTokenInformation(token, TokenUser, m_user.data(), sizeof(m_user), &size))
            throwPipeError("GetTokenInformation failed", GetLastError());
        const auto acl = reinterpret_cast<ACL*>(m_acl.data());
        if (!InitializeAcl(acl, sizeof(m_acl), ACL_REVISION) ||
            !AddAccessAllowedAce(acl, ACL_REVISION, FILE_ALL_ACCESS,
                                 reinterpret_cast<TOKEN_USER*>(m_user.data())->User.Sid) ||
            !InitializeSecurityDescriptor(&m_descriptor, SECURITY_DESCRIPTOR_REVISION) ||
            !SetSecurityDescriptorDacl(&m_descriptor, TRUE, acl, FALSE) ||
            !SetSecurityDescriptorControl(&m_descriptor, SE_DACL_PROTECTED, SE_DACL_PROTECTED))
            throwPipeError("the access list can't be made", GetLastError());
    }
    OwnUserOnly(const OwnUserOnly&) = delete;
    OwnUserOnly& operator=(const OwnUserOnly&) = delete;

    [[nodiscard]] SECURITY_ATTRIBUTES* attributes() noexcept { return &m_attributes; }

private:
    template <std::size_t bytes>
    using Buffer = std::array<void*, bytes / sizeof(void*) + 1>; // aligned for both

    Buffer<sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> m_user;
    Buffer<sizeof(ACL) + sizeof(ACCESS_ALLOWED_ACE) + SECURITY_MAX_SID_SIZE> m_acl;
    SECURITY_DESCRIPTOR m_descriptor{};
    SECURITY_ATTRIBUTES m_attributes{sizeof(SECURITY_ATTRIBUTES), &m_descriptor, FALSE};
};

enum class Outcome
{
    Done,
    Gone, // the client has closed
    TimedOut,
    Stopped,
    Failed
};

/// One instance of the pipe, used by one thread. What an operation began has ended when it returns.
class Instance
{
public:
    Instance(const std::wstring& path, DWORD flags, SECURITY_ATTRIBUTES* access)
        : m_pipe(checked(CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | flags,
                                          PIPE_TYPE_BYTE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS, instanceCount,
                                          bufferBytes, bufferBytes, waitForInstance, access),
                         "CreateNamedPipeW")),
          m_done(makeEvent())
    {
    }

    /// Whether there can be no instances but the four: Wine 8 ignores FILE_FLAG_FIRST_PIPE_INSTANCE, and lets who has made
    /// the pipe decide on the most.
    [[nodiscard]] bool isOfFour() const
    {
        DWORD most = 0;
        return GetNamedPipeInfo(m_pipe.get(), nullptr, nullptr, nullptr, &most) && most == instanceCount;
    }

    /// A client that has gone by then counts as well: what it has sent can still be read.
    Outcome accept(HANDLE stop)
    {
        DWORD nothing = 0;
        const Outcome outcome = finish(ConnectNamedPipe(m_pipe.get(), begin()), stop, INFINITE, nothing);
        if (outcome == Outcome::Gone)
            return m_error == ERROR_NO_DATA ? Outcome::Done : Outcome::Failed;
        return outcome;
    }
    Outcome read(char* bytes, std::size_t size, DWORD& count, HANDLE stop, DWORD limit)
    {
        return finish(ReadFile(m_pipe.get(), bytes, static_cast<DWORD>(size), nullptr, begin()), stop, limit, count);
    }
    Outcome write(std::string_view bytes, HANDLE stop, DWORD limit)
    {
        DWORD count = 0;
        const auto size = static_cast<DWORD>(bytes.size());
        return finish(WriteFile(m_pipe.get(), bytes.data(), size, nullptr, begin()), stop, limit, count);
    }
    void disconnect() noexcept { DisconnectNamedPipe(m_pipe.get()); }
    void close() noexcept { m_pipe.reset(); }
    /// Of what has failed.
    [[nodiscard]] DWORD error() const noexcept { return m_error; }

private:
    OVERLAPPED* begin() noexcept
    {
        m_overlapped = {};
        m_overlapped.hEvent = m_done.get();
        return &m_overlapped;
    }

    Outcome finish(BOOL started, HANDLE stop, DWORD limit, DWORD& count)
    {
        count = 0;
        m_error = started ? ERROR_SUCCESS : GetLastError();
        if (!started && m_error != ERROR_IO_PENDING)
            return outcomeOf(m_error);
        const std::array<HANDLE, 2> events{m_done.get(), stop};
        const DWORD which = WaitForMultipleObjects(2, events.data(), FALSE, limit);
        if (which != WAIT_OBJECT_0)
            CancelIoEx(m_pipe.get(), &m_overlapped);
        if (GetOverlappedResult(m_pipe.get(), &m_overlapped, &count, TRUE)) // it may have been done all the same
            return Outcome::Done;
        count = 0;
        m_error = GetLastError();
        if (m_error == ERROR_OPERATION_ABORTED)
            return which == WAIT_TIMEOUT ? Outcome::TimedOut : Outcome::Stopped;
        return outcomeOf(m_error);
    }

    static Outcome outcomeOf(DWORD error) noexcept
    {
        switch (error)
        {
        case ERROR_PIPE_CONNECTED: // a client was faster
            return Outcome::Done;
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA:
        case ERROR_PIPE_NOT_CONNECTED:
            return Outcome::Gone;
        default:
            return Outcome::Failed;
        }
    }

    Handle m_pipe;
    Handle m_done;
    OVERLAPPED m_overlapped{};
    DWORD m_error = ERROR_SUCCESS;
};

/// Something that a handler is called for: a message, or else an error. Guarded by the mutex of its service, but for what
/// the handlers get.
struct Call
{
    std::optional<Message> message{};
    std::optional<Error> error{};
    bool done = false;
    bool accepted = false;
};
} // namespace

// ---- The service -------------------------------------------------------------------------------------------------------

/// What there is from a start to the end of the stop: the instances with their threads, and the thread of the handlers.
class Host::Service
{
public:
    /// Borrows the host, and makes the pipe. Throws Error.
    explicit Service(const Host& host) : m_host(host)
    {
        OwnUserOnly access;
        for (DWORD made = 0; made < instanceCount; ++made)
        {
            const DWORD flags = made == 0 ? FILE_FLAG_FIRST_PIPE_INSTANCE : 0;
            m_instances.emplace_back(host.m_options.pipe, flags, access.attributes());
        }
        if (!m_instances.back().isOfFour())
            throwPipeError("it has instances of somebody else", ERROR_ACCESS_DENIED);
    }
    ~Service()
    {
        beginStop();
        cut();
        for (std::thread& thread : m_threads)
            thread.join();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Throws std::system_error where there can be no more threads.
    void start()
    {
        const std::lock_guard lock(m_mutex);
        m_threads.reserve(instanceCount + 1);
        m_threads.emplace_back([this] { runHandlers(); });
        m_handlerThread = m_threads.back().get_id();
        for (Instance& instance : m_instances)
        {
            m_threads.emplace_back([this, &instance] { serve(instance); });
            ++m_serving;
        }
    }

    bool stop(std::chrono::milliseconds timeout)
    {
        beginStop();
        std::unique_lock lock(m_mutex);
        if (std::this_thread::get_id() == m_handlerThread)
            return false;
        const auto isOver = [this]
        {
            return m_handlersEnded;
        };
        if (m_changed.wait_for(lock, timeout, isOver))
            return true;
        lock.unlock();
        cut();
        lock.lock();
        m_changed.wait(lock, [this] { return m_serving == 0; });
        return m_changed.wait_for(lock, waitForHandlers, isOver);
    }

    /// Whether all has ended, as when a handler has stopped it.
    [[nodiscard]] bool hasEnded()
    {
        const std::lock_guard lock(m_mutex);
        return m_handlersEnded;
    }

private:
    // ---- What the threads of the instances do ------------------------------------------------------------------------

    void serve(Instance& instance) noexcept
    {
        bool failed = false;
        while (WaitForSingleObject(m_stopping.get(), failed ? 1000 : 0) == WAIT_TIMEOUT)
        {
            const Outcome outcome = instance.accept(m_stopping.get());
            failed = outcome == Outcome::Failed;
            if (outcome == Outcome::Done)
                serveClient(instance);
            else if (failed)
                report([&] { return Error(ErrorCode::Pipe, "no client can be accepted", instance.error()); });
            instance.disconnect();
        }
        instance.close();
        const std::lock_guard lock(m_mutex);
        --m_serving;
        m_changed.notify_all();
    }

    /// From its connection to its close: the agent sends one message, but several are fine.
    void serveClient(Instance& instance) noexcept
    {
        try
        {
            for (std::string text; receive(instance, text) && deliver(std::move(text));)
                answer(instance);
        }
        catch (const Error& error)
        {
            report([&] { return error; });
        }
        catch (const std::exception& error) // of the standard library: there is no memory, or not that much
        {
            report([&] { return Error(ErrorCode::Memory, "a message can't be taken: " + std::string(error.what())); });
        }
    }

    /// The text of the next message; false when the client goes in front of it, or is cut there. Throws Error otherwise.
    bool receive(Instance& instance, std::string& text)
    {
        Outcome outcome = readInto(instance, text, lengthBytes);
        if (text.empty() && (outcome == Outcome::Gone || outcome == Outcome::Stopped))
            return false;
        if (outcome != Outcome::Done)
            throw failure(instance, outcome, "in the length of a message");
        std::size_t length = 0;
        for (const char byte : text)
            length = length << 8 | static_cast<unsigned char>(byte);
        if (length > m_host.m_options.maxMessageBytes)
            throw Error(ErrorCode::Oversized, "a message of " + std::to_string(length) +
                                                  " bytes is above the limit of " +
                                                  std::to_string(m_host.m_options.maxMessageBytes));
        outcome = readInto(instance, text, length);
        if (outcome != Outcome::Done)
            throw failure(instance, outcome,
                          "after " + std::to_string(text.size()) + " of " + std::to_string(length) +
                              " bytes of a message");
        return true;
    }

    /// Replaces the text by what comes. Its room doubles with that, as a length alone proves nothing, and ends at `size`.
    Outcome readInto(Instance& instance, std::string& text, std::size_t size)
    {
        text.clear();
        std::size_t firstRoom = size;
        while (firstRoom > pieceBytes)
            firstRoom = (firstRoom + 1) / 2;
        std::size_t received = 0;
        Outcome outcome = Outcome::Done;
        while (received < size && outcome == Outcome::Done)
        {
            if (received == text.size())
                text.resize((std::min)(size, (std::max)(firstRoom, 2 * received)));
            DWORD count = 0;
            outcome = instance.read(&text[received], text.size() - received, count, m_cut.get(), idleLimit());
            received += count;
        }
        text.resize(received);
        return outcome;
    }

    /// Has the message handled; whether it is to be answered. Throws Error when it is cut before that.
    bool deliver(std::string text)
    {
        const auto call = std::make_shared<Call>();
        try
        {
            call->message = parseMessage(std::move(text));
        }
        catch (const Error& error)
        {
            call->error = error;
        }
        std::unique_lock lock(m_mutex);
        m_calls.push_back(call);
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return call->done || m_isCut; });
        if (!call->done)
            throw Error(ErrorCode::Closed, "the host was stopped before a message was answered");
        return call->accepted;
    }

    /// In one write: the agent takes the first bytes that come for the whole answer.
    void answer(Instance& instance)
    {
        const Outcome outcome = instance.write("ack", m_cut.get(), idleLimit());
        if (outcome == Outcome::Gone)
            throw Error(ErrorCode::Connection, "a client went before it was answered", instance.error());
        if (outcome != Outcome::Done)
            throw failure(instance, outcome, "in the answer");
    }

    Error failure(const Instance& instance, Outcome outcome, const std::string& where) const
    {
        switch (outcome)
        {
        case Outcome::Gone:
            return Error(ErrorCode::Incomplete, "a client went " + where, instance.error());
        case Outcome::TimedOut:
            return Error(ErrorCode::Timeout,
                         "a client stood still for " + std::to_string(idleLimit()) + " ms " + where);
        case Outcome::Stopped:
            return Error(ErrorCode::Closed, "the host was stopped " + where);
        default:
            return Error(ErrorCode::Connection, "a connection broke " + where, instance.error());
        }
    }

    [[nodiscard]] DWORD idleLimit() const noexcept { return static_cast<DWORD>(m_host.m_options.idleTimeout.count()); }

    /// Nothing waits for the handler of errors here. What there is no memory for is not told.
    template <typename MakeError>
    void report(MakeError makeError) noexcept
    {
        try
        {
            const auto call = std::make_shared<Call>();
            call->error = makeError();
            const std::lock_guard lock(m_mutex);
            m_calls.push_back(call);
            m_changed.notify_all();
        }
        catch (const std::exception&)
        {
        }
    }

    // ---- What the thread of the handlers does ------------------------------------------------------------------------

    void runHandlers() noexcept
    {
        std::unique_lock lock(m_mutex);
        while (true)
        {
            m_changed.wait(lock, [this] { return !m_calls.empty() || (m_isStopping && m_serving == 0); });
            if (m_calls.empty())
                break;
            const std::shared_ptr<Call> call = std::move(m_calls.front());
            m_calls.pop_front();
            if (call->message && m_isCut) // its client has been cut
                continue;
            lock.unlock();
            const bool accepted = makeCall(*call);
            lock.lock();
            call->accepted = accepted;
            call->done = true;
            m_changed.notify_all();
        }
        m_handlersEnded = true;
        m_changed.notify_all();
    }

    /// False when a message is refused.
    bool makeCall(Call& call) const noexcept
    {
        try
        {
            if (!call.message)
                tell(*call.error);
            else
                m_host.m_onMessage(std::move(*call.message));
            return true;
        }
        catch (const std::exception& thrown)
        {
            tellRefusal(thrown.what());
        }
        catch (...)
        {
            tellRefusal("it has thrown what is no std::exception");
        }
        return false;
    }

    /// In a catch block.
    void tellRefusal(const char* reason) const noexcept
    {
        try
        {
            Error error(ErrorCode::Handler, "a handler failed, and so its message is refused: " + std::string(reason));
            error.cause = std::current_exception();
            tell(error);
        }
        catch (...)
        {
        }
    }

    void tell(const Error& error) const noexcept
    {
        try
        {
            m_host.m_onError(error);
        }
        catch (...)
        {
        }
    }

    // ---- What ends them ----------------------------------------------------------------------------------------------

    void beginStop() { set(m_isStopping, m_stopping); }
    void cut() { set(m_isCut, m_cut); }
    void set(bool& flag, const Handle& event)
    {
        const std::lock_guard lock(m_mutex);
        flag = true;
        SetEvent(event.get());
        m_changed.notify_all();
    }

    const Host& m_host;
    const Handle m_stopping = makeEvent(); // no new connections
    const Handle m_cut = makeEvent();      // no connections
    std::deque<Instance> m_instances;

    std::mutex m_mutex; // for all below
    std::condition_variable m_changed;
    std::deque<std::shared_ptr<Call>> m_calls;
    std::size_t m_serving = 0; // threads of instances
    bool m_isStopping = false;
    bool m_isCut = false;
    bool m_handlersEnded = false;
    std::thread::id m_handlerThread;
    std::vector<std::thread> m_threads; // the handlers' first
};

// ---- Public ------------------------------------------------------------------------------------------------------------

const char* nameOf(ErrorCode code) noexcept
{
    switch (code)
    {
    case ErrorCode::Closed:
        return "ERR_LINKWELL_CLOSED";
    case ErrorCode::Connection:
        return "ERR_LINKWELL_CONNECTION";
    case ErrorCode::Handler:
        return "ERR_LINKWELL_HANDLER";
    case ErrorCode::Header:
        return "ERR_LINKWELL_HEADER";
    case ErrorCode::Kind:
        return "ERR_LINKWELL_KIND";
    case ErrorCode::Operation:
        return "ERR_LINKWELL_OPERATION";
    case ErrorCode::Version:
        return "ERR_LINKWELL_VERSION";
    case ErrorCode::Incomplete:
        return "ERR_LINKWELL_INCOMPLETE";
    case ErrorCode::Memory:
        return "ERR_LINKWELL_MEMORY";
    case ErrorCode::Option:
        return "ERR_LINKWELL_OPTION";
    case ErrorCode::Oversized:
        return "ERR_LINKWELL_OVERSIZED";
    case ErrorCode::Pipe:
        return "ERR_LINKWELL_PIPE";
    case ErrorCode::State:
        return "ERR_LINKWELL_STATE";
    case ErrorCode::Timeout:
        return "ERR_LINKWELL_TIMEOUT";
    }
    return "";
}

const char* nameOf(Operation operation) noexcept
{
    return operationNames[static_cast<std::size_t>(operation)];
}

const char* nameOf(Kind kind) noexcept
{
    return kindNames[static_cast<std::size_t>(kind)];
}

Error::Error(ErrorCode errorCode, const std::string& text, std::uint32_t error)
    : std::runtime_error(text), code(errorCode), systemError(error)
{
}

bool operator==(const Contact& one, const Contact& other) noexcept
{
    return std::all_of(contactFields.begin(), contactFields.end(),
                       [&](const ContactField& field) { return one.*field.member == other.*field.member; });
}

Message parseMessage(std::string text)
{
    Message message;
    try
    {
        const std::size_t end = text.find('\n');
        if (end == std::string::npos)
            throw Error(ErrorCode::Header, "the header line does not end");
        message = readHeader(std::string_view(text).substr(0, end));
        message.text = std::move(text);
        ItemReader(message, end + 1).read();
    }
    catch (Error& error)
    {
        error.message = std::move(text);
        throw;
    }
    return message;
}

Host::Host(MessageHandler onMessage, ErrorHandler onError, HostOptions options)
    : m_onMessage(std::move(onMessage)), m_onError(std::move(onError)), m_options(std::move(options))
{
    if (!m_onMessage || !m_onError)
        throw Error(ErrorCode::Option, "a host needs a handler of messages and one of errors");
    if (m_options.pipe.empty())
        throw Error(ErrorCode::Option, "pipe must be the path of a pipe");
    if (m_options.maxMessageBytes == 0)
        throw Error(ErrorCode::Option, "maxMessageBytes must be above 0");
    if (m_options.idleTimeout < 1ms || m_options.idleTimeout > 24h)
        throw Error(ErrorCode::Option, "idleTimeout must be a millisecond to a day");
}

Host::~Host()
{
    while (!stop()) // a handler that still runs may call `stop`, too
    {
    }
}

void Host::start()
{
    const std::lock_guard lock(m_mutex);
    if (m_service && !m_service->hasEnded())
        throw Error(ErrorCode::State, "the host has been started, and not stopped");
    m_service.reset();
    const auto service = std::make_shared<Service>(*this);
    try
    {
        service->start();
    }
    catch (const std::system_error& error)
    {
        throw Error(ErrorCode::Pipe, "the pipe can't be served: " + std::string(error.what()));
    }
    m_service = service;
}

bool Host::stop(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    std::shared_ptr<Service> service = m_service;
    lock.unlock();
    if (!service)
        return true;
    if (!service->stop((std::min)(timeout, longestStop)))
        return false;
    lock.lock();
    if (m_service == service)
        m_service.reset();
    lock.unlock();
    return true; // `service` joins the threads
}

// ---- The store ---------------------------------------------------------------------------------------------------------

Change ContactStore::apply(const Message& message)
{
    Change change;
    const bool isSnapshot = message.operation == Operation::Snapshot;
    const bool goesOn = m_inSnapshot ? message.index > m_index && message.total == m_total : m_contacts.empty();
    if (isSnapshot && !goesOn)
        change = clear();
    m_inSnapshot = isSnapshot;
    m_index = message.index;
    m_total = message.total;
    for (const Item& item : message.items)
    {
        if (!item.folderEntryId.empty())
            removeFolder(item.folderEntryId, change);
        else if (item.contact == nullptr || item.contact->entryId.empty())
            change.unreadable.emplace_back(message.textOf(item));
        else if (message.operation == Operation::Delete)
            remove(item.contact, change);
        else
            put(item.contact, change);
    }
    return change;
}

Change ContactStore::clear()
{
    Change change;
    change.forgot = true;
    for (const auto& known : m_contacts)
        change.removed.push_back(known.second);
    m_contacts.clear();
    m_folders.clear();
    m_inSnapshot = false;
    return change;
}

void ContactStore::put(const ContactPtr& contact, Change& change)
{
    if (const ContactPtr before = find(contact->entryId); before == nullptr)
        change.added.push_back(contact);
    else if (*before == *contact)
        return;
    else
    {
        change.changed.push_back({before, contact});
        takeOut(*before);
    }
    m_contacts.emplace(contact->entryId, contact);
    m_folders[contact->folderEntryId].emplace(contact->entryId, contact);
}

void ContactStore::remove(const ContactPtr& contact, Change& change)
{
    const ContactPtr known = find(contact->entryId);
    if (known == nullptr)
    {
        change.unknown.push_back(contact->entryId);
        return;
    }
    takeOut(*known);
    change.removed.push_back(known);
}

void ContactStore::removeFolder(const std::string& folderEntryId, Change& change)
{
    const auto folder = m_folders.find(folderEntryId);
    if (folder == m_folders.end())
    {
        change.unknown.push_back(folderEntryId);
        return;
    }
    for (const auto& known : folder->second)
    {
        m_contacts.erase(known.first);
        change.removed.push_back(known.second);
    }
    m_folders.erase(folder);
}

void ContactStore::takeOut(const Contact& contact)
{
    m_contacts.erase(contact.entryId);
    const auto folder = m_folders.find(contact.folderEntryId);
    folder->second.erase(contact.entryId);
    if (folder->second.empty())
        m_folders.erase(folder);
}

ContactPtr ContactStore::find(std::string_view entryId) const
{
    const auto found = m_contacts.find(entryId);
    return found == m_contacts.end() ? nullptr : found->second;
}

std::vector<std::string> ContactStore::folders() const
{
    std::vector<std::string> identifiers;
    for (const auto& folder : m_folders)
        identifiers.push_back(folder.first);
    return identifiers;
}

std::vector<ContactPtr> ContactStore::contactsIn(std::string_view folderEntryId) const
{
    std::vector<ContactPtr> contacts;
    if (const auto folder = m_folders.find(folderEntryId); folder != m_folders.end())
    {
        for (const auto& known : folder->second)
            contacts.push_back(known.second);
    }
    return contacts;
}
} // namespace linkwell

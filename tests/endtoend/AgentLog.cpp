#include "tests/endtoend/AgentLog.h"

#include <algorithm>
#include <array>
#include <optional>
#include <ostream>
#include <regex>
#include <stdexcept>

#include "tests/support/Handle.h"
#include "tests/support/LogFile.h"
#include "tests/support/mapi/LineNumbers.h"

namespace endtoend
{
namespace
{
constexpr std::string_view subscribeStart = "Subscribe to ";
constexpr std::string_view publicStore = "Event tracking for public store is not implemented.";
constexpr std::string_view adviseFailure = "HRESULT logged: mapi::NotificationSink::adviseInternal";
constexpr std::string_view closed = "WM_CLOSE received";
constexpr std::size_t stampSize = 25; // "05.03.2024 14:07:09.042  "
constexpr std::string_view lineEnd = "\r\n";
constexpr std::string_view workerEnd = "MAPI thread finished";
constexpr std::string_view threadClose = "WM_CLOSE for thread received, will quit";
constexpr std::string_view shutdown = "Shutdown...";
constexpr std::string_view sendingData = "Sending data:\n";
constexpr std::string_view continued = "(continue logging)"; // begins a file that followed on a full one

bool stampAt(std::string_view bytes, std::size_t position)
{
    return bytes.size() >= position + stampSize && bytes[position + 2] == '.' && bytes[position + 5] == '.' &&
           support::hasLogStamp(bytes.substr(position));
}

/// The agent writes CR LF for each line feed of a text, and changes nothing else.
std::string withLineFeeds(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size(); ++position)
    {
        if (bytes[position] == '\n' && (position == 0 || bytes[position - 1] != '\r'))
            throw std::runtime_error("the log has a line feed without a carriage return");
        if (bytes.substr(position, 2) != lineEnd)
            text += bytes[position];
    }
    return text;
}

std::string withoutSourceLine(std::string text)
{
    if (text.starts_with(sendingData)) // may be large, and may have anything in it
        return text;
    return support::withoutLineNumbers(std::vector{std::move(text)}).front();
}

/// Adds a record's text. The log takes no lock, so the line break in front of the worker's last record, or of one that the
/// main thread writes at the same moment, can be lost; then the second one stands behind the first, stamp and all.
void addRecord(Records& records, std::string_view bytes)
{
    for (std::size_t position = 1; position < bytes.size(); ++position)
    {
        if (!stampAt(bytes, position))
            continue;
        const std::string_view before = bytes.substr(0, position);
        const std::string_view behind = bytes.substr(position + stampSize);
        if (before == workerEnd || behind == workerEnd || behind == threadClose || behind == shutdown)
        {
            records.push_back(withoutSourceLine(withLineFeeds(before)));
            bytes = behind;
            break;
        }
    }
    records.push_back(withoutSourceLine(withLineFeeds(bytes)));
}

/// All bytes of a file that another process may write to, move and delete meanwhile; nothing when it isn't there.
std::optional<std::string> readWithoutHindrance(const std::filesystem::path& file)
{
    const HANDLE handle =
        CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_NOT_FOUND)
        return std::nullopt;
    const support::Handle opened = support::checkedFile(handle, "CreateFileW");
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(opened.get(), &size))
        support::throwLastError("GetFileSizeEx");
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    DWORD count = 0;
    if (!ReadFile(opened.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr))
        support::throwLastError("ReadFile");
    bytes.resize(count);
    return bytes;
}

struct ChangesCloser
{
    using pointer = HANDLE;
    void operator()(HANDLE handle) const noexcept { FindCloseChangeNotification(handle); }
};

bool isSubscribe(const std::string& record)
{
    return record.starts_with(subscribeStart);
}

/// Whether it says that a store can't be watched.
bool isRefused(const std::string& record)
{
    return record == publicStore || record.starts_with(adviseFailure);
}
} // namespace

void PrintTo(const Lines& lines, std::ostream* stream)
{
    // In quotes, with each line feed escaped, as GoogleTest prints a text: of texts it makes the comparison by lines.
    *stream << '"';
    for (const std::string& line : lines)
        *stream << std::regex_replace(line, std::regex("\n"), "\\n| ") << "\\n";
    *stream << '"';
}

Lines joined(std::initializer_list<Lines> parts)
{
    Lines all;
    for (const Lines& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Records logRecords(std::string_view bytes)
{
    Records records;
    if (bytes.empty())
        return records;
    if (!stampAt(bytes, 0) && !bytes.starts_with(continued))
        throw std::runtime_error("the log does not begin with a time stamp");

    std::size_t start = bytes.starts_with(continued) ? 0 : stampSize;
    for (auto end = bytes.find(lineEnd); end != std::string_view::npos; end = bytes.find(lineEnd, end + lineEnd.size()))
    {
        const std::size_t next = end + lineEnd.size();
        if (!stampAt(bytes, next))
            continue;
        addRecord(records, bytes.substr(start, end - start));
        start = next + stampSize;
    }
    addRecord(records, bytes.substr(start));
    return records;
}

Records readLog(const std::filesystem::path& file)
{
    const std::optional<std::string> bytes = readWithoutHindrance(file);
    return bytes ? logRecords(*bytes) : Records();
}

bool waitForRecord(const std::filesystem::path& file, std::string_view text, HANDLE process,
                   std::chrono::milliseconds limit)
{
    return waitForRecords(
        file, [text](const Records& records) { return std::ranges::find(records, text) != records.end(); }, process,
        limit);
}

bool waitForRecords(const std::filesystem::path& file, const std::function<bool(const Records& records)>& condition,
                    HANDLE process, std::chrono::milliseconds limit)
{
    // Asked for before the first look, so that no change falls between a look and the wait behind it.
    const HANDLE handle = FindFirstChangeNotificationW(file.parent_path().c_str(), FALSE,
                                                       FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_SIZE |
                                                           FILE_NOTIFY_CHANGE_LAST_WRITE);
    if (handle == INVALID_HANDLE_VALUE)
        support::throwLastError("FindFirstChangeNotificationW");
    const std::unique_ptr<void, ChangesCloser> changes(handle);
    const std::array<HANDLE, 2> events = {changes.get(), process};

    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + limit;
    while (!condition(readLog(file)))
    {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
            return false;
        if (WaitForMultipleObjects(2, events.data(), FALSE, static_cast<DWORD>(left)) != WAIT_OBJECT_0)
            return condition(readLog(file));
        if (!FindNextChangeNotification(changes.get()))
            support::throwLastError("FindNextChangeNotification");
    }
    return true;
}

void orderEndOfWorker(Records& records)
{
    const auto close = std::find(records.begin(), records.end(), threadClose);
    const auto behind = std::min<std::ptrdiff_t>(3, records.end() - close);
    const auto finished = std::find(close, close + behind, workerEnd);
    if (finished != close + behind)
        std::rotate(close, finished, finished + 1);
}

std::ptrdiff_t beginningWith(const Records& records, std::string_view text)
{
    return std::ranges::count_if(records, [text](const std::string& record) { return record.starts_with(text); });
}

std::ptrdiff_t advisedStores(const Records& records)
{
    return std::ranges::count_if(records, isSubscribe) - std::ranges::count_if(records, isRefused);
}

void eraseSubscribing(Records& records)
{
    bool subscribing = false;
    std::erase_if(records,
                  [&subscribing](const std::string& record)
                  {
                      if (isSubscribe(record) || record == closed)
                          subscribing = isSubscribe(record);
                      else
                          return subscribing && !isRefused(record);
                      return false;
                  });
}
} // namespace endtoend

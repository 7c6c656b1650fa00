// AgentLog.h: the agent's log file as the list of its records, also while the agent still writes it.
#pragma once

#include <windows.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Platform.h"

namespace endtoend
{
/// Texts in order. GoogleTest shows how two lists of them differ, line by line.
struct Lines : std::vector<std::string>
{
    using vector::vector;
};
void PrintTo(const Lines& lines, std::ostream* stream);
/// These lists one behind the other.
[[nodiscard]] Lines joined(std::initializer_list<Lines> parts);

/// The texts of the log's records.
using Records = Lines;

/// The texts of the records, in UTF-8: without the stamps, whose form is checked, and with single line feeds inside a
/// record, as the agent had them. A source line in a failure's text, "line 94", shows as "line N". An empty line
/// between two runs shows as a line feed at the end of the record in front of it. The first text of a file that followed
/// on a full one counts as a record. Throws on what no log can have.
[[nodiscard]] Records logRecords(std::string_view bytes);

/// `logRecords` of a file; none for a file that isn't there. Keeps nobody from writing to it or moving it meanwhile.
[[nodiscard]] Records readLog(const std::filesystem::path& file);

/// Waits until the file's records are as `condition` wants them. False when `process` ends before, or after `limit`. Woken by
/// changes in the file's folder.
[[nodiscard]] bool waitForRecords(const std::filesystem::path& file,
                                  const std::function<bool(const Records& records)>& condition, HANDLE process,
                                  std::chrono::milliseconds limit = support::deadline);
/// The same until a record with this text stands in the file.
[[nodiscard]] bool waitForRecord(const std::filesystem::path& file, std::string_view text, HANDLE process,
                                 std::chrono::milliseconds limit = support::deadline);

/// The record by which the worker takes leave, "MAPI thread finished", comes at the same time as the first two of the
/// main thread when the worker ends by itself. Puts it in front of them when it stands between or right behind them.
void orderEndOfWorker(Records& records);
/// How many records begin with this text.
[[nodiscard]] std::ptrdiff_t beginningWith(const Records& records, std::string_view text);
/// How many stores these records subscribe to, but for public ones and those that refuse.
[[nodiscard]] std::ptrdiff_t advisedStores(const Records& records);

/// Takes out what stands between each "Subscribe to ..." and the next one or "WM_CLOSE received". That a public store
/// isn't tracked, and that a store refuses to be advised, stays.
void eraseSubscribing(Records& records);
} // namespace endtoend

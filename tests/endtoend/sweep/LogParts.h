// LogParts.h: the records of a run beside those of another one, and the end of a log.
#pragma once

#include <utility>

#include "tests/endtoend/AgentLog.h"

namespace endtoend::sweep
{
/// What one list of records has not of another one, and what it has beside it, each in order. What both have stands in the same
/// order in both, and is as much as can be.
struct LogDifference
{
    Records missing;
    Records extra;
};
[[nodiscard]] LogDifference differenceOf(const Records& records, const Records& reference);

/// The records in front of "Shutdown...", or of the footer where there is no such record, and those from there on.
[[nodiscard]] std::pair<Records, Records> splitAtShutdown(const Records& records);

/// Whether records from "Shutdown..." on are an end in order: the main thread closes the session one way or the other and waits
/// for the worker. What the worker writes meanwhile may be anything, and must be over by "Done".
/// @param workerEnded  that it had done so before "Shutdown...".
[[nodiscard]] bool isEndInOrder(const Records& records, bool workerEnded);
} // namespace endtoend::sweep

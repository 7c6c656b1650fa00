// Report.h: what `linkwell-support log` prints: each run as soon as it has been read, and at the end what they come to.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/support/LogRuns.h"

namespace diagnosis
{
using Output = std::function<void(const std::string& text)>;

/// Whether anything was found that somebody should look at.
enum class Verdict
{
    Good,
    Bad
};

/// Reads a log and its backup, and prints what happened. Throws std::exception when the log can't be read.
/// @param name  of the log, as the report shows it.
/// @param json  one object for programs, in place of text for people.
[[nodiscard]] Verdict reportLog(const std::wstring& log, const std::string& name, bool json, const Output& output);
} // namespace diagnosis

// Report.h: what came of the checks, for a person and for a program.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tools/hostcheck/Check.h"

namespace hostcheck
{
/// What came of the checks, in the order in which they were tried.
using Outcomes = std::vector<std::pair<const Check*, Outcome>>;

/// All checks: their names, what holds when all is well, and the advice for when it doesn't.
[[nodiscard]] std::string listText();
/// The rows of one check in the table.
[[nodiscard]] std::string rowText(const Check& check, const Outcome& outcome);
/// How many were right, wrong and so on.
[[nodiscard]] std::string summaryText(const Outcomes& outcomes);
/// All of it as a JSON object. docs/host-check.md names the keys.
[[nodiscard]] std::string jsonText(const std::string& pipe, const Outcomes& outcomes);

/// Whether this counts as a finding.
[[nodiscard]] bool isFinding(const Outcome& outcome);
} // namespace hostcheck

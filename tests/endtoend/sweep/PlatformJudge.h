// PlatformJudge.h: what may come of a call to Windows, or to the C runtime's heap, that fails.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/endtoend/sweep/PlatformRun.h"
#include "tests/endtoend/sweep/Sweep.h"

namespace endtoend::sweep
{
/// Holds runs against one in which nothing has failed. MAPI does not fail in any of them, so a message is one of that run, byte
/// for byte, or is not there; and so is a record of the log, but for those that say what has failed.
class PlatformJudge
{
public:
    explicit PlatformJudge(AgentRun reference) : m_reference(std::move(reference)) {}

    [[nodiscard]] Verdict verdict(const FaultPoint& point, const PlatformRun& run) const;

private:
    const AgentRun m_reference;
};
} // namespace endtoend::sweep

// PlatformRun.h: the reference run with one call to Windows, or to the C runtime's heap, that fails.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "tests/endtoend/sweep/FaultTable.h"
#include "tests/endtoend/sweep/ReferenceRun.h"

namespace endtoend::sweep
{
/// A call that fails in a run.
struct FaultPoint
{
    std::size_t function; // in `platformfaults::functions`
    std::size_t kind;     // of that function
    std::uint32_t call;   // from 1
};

/// What is left of such a run.
struct PlatformRun
{
    AgentRun left;                    // messages that were cut off are left out
    bool isMet = false;               // the call that was to fail has come
    bool isOnWorker = false;          // and not from the main thread
    bool isAskedTwice = false;        // it did not end until it was asked again
    bool isLogBroken = false;         // the log is none that can be read, and is left out
    std::uint32_t exception = 0;      // the first one of the machine, such as an access violation; 0: none
    std::vector<std::uint32_t> calls; // of each function
};

class PlatformRunTest : public ReferenceRunTest
{
protected:
    /// The reference run, in which this call fails, if any. Its log begins in a file that is nearly full, so it goes on in
    /// another one; it is given as one.
    [[nodiscard]] PlatformRun runWith(const std::optional<FaultPoint>& point, Door door = Door::Window);

    void launch() override;
    [[nodiscard]] bool waitUntilPumping() override;

private:
    void prepare();
    void collect(PlatformRun& made);

    support::Handle m_mapping; // of the section of FaultTable.h
};
} // namespace endtoend::sweep

// ReferenceRun.h: one run of the agent with everything in it, in which one thing at a time is made to fail.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/endtoend/EndToEndTest.h"

namespace endtoend::sweep
{
/// The mailbox: three stores, of which one is public and the default one comes last; contacts of all kinds, hidden folders,
/// folders without a class, aliases, Exchange users.
[[nodiscard]] const Json& referenceMailbox();

/// What is done to it while the agent runs, step by step: edits of every kind, alone and in batches, and notifications
/// that stand for nothing. Requests to the sandbox.
[[nodiscard]] const std::vector<Json>& referenceSteps();

/// What a test does in the course of a run.
struct Interventions
{
    std::function<void()> started{};                    // the process has been started
    std::function<void(std::size_t step)> beforeStep{}; // all before has been handled
    std::function<void()> beforeClose{};
    std::function<void()> closed{}; // it has been asked to end
};

/// How the agent is asked to end.
enum class Door
{
    Window,      // WM_CLOSE to the window
    Thread,      // WM_CLOSE to the main thread
    Accelerator, // Alt+F4
};

class ReferenceRunTest : public EndToEndTest
{
protected:
    /// Begins anew, starts the agent on the reference mailbox with these plans, does all steps, each when the one before has
    /// been handled, and asks it to end. Wherever the agent ends before, that is the end.
    /// @param plans  as in a mailbox file.
    [[nodiscard]] AgentRun run(const Json& plans = Json::array(), const Interventions& interventions = {});

    /// Serves the host of the next run; by default one that says "ack".
    virtual void serve() { serveHost(); }
    /// Starts the process of `run`; its log file is `logFile`.
    virtual void launch() { startAgent(); }
    /// Waits until it has subscribed to all its stores; false when it ends, or never comes so far.
    [[nodiscard]] virtual bool waitUntilPumping();
    /// Asks it to end by `m_door`; it may have ended already.
    void requestEnd() const;

    Door m_door = Door::Window;

private:
    void doSteps(const Interventions& interventions);
};
} // namespace endtoend::sweep

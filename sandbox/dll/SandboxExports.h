// SandboxExports.h: what LinkwellSandbox.dll exports beside the MAPI functions, for tests that load it into their own
// process. Texts are UTF-8. Every function may be called by any thread at any time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "mapiabi/MapiTypes.h"

/// Plan of sandbox/runtime/Plans.h in a form that a DLL can export.
struct SandboxPlan
{
    const char* method;
    const unsigned char* on; // null for any object
    std::size_t onSize;
    std::uint64_t call;
    std::uint64_t times;
    const HRESULT* result; // null for none
    unsigned delay;        // in milliseconds
    const char* hold;      // null for none
};

/// Takes a text, UTF-8 without a terminating zero, which lives until it returns. It is called by the calling thread, and
/// throws nothing.
using SandboxTextTaker = void (*)(void* context, const char* text, std::size_t size);

extern "C"
{
    /// Memory blocks that are allocated, chained ones included; objects that are referenced; their references together.
    std::int64_t sandboxLiveBlocks();
    std::int64_t sandboxLiveObjects();
    std::int64_t sandboxLiveReferences();

    /// The report of docs/sandbox.md as it would be written now, with what the blocks freed last show.
    void sandboxReport(SandboxTextTaker take, void* context);

    /// Serves the mailbox of this JSON text, instead of that of the file, to sessions that begin later. Gives 1; or 0, with
    /// the reader's complaint to `take`, and changes nothing.
    int sandboxLoadMailbox(const char* json, SandboxTextTaker take, void* context);

    /// Goes back to the mailbox file, which is read anew, and forgets all plans and every misuse noted so far. The
    /// journal is stopped and empty.
    void sandboxReset();

    /// Lets a store of the mailbox, counted from 0, tell these notifications of objects as one batch. Gives 1; or 0, and
    /// tells nothing, if there is no such store or a notification is of another kind.
    /// @param heedsMasks  0 to deliver them whatever the subscriptions' masks say.
    int sandboxNotify(std::size_t store, ULONG count, const NOTIFICATION* notifications, int heedsMasks);
    /// Delivery::waitUntilIdle and waitUntilAdvised: 1, or 0 after so many milliseconds or when `stop` (may be null) is
    /// signalled.
    int sandboxWaitUntilIdle(unsigned milliseconds, HANDLE stop);
    int sandboxWaitUntilAdvised(std::size_t count, unsigned milliseconds, HANDLE stop);

    /// The functions of sandbox/runtime/Plans.h; 1 for true.
    void sandboxAddPlan(const SandboxPlan* plan);
    void sandboxClearPlans();
    int sandboxReleaseHold(const char* hold);
    int sandboxWaitUntilHeld(const char* hold, unsigned milliseconds, HANDLE stop);

    /// Does what a request of docs/sandbox-control.md says, and gives its answer. A request may come at any time, also
    /// before MAPIInitialize; one that waits keeps no other waiting.
    void sandboxAnswer(const char* request, SandboxTextTaker take, void* context);

    /// The functions of sandbox/runtime/Journal.h.
    void sandboxStartJournal();
    void sandboxStopJournal();
    void sandboxClearJournal();
    /// A line of text for each call: "<thread> <call> [on <identifier>] {<arguments>} = <result>", and before them
    /// "lost: <number>" if any are. Copies as much as fits with a terminating zero, and gives the whole length without it.
    std::size_t sandboxReadJournal(char* buffer, std::size_t size);
}

// For GetProcAddress.
using SandboxCountFunction = decltype(&sandboxLiveBlocks);
using SandboxReportFunction = decltype(&sandboxReport);
using SandboxLoadMailboxFunction = decltype(&sandboxLoadMailbox);
using SandboxResetFunction = decltype(&sandboxReset);
using SandboxNotifyFunction = decltype(&sandboxNotify);
using SandboxWaitUntilIdleFunction = decltype(&sandboxWaitUntilIdle);
using SandboxWaitUntilAdvisedFunction = decltype(&sandboxWaitUntilAdvised);
using SandboxAddPlanFunction = decltype(&sandboxAddPlan);
using SandboxClearPlansFunction = decltype(&sandboxClearPlans);
using SandboxReleaseHoldFunction = decltype(&sandboxReleaseHold);
using SandboxWaitUntilHeldFunction = decltype(&sandboxWaitUntilHeld);
using SandboxAnswerFunction = decltype(&sandboxAnswer);
using SandboxReadJournalFunction = decltype(&sandboxReadJournal);
using SandboxJournalFunction = decltype(&sandboxStartJournal);

// SandboxExports.h: what LinkwellSandbox.dll exports beside the MAPI functions, for tests that load it into their own
// process: what can't be asked by a request, and the requests. Texts are UTF-8. Every function may be called by any thread
// at any time.
#pragma once

#include <cstddef>
#include <cstdint>

/// Takes a text, without a terminating zero, which lives until it returns. It is called by the calling thread, and throws
/// nothing.
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

    /// Does what a request of docs/sandbox-control.md says, and gives its answer. A request may come at any time, also
    /// before MAPIInitialize; one that waits keeps no other waiting.
    void sandboxAnswer(const char* request, SandboxTextTaker take, void* context);
}

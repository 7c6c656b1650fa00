// AsyncMapiHelper.h: the worker, the one thread that does the agent's work.
#pragma once

#include <windows.h>

/// The worker's two functions. It initialises MAPI for itself, sends the first snapshot, subscribes to the stores and
/// then pumps its queue, through which notifications reach it. Runs once in the life of the process.
class AsyncMapiHelper
{
public:
    /// The worker's whole life, to be called on a thread of its own. Failures are logged. At its end, whatever the reason,
    /// also when memory has run out, it sets `stopRequested` and posts WM_CLOSE to the main thread, and so ends the process.
    /// @param mainThreadId  0: nothing is posted.
    static void run(DWORD mainThreadId) noexcept;

    /// What `run` guards: everything from "Start MAPI thread..." to the release of MAPI. Throws whatever fails.
    static void syncThread();
};

/// Dispatches the messages of this thread, with a period of 1 millisecond (settled behaviour 55), until `stopRequested`
/// is set. WM_QUIT does not end it. What a dispatched message throws passes.
void pumpUntilStopped();

// SandboxDll.h: LinkwellSandbox.dll, loaded as a client loads a MAPI runtime, for tests of the DLL itself.
#pragma once

#include <string>
#include <utility>

#include "sandbox/dll/EntryPoints.h"
#include "sandbox/dll/SandboxExports.h"

namespace sandboxtest
{
/// Loads the DLL that lies beside the test program, and unloads it, with all its state. Throws if a name is missing.
class SandboxDll
{
public:
    SandboxDll();
    SandboxDll(const SandboxDll&) = delete;
    SandboxDll& operator=(const SandboxDll&) = delete;
    ~SandboxDll();

    decltype(&::MAPIInitialize) MAPIInitialize;
    decltype(&::MAPIUninitialize) MAPIUninitialize;
    decltype(&::MAPILogonEx) MAPILogonEx;
    decltype(&::MAPIAllocateBuffer) MAPIAllocateBuffer;
    decltype(&::MAPIAllocateMore) MAPIAllocateMore;
    decltype(&::MAPIFreeBuffer) MAPIFreeBuffer;
    decltype(&::FreeProws) FreeProws;
    decltype(&::HrGetOneProp) HrGetOneProp;
    decltype(&::HrThisThreadAdviseSink) HrThisThreadAdviseSink;
    SandboxCountFunction sandboxLiveBlocks;
    SandboxCountFunction sandboxLiveObjects;
    SandboxCountFunction sandboxLiveReferences;
    SandboxReportFunction sandboxReport;
    SandboxLoadMailboxFunction sandboxLoadMailbox;
    SandboxResetFunction sandboxReset;
    SandboxNotifyFunction sandboxNotify;
    SandboxWaitUntilIdleFunction sandboxWaitUntilIdle;
    SandboxWaitUntilAdvisedFunction sandboxWaitUntilAdvised;
    SandboxAddPlanFunction sandboxAddPlan;
    SandboxClearPlansFunction sandboxClearPlans;
    SandboxReleaseHoldFunction sandboxReleaseHold;
    SandboxWaitUntilHeldFunction sandboxWaitUntilHeld;
    SandboxAnswerFunction sandboxAnswer;
    SandboxJournalFunction sandboxStartJournal;
    SandboxJournalFunction sandboxStopJournal;
    SandboxJournalFunction sandboxClearJournal;
    SandboxReportFunction sandboxReadJournal;

    [[nodiscard]] std::string report() const;
    /// The answer to a request of the control channel.
    [[nodiscard]] std::string answer(const std::string& request) const;
    /// The journal's lines.
    [[nodiscard]] std::string journal() const;

private:
    template <class Function>
    void bind(Function& function, const char* name);

    HMODULE m_module;
};

/// The full path of a file beside the test program.
[[nodiscard]] std::wstring besideThisProgram(const std::wstring& name);
} // namespace sandboxtest

// SandboxDll.h: LinkwellSandbox.dll, loaded as a client loads a MAPI runtime, and short ways to ask it.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "sandbox/dll/EntryPoints.h"
#include "sandbox/dll/SandboxExports.h"

namespace sandboxtest
{
/// Loads the DLL that lies beside the test program, and unloads it, with all its state. Throws if a name is missing. Its
/// methods may be called by any thread; who writes JSON for them includes <nlohmann/json.hpp>.
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
    decltype(&::sandboxLiveBlocks) sandboxLiveBlocks;
    decltype(&::sandboxLiveObjects) sandboxLiveObjects;
    decltype(&::sandboxLiveReferences) sandboxLiveReferences;
    decltype(&::sandboxReset) sandboxReset;

    /// Serves this mailbox to the sessions that begin later; throws with the reader's complaint.
    void serve(const std::string& json) const;
    /// What is held now, and what was done wrong.
    [[nodiscard]] std::string report() const;

    /// The answer to a request of docs/sandbox-control.md, as it stands.
    std::string answer(const std::string& request) const;
    /// The same as JSON; throws std::runtime_error with the reason when it is refused.
    nlohmann::json request(const nlohmann::json& request) const;

    // Requests in short; each throws as `request` does.

    /// @param plan  the keys of the request "plan", such as {{"method", "MAPILogonEx"}, {"result", "0x80040111"}}.
    void plan(nlohmann::json plan) const;
    void clearPlans() const;
    void release(const std::string& hold) const;
    /// @param store  its path: its display name.
    /// @param notification  a raw notification, or a list of them, which comes as one batch.
    void inject(const std::string& store, const nlohmann::json& notification) const;
    /// Each waits at most as long as tests ever wait, and the first one handles the calling thread's messages meanwhile.
    void waitUntilIdle() const;
    void waitUntilAdvised(std::size_t count) const;
    void waitUntilHeld(const std::string& hold) const;
    void startJournal() const;
    /// The calls that the journal has, a list; it is empty afterwards, and goes on.
    [[nodiscard]] nlohmann::json takeJournal() const;

private:
    template <class Function>
    void bind(Function& function, const char* name);
    void wait(nlohmann::json request) const;

    HMODULE m_module;
    decltype(&::sandboxReport) m_report;
    decltype(&::sandboxLoadMailbox) m_loadMailbox;
    decltype(&::sandboxAnswer) m_answer;
};

/// The full path of a file beside the test program.
[[nodiscard]] std::wstring besideThisProgram(const std::wstring& name);
} // namespace sandboxtest

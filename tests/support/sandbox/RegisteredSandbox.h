// RegisteredSandbox.h: the sandbox as the MAPI runtime of the agent's code in this process.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <string>

#include "tests/support/RegistryOverride.h"

namespace sandboxtest
{
class SandboxDll;

/// Makes the sandbox the machine's default mail client, for the life of this object, and has the agent's own search find
/// and load it. At the end the agent's code has no runtime, and the DLL is unloaded. One at a time.
class RegisteredSandbox
{
public:
    /// Throws when the search ends elsewhere.
    RegisteredSandbox();
    ~RegisteredSandbox();
    RegisteredSandbox(const RegisteredSandbox&) = delete;
    RegisteredSandbox& operator=(const RegisteredSandbox&) = delete;

    /// Serves this mailbox to the sessions that begin later; throws with the reader's complaint.
    void serve(const std::string& json) const;

    /// The DLL itself, for requests and counts. Good for the life of this object.
    [[nodiscard]] const SandboxDll& dll() const { return *m_dll; }

    /// What is held now, and what was done wrong: the sandbox's report.
    [[nodiscard]] std::string report() const;
    [[nodiscard]] std::int64_t liveBlocks() const;

private:
    support::RegistryOverride m_registry;
    HMODULE m_module;
    std::unique_ptr<SandboxDll> m_dll;
};
} // namespace sandboxtest

#include "tests/support/sandbox/RegisteredSandbox.h"

#include <stdexcept>

#include "agent/mapi/MapiRuntime.h"
#include "tests/support/sandbox/SandboxDll.h"

namespace sandboxtest
{
RegisteredSandbox::RegisteredSandbox()
{
    m_registry.setText(L"Software\\Clients\\Mail", L"", L"Linkwell Sandbox");
    m_registry.setText(L"Software\\Clients\\Mail\\Linkwell Sandbox", L"DllPathEx",
                       besideThisProgram(L"LinkwellSandbox.dll"));
    m_module = mapi::getMapiModule();
    if (m_module == nullptr || m_module != GetModuleHandleW(L"LinkwellSandbox.dll"))
        throw std::runtime_error("the search for the MAPI runtime did not end at the sandbox");
    m_dll = std::make_unique<SandboxDll>();
}

RegisteredSandbox::~RegisteredSandbox()
{
    mapi::mapiModule = nullptr;
    ++mapi::mapiGeneration;
    FreeLibrary(m_module);
}

void RegisteredSandbox::serve(const std::string& json) const
{
    m_dll->serve(json);
}

std::string RegisteredSandbox::report() const
{
    return m_dll->report();
}

std::int64_t RegisteredSandbox::liveBlocks() const
{
    return m_dll->sandboxLiveBlocks();
}
} // namespace sandboxtest

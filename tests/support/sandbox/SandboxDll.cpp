#include "tests/support/sandbox/SandboxDll.h"

#include <algorithm>
#include <stdexcept>

namespace sandboxtest
{
SandboxDll::SandboxDll() : m_module(LoadLibraryW(besideThisProgram(L"LinkwellSandbox.dll").c_str()))
{
    if (m_module == nullptr)
        throw std::runtime_error("LinkwellSandbox.dll can't be loaded: error " + std::to_string(GetLastError()));
    bind(MAPIInitialize, "MAPIInitialize");
    bind(MAPIUninitialize, "MAPIUninitialize");
    bind(MAPILogonEx, "MAPILogonEx");
    bind(MAPIAllocateBuffer, "MAPIAllocateBuffer");
    bind(MAPIAllocateMore, "MAPIAllocateMore");
    bind(MAPIFreeBuffer, "MAPIFreeBuffer");
    bind(FreeProws, "FreeProws");
    bind(HrGetOneProp, "HrGetOneProp");
    bind(HrThisThreadAdviseSink, "HrThisThreadAdviseSink");
    bind(sandboxLiveBlocks, "sandboxLiveBlocks");
    bind(sandboxLiveObjects, "sandboxLiveObjects");
    bind(sandboxLiveReferences, "sandboxLiveReferences");
    bind(sandboxReport, "sandboxReport");
    bind(sandboxLoadMailbox, "sandboxLoadMailbox");
    bind(sandboxReset, "sandboxReset");
    bind(sandboxNotify, "sandboxNotify");
    bind(sandboxWaitUntilIdle, "sandboxWaitUntilIdle");
    bind(sandboxWaitUntilAdvised, "sandboxWaitUntilAdvised");
    bind(sandboxAddPlan, "sandboxAddPlan");
    bind(sandboxClearPlans, "sandboxClearPlans");
    bind(sandboxReleaseHold, "sandboxReleaseHold");
    bind(sandboxWaitUntilHeld, "sandboxWaitUntilHeld");
    bind(sandboxAnswer, "sandboxAnswer");
    bind(sandboxStartJournal, "sandboxStartJournal");
    bind(sandboxStopJournal, "sandboxStopJournal");
    bind(sandboxClearJournal, "sandboxClearJournal");
    bind(sandboxReadJournal, "sandboxReadJournal");
}

SandboxDll::~SandboxDll()
{
    FreeLibrary(m_module);
}

std::string SandboxDll::report() const
{
    std::string text(sandboxReport(nullptr, 0), '\0');
    sandboxReport(text.data(), text.size() + 1);
    return text;
}

std::string SandboxDll::answer(const std::string& request) const
{
    constexpr std::size_t s_enough = 1 << 20; // asking twice would do it twice
    std::string text(s_enough, '\0');
    text.resize(std::min(sandboxAnswer(request.c_str(), text.data(), text.size()), text.size()));
    return text;
}

std::string SandboxDll::journal() const
{
    std::string text(sandboxReadJournal(nullptr, 0), '\0');
    sandboxReadJournal(text.data(), text.size() + 1);
    return text;
}

template <class Function>
void SandboxDll::bind(Function& function, const char* name)
{
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(m_module, name)));
    if (function == nullptr)
        throw std::runtime_error(std::string("LinkwellSandbox.dll does not export ") + name);
}

std::wstring besideThisProgram(const std::wstring& name)
{
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.rfind(L'\\') + 1) + name;
}
} // namespace sandboxtest

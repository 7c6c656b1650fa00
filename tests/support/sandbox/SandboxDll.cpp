#include "tests/support/sandbox/SandboxDll.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/support/Platform.h"
#include "tests/support/Pump.h"

namespace sandboxtest
{
namespace
{
using Json = nlohmann::json;

/// @param context  the std::string that gets the text.
void takeText(void* context, const char* text, std::size_t size)
{
    static_cast<std::string*>(context)->assign(text, size);
}
} // namespace

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
    bind(m_report, "sandboxReport");
    bind(m_loadMailbox, "sandboxLoadMailbox");
    bind(sandboxReset, "sandboxReset");
    bind(m_answer, "sandboxAnswer");
}

SandboxDll::~SandboxDll()
{
    FreeLibrary(m_module);
}

void SandboxDll::serve(const std::string& json) const
{
    std::string complaint;
    if (m_loadMailbox(json.c_str(), takeText, &complaint) == 0)
        throw std::runtime_error(complaint);
}

std::string SandboxDll::report() const
{
    std::string text;
    m_report(takeText, &text);
    return text;
}

std::string SandboxDll::answer(const std::string& request) const
{
    std::string text;
    m_answer(request.c_str(), takeText, &text);
    return text;
}

Json SandboxDll::request(const Json& request) const
{
    Json answered = Json::parse(answer(request.dump()));
    if (!answered.at("ok").get<bool>())
        throw std::runtime_error(answered.at("error").get<std::string>());
    return answered;
}

void SandboxDll::plan(Json plan) const
{
    plan["do"] = "plan";
    request(plan);
}

void SandboxDll::clearPlans() const
{
    request({{"do", "clearPlans"}});
}

void SandboxDll::release(const std::string& hold) const
{
    request({{"do", "release"}, {"hold", hold}});
}

void SandboxDll::inject(const std::string& store, const Json& notification) const
{
    const Json batch = notification.is_array() ? notification : Json::array({notification});
    request({{"do", "inject"}, {"store", store}, {"notifications", batch}});
}

void SandboxDll::waitUntilIdle() const
{
    support::pumpDuring([this] { wait({{"for", "idle"}}); });
}

void SandboxDll::waitUntilAdvised(std::size_t count) const
{
    wait({{"for", "advised"}, {"count", count}});
}

void SandboxDll::waitUntilHeld(const std::string& hold) const
{
    wait({{"for", "held"}, {"hold", hold}});
}

void SandboxDll::startJournal() const
{
    request({{"do", "journal"}, {"action", "start"}});
}

Json SandboxDll::takeJournal() const
{
    return request({{"do", "journal"}, {"action", "read"}, {"clear", true}}).at("calls");
}

void SandboxDll::wait(Json request) const
{
    request["do"] = "wait";
    request["timeout"] = std::chrono::milliseconds(support::deadline).count();
    this->request(request);
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

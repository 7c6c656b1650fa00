#include "bench/floor/Runtime.h"

#include <stdexcept>
#include <string>

namespace bench
{
namespace
{
template <class Function>
void bind(HMODULE module, Function& function, const char* name)
{
    function = reinterpret_cast<Function>(reinterpret_cast<void (*)()>(GetProcAddress(module, name)));
    if (function == nullptr)
        throw std::runtime_error(std::string("the runtime has no ") + name);
}
} // namespace

Runtime Runtime::load()
{
    wchar_t path[MAX_PATH] = {};
    GetEnvironmentVariableW(L"LINKWELL_SANDBOX_DLL", path, MAX_PATH);
    const HMODULE module = LoadLibraryW(path);
    if (module == nullptr)
        throw std::runtime_error("the runtime that LINKWELL_SANDBOX_DLL names can't be loaded");
    Runtime runtime{};
    bind(module, runtime.initialize, "MAPIInitialize");
    bind(module, runtime.uninitialize, "MAPIUninitialize");
    bind(module, runtime.logonEx, "MAPILogonEx");
    bind(module, runtime.allocateBuffer, "MAPIAllocateBuffer");
    bind(module, runtime.freeBuffer, "MAPIFreeBuffer");
    bind(module, runtime.freeProws, "FreeProws");
    bind(module, runtime.getOneProp, "HrGetOneProp");
    bind(module, runtime.thisThreadAdviseSink, "HrThisThreadAdviseSink");
    return runtime;
}

void check(HRESULT result, const char* call)
{
    if (FAILED(result))
        throw std::runtime_error(std::string(call) + " failed: " + std::to_string(result));
}
} // namespace bench

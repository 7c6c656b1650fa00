#include "sandbox/dll/ControlService.h"

#include <windows.h>

#include <exception>
#include <memory>
#include <string>
#include <type_traits>

#include "sandbox/control/ControlServer.h"
#include "sandbox/control/PipeName.h"
#include "sandbox/requests/Requests.h"
#include "sandbox/runtime/Runtime.h"

namespace sandbox::control
{
namespace
{
struct ModuleReleaser
{
    void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};
/// A reference to this DLL: a client that unloads it while it is initialised would take the code from the thread.
using ModuleReference = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleReleaser>;

struct Service
{
    ModuleReference module;
    std::unique_ptr<ControlServer> server;
};

/// Never destroyed: a process may end without MAPIUninitialize, and its threads are gone then.
Service& s_service = *new Service;

[[nodiscard]] ModuleReference referToThisModule()
{
    static constexpr char s_placeInThisModule = 0;
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            reinterpret_cast<const wchar_t*>(&s_placeInThisModule), &module))
        throwLastError("GetModuleHandleExW");
    return ModuleReference(module);
}
} // namespace

void begin() noexcept
{
    try
    {
        const auto name = controlPipeName();
        if (!name || s_service.server)
            return;
        ModuleReference module = referToThisModule();
        s_service.server = std::make_unique<ControlServer>(*name, answerRequest);
        s_service.module = std::move(module);
    }
    catch (const std::exception& error)
    {
        complain(std::string("LinkwellSandbox: ") + error.what());
    }
}

void end() noexcept
{
    if (!s_service.server || s_service.server->isOwnThread())
        return;
    s_service.server.reset();
    s_service.module.reset();
}
} // namespace sandbox::control

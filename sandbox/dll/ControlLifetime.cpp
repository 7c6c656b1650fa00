#include "sandbox/dll/ControlLifetime.h"

#include <windows.h>

#include <exception>
#include <string>
#include <type_traits>

#include "sandbox/control/ControlServer.h"
#include "sandbox/mailbox/model/Text.h"
#include "sandbox/requests/Requests.h"
#include "sandbox/runtime/Runtime.h"

namespace sandbox
{
namespace
{
struct ModuleReleaser
{
    void operator()(HMODULE module) const noexcept { FreeLibrary(module); }
};
/// A reference to this DLL: a client that unloads it while it is initialised would take the code from the thread.
using ModuleReference = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleReleaser>;

[[nodiscard]] ModuleReference referToThisModule()
{
    static constexpr char placeInThisModule = 0;
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                            reinterpret_cast<const wchar_t*>(&placeInThisModule), &module))
        throwLastError("GetModuleHandleExW");
    return ModuleReference(module);
}
} // namespace

struct ControlLifetime::Service
{
    ModuleReference module; // goes after the server
    ControlServer server;
};

ControlLifetime& ControlLifetime::instance()
{
    static ControlLifetime& s_lifetime = *new ControlLifetime;
    return s_lifetime;
}

void ControlLifetime::update()
{
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return !m_isChanging; });
    // Asked only now: what was so when this call began may have changed since.
    const bool serves = Runtime::instance().isInitialized();
    if (serves == m_isServing)
        return;
    m_isChanging = true;
    lock.unlock(); // both may wait for other threads
    serves ? begin() : end();
    lock.lock();
    m_isChanging = false;
    m_isServing = serves;
    m_changed.notify_all();
}

void ControlLifetime::begin() noexcept
{
    const auto name = controlPipeName();
    if (!name)
        return;
    try
    {
        m_service.reset(new Service{referToThisModule(), ControlServer(*name, answerRequest)});
    }
    catch (const std::exception& error)
    {
        complain("LinkwellSandbox: no control pipe " + toUtf8(pipePath(*name)) + ": " + error.what());
    }
}

void ControlLifetime::end() noexcept
{
    m_service.reset();
}
} // namespace sandbox

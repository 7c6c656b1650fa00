#include "tools/support/doctor/AgentSearch.h"

#include "mapiabi/MapiInterfaces.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <cwchar>
#include <string_view>
#include <utility>

#include "utilities/Failure.h"

namespace diagnosis
{
namespace
{
AgentSearch* s_search = nullptr; // while a search runs
const std::wstring* s_agentFolder = nullptr;
std::wstring s_lastValue; // that was read last, and so names the module that is loaded next
std::wstring s_stub;      // the file of the stub that was found last
int s_module = 0;         // its address stands for a module that would be loaded

[[nodiscard]] HMODULE standIn()
{
    return reinterpret_cast<HMODULE>(&s_module);
}

[[nodiscard]] std::wstring systemFolder()
{
    wchar_t folder[MAX_PATH] = {};
    GetSystemDirectoryW(folder, MAX_PATH);
    return folder;
}

[[nodiscard]] bool isInSystemFolder(const std::wstring& path)
{
    const std::wstring folder = systemFolder() + L'\\';
    return path.size() > folder.size() && _wcsnicmp(path.c_str(), folder.c_str(), folder.size()) == 0 &&
           path.find_first_of(L"\\/", folder.size()) == std::wstring::npos;
}

// ---- What the search calls in place of Windows -------------------------------------------------------------------------------

BOOL isLoaded(DWORD flags, const wchar_t* name, HMODULE* module)
{
    const BOOL loaded = GetModuleHandleExW(flags, name, module);
    s_search->steps.push_back({SearchStep::Kind::LoadedModule, name, loaded ? 0U : ERROR_MOD_NOT_FOUND});
    return loaded;
}

LSTATUS openKey(HKEY parent, const wchar_t* name, DWORD options, REGSAM access, HKEY* key)
{
    const LSTATUS status = RegOpenKeyExW(parent, name, options, access, key);
    s_search->steps.push_back({SearchStep::Kind::Key, name, static_cast<DWORD>(status)});
    return status;
}

LSTATUS readValue(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* bytes, DWORD* size)
{
    const LSTATUS status = RegQueryValueExW(key, name, reserved, type, bytes, size);
    SearchStep step{SearchStep::Kind::Value, name != nullptr ? name : L"", static_cast<DWORD>(status), *type};
    if (status == ERROR_SUCCESS)
        s_lastValue = step.name;
    if (status == ERROR_SUCCESS && (*type == REG_SZ || *type == REG_EXPAND_SZ))
    {
        step.text.resize(*size / sizeof(wchar_t));
        std::memcpy(step.text.data(), bytes, step.text.size() * sizeof(wchar_t));
        step.text.resize(std::min(step.text.find(L'\0'), step.text.size()));
    }
    s_search->steps.push_back(step);
    return status;
}

LSTATUS readNarrowValue(HKEY key, const char* name, DWORD* reserved, DWORD* type, BYTE* bytes, DWORD* size)
{
    const LSTATUS status = RegQueryValueExA(key, name, reserved, type, bytes, size);
    const std::string_view narrowName(name);
    SearchStep step{SearchStep::Kind::Value, {narrowName.begin(), narrowName.end()}, static_cast<DWORD>(status), *type};
    if (status == ERROR_SUCCESS)
    {
        const std::string_view text(reinterpret_cast<const char*>(bytes), *size);
        step.text.assign(text.begin(),
                         text.begin() + static_cast<std::ptrdiff_t>(std::min(text.find('\0'), text.size())));
    }
    s_search->steps.push_back(step);
    return status;
}

DWORD expand(const wchar_t* text, wchar_t* expanded, DWORD size)
{
    const DWORD needed = ExpandEnvironmentStringsW(text, expanded, size);
    const bool fits = needed >= 1 && needed <= size;
    s_search->steps.push_back(
        {SearchStep::Kind::Expansion, s_lastValue, fits ? 0U : ERROR_INSUFFICIENT_BUFFER, 0, fits ? expanded : L""});
    if (!fits)
        s_lastValue.clear(); // names nothing that is loaded
    return needed;
}

HMODULE load(const wchar_t* name)
{
    const ModuleFile module = findModule(name, *s_agentFolder);
    const std::wstring value = std::exchange(s_lastValue, {});
    s_search->steps.push_back({SearchStep::Kind::Load, value, 0, 0, {}, module});
    if (module.fault != ModuleFault::None)
        return nullptr;
    s_stub = module.path;
    s_search->found = module.path;
    s_search->isSystemStub = value.empty() && isInSystemFolder(module.path);
    return standIn();
}

HMODULE loadNarrow(const char* name)
{
    return load(utilities::toWide(name).c_str());
}

BOOL forget(HMODULE)
{
    s_search->found.clear();
    return TRUE;
}

using GetComponentPath = BOOL STDAPICALLTYPE(const char* component, char* qualifier, char* path, DWORD size,
                                             BOOL install);

BOOL STDAPICALLTYPE askStub(const char* component, char* qualifier, char* path, DWORD size, BOOL install)
{
    SearchStep step{SearchStep::Kind::Component, L"FGetComponentPath"};
    step.module = findModule(s_stub, *s_agentFolder);
    step.asked = isInSystemFolder(s_stub);
    step.error = ERROR_PROC_NOT_FOUND;
    BOOL found = FALSE;
    if (const HMODULE stub = step.asked ? LoadLibraryW(s_stub.c_str()) : nullptr)
    {
        const auto function = reinterpret_cast<GetComponentPath*>(
            reinterpret_cast<void (*)()>(GetProcAddress(stub, "FGetComponentPath")));
        if (function != nullptr)
        {
            found = function(component, qualifier, path, size, install);
            step.error = found ? 0 : ERROR_FILE_NOT_FOUND;
            step.text = found ? utilities::toWide(path) : std::wstring();
        }
        FreeLibrary(stub);
    }
    s_search->steps.push_back(step);
    return found;
}

FARPROC findFunction(HMODULE module, const char* name)
{
    if (module == standIn() && std::string_view(name) == "FGetComponentPath")
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&askStub));
    return nullptr; // nothing of the runtime is called here
}
} // namespace
} // namespace diagnosis

// The agent's own source, compiled once more with these calls in place of Windows'. A copy could differ from it, and its
// library would load and run what a broken machine has registered.
#define GetModuleHandleExW diagnosis::isLoaded
#define RegOpenKeyExW diagnosis::openKey
#define RegQueryValueExW diagnosis::readValue
#define RegQueryValueExA diagnosis::readNarrowValue
#define ExpandEnvironmentStringsW diagnosis::expand
#define LoadLibraryW diagnosis::load
#define LoadLibraryA diagnosis::loadNarrow
#define FreeLibrary diagnosis::forget
#define GetProcAddress diagnosis::findFunction
#include "agent/mapi/MapiRuntime.cpp" // NOLINT(bugprone-suspicious-include)
#undef GetModuleHandleExW
#undef RegOpenKeyExW
#undef RegQueryValueExW
#undef RegQueryValueExA
#undef ExpandEnvironmentStringsW
#undef LoadLibraryW
#undef LoadLibraryA
#undef FreeLibrary
#undef GetProcAddress

namespace diagnosis
{
AgentSearch searchAsTheAgent(const std::wstring& agentFolder)
{
    AgentSearch search;
    s_search = &search;
    s_agentFolder = &agentFolder;
    s_lastValue.clear();
    mapi::mapiModule = nullptr;
    if (mapi::getMapiModule() == nullptr)
        search.found.clear();
    s_search = nullptr;
    return search;
}
} // namespace diagnosis

// FakeMachine.h: the modules of a machine as a test of the runtime loader wants them, without any file.
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ImportHook.h"
#include "tests/support/RegistryOverride.h"

namespace support
{
/// For the life of this object the code under test sees an empty registry and no modules but these. One at a time.
class FakeMachine
{
public:
    std::set<std::wstring> loaded;                // modules that the process has loaded already
    std::set<std::wstring> loadable;              // paths and names that can be loaded
    std::map<std::string, FARPROC> functions;     // what each module exports
    std::wstring systemDirectory = L"S:\\System"; // empty: it can't be had
    std::function<void()> whenFinding;            // called when a function is looked up, by the thread that does so
    RegistryOverride registry;

    /// A function as `functions` has it.
    template <class Function>
    [[nodiscard]] static FARPROC exported(Function* function)
    {
        return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(function));
    }

    /// The name by which the module of this handle was found; "none" for null.
    [[nodiscard]] std::string nameOf(HMODULE module) const;

    /// What the code under test asked for since `clearCalls`, in order: "get olmapi32.dll", "load C:\path.dll",
    /// "loadA C:\path.dll" with a narrow name, "free C:\path.dll", "find MAPIInitialize", "system 260".
    [[nodiscard]] std::vector<std::string> calls() const;
    void clearCalls();
    /// Adds a line of the test's own.
    void note(const std::string& call);

private:
    HMODULE handleOf(const std::wstring& name);
    HMODULE load(const char* verb, const std::wstring& name);
    [[nodiscard]] bool isFake(HMODULE module) const;

    mutable std::mutex m_mutex;
    std::vector<std::wstring> m_names; // a module's handle is its index + 1
    std::vector<std::string> m_calls;

    Hook<"GetModuleHandleExW", decltype(GetModuleHandleExW)> m_get =
        hookImport<"GetModuleHandleExW">(GetModuleHandleExW,
                                         [this](auto, DWORD flags, LPCWSTR name, HMODULE* module)
                                         {
                                             note("get " + narrow(name) + (flags != 0 ? " with flags" : ""));
                                             *module = loaded.contains(name) ? handleOf(name) : nullptr;
                                             return *module != nullptr ? TRUE : FALSE;
                                         });
    Hook<"LoadLibraryW", decltype(LoadLibraryW)> m_load =
        hookImport<"LoadLibraryW">(LoadLibraryW, [this](auto, LPCWSTR name) { return load("load ", name); });
    Hook<"LoadLibraryA", decltype(LoadLibraryA)> m_loadNarrow = hookImport<"LoadLibraryA">(
        LoadLibraryA, [this](auto, LPCSTR name)
        { return load("loadA ", std::wstring(name, name + std::char_traits<char>::length(name))); });
    Hook<"FreeLibrary", decltype(FreeLibrary)> m_free = hookImport<"FreeLibrary">(FreeLibrary,
                                                                                  [this](auto original, HMODULE module)
                                                                                  {
                                                                                      if (!isFake(module))
                                                                                          return original(module);
                                                                                      note("free " + nameOf(module));
                                                                                      return TRUE;
                                                                                  });
    Hook<"GetProcAddress", decltype(GetProcAddress)> m_find =
        hookImport<"GetProcAddress">(GetProcAddress,
                                     [this](auto original, HMODULE module, LPCSTR name) -> FARPROC
                                     {
                                         if (module != nullptr && !isFake(module))
                                             return original(module, name);
                                         note(std::string("find ") + name);
                                         if (whenFinding)
                                             whenFinding();
                                         const auto found = functions.find(name);
                                         return module != nullptr && found != functions.end() ? found->second : nullptr;
                                     });
    Hook<"GetSystemDirectoryW", decltype(GetSystemDirectoryW)> m_system =
        hookImport<"GetSystemDirectoryW">(GetSystemDirectoryW,
                                          [this](auto, LPWSTR buffer, UINT size)
                                          {
                                              note("system " + std::to_string(size));
                                              const auto length = systemDirectory.copy(buffer, size - 1);
                                              buffer[length] = L'\0';
                                              return static_cast<UINT>(length);
                                          });

    static std::string narrow(const std::wstring& text) { return {text.begin(), text.end()}; }
};
} // namespace support

#include "agent/mapi/MapiRuntime.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <string_view>

namespace mapi
{
std::atomic<HMODULE> mapiModule{nullptr};
std::atomic<ULONG> mapiGeneration{1};

namespace
{
/// A fixed setting (settled behaviour 45): true would look for Microsoft Outlook's runtime alone, whatever the default
/// mail client is.
constexpr bool forceOutlookMapi = false;

constexpr DWORD pathLimit = 260;        // characters
constexpr DWORD valueLimit = 520;       // bytes
constexpr DWORD narrowValueLimit = 260; // bytes

/// One character more than the limit: a registry value may lack its terminator.
using WideBuffer = std::array<wchar_t, pathLimit + 1>;

// ---- Search --------------------------------------------------------------------------------------------------------

[[nodiscard]] HMODULE loadedModule(const wchar_t* name)
{
    HMODULE module = nullptr;
    return GetModuleHandleExW(0, name, &module) ? module : nullptr;
}

/// Reads a value as it stands; the buffer ends in a zero whatever the registry holds.
LSTATUS readWide(HKEY key, const wchar_t* name, DWORD& type, WideBuffer& value)
{
    DWORD size = valueLimit;
    const LSTATUS result = RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE*>(value.data()), &size);
    if (result == ERROR_SUCCESS)
        value[std::min<std::size_t>(size / sizeof(wchar_t), pathLimit)] = L'\0';
    return result;
}

LSTATUS readNarrow(HKEY key, const char* name, WideBuffer& value)
{
    const auto bytes = reinterpret_cast<BYTE*>(value.data());
    DWORD type = REG_NONE;
    DWORD size = narrowValueLimit;
    const LSTATUS result = RegQueryValueExA(key, name, nullptr, &type, bytes, &size);
    if (result == ERROR_SUCCESS)
        bytes[std::min(size, narrowValueLimit)] = 0;
    return result;
}

/// The module that the client's installer has put in place, by the MAPI stub's FGetComponentPath. The path buffer is
/// used as narrow characters.
[[nodiscard]] HMODULE loadComponent(const WideBuffer& component, const WideBuffer& language, WideBuffer& path)
{
    HMODULE stub = LoadLibraryW(L"mapi32.dll");
    if (stub == nullptr)
        stub = LoadLibraryW(L"mapistub.dll");
    if (stub == nullptr)
        return nullptr;

    using GetComponentPath =
        BOOL STDAPICALLTYPE(const char* component, char* qualifier, char* path, DWORD pathSize, BOOL install);
    const auto getComponentPath = reinterpret_cast<GetComponentPath*>(
        reinterpret_cast<void (*)()>(GetProcAddress(stub, "FGetComponentPath"))); // not tested: settled behaviour 45
    const auto narrowPath = reinterpret_cast<char*>(path.data());
    const BOOL found = getComponentPath(reinterpret_cast<const char*>(component.data()),
                                        const_cast<char*>(reinterpret_cast<const char*>(language.data())), narrowPath,
                                        pathLimit, FALSE);
    FreeLibrary(stub);
    return found ? LoadLibraryA(narrowPath) : nullptr;
}

/// The module that a value of the client's key names. A value that is no text leaves the path buffer as it is: settled
/// behaviour 45.
[[nodiscard]] HMODULE loadNamedByValue(HKEY clientKey, const wchar_t* name, WideBuffer& value, WideBuffer& path)
{
    DWORD type = REG_NONE;
    if (readWide(clientKey, name, type, value) != ERROR_SUCCESS)
        return nullptr;
    if (type == REG_EXPAND_SZ)
    {
        const DWORD size = ExpandEnvironmentStringsW(value.data(), path.data(), pathLimit);
        if (size < 1 || size > pathLimit)
            return nullptr;
    }
    else if (type == REG_SZ)
    {
        std::copy_n(value.begin(), pathLimit - 1, path.begin());
        path[pathLimit - 1] = L'\0';
    }
    return LoadLibraryW(path.data());
}

[[nodiscard]] HMODULE loadSystemModule()
{
    constexpr std::wstring_view name = L"\\mapi32.dll";
    WideBuffer path{};
    if (GetSystemDirectoryW(path.data(), pathLimit) == 0)
        return nullptr;
    const std::size_t length = std::min<std::size_t>(std::wcslen(path.data()), pathLimit - 1);
    const std::size_t copied = name.copy(path.data() + length, pathLimit - 1 - length);
    path[length + copied] = L'\0';
    return LoadLibraryW(path.data());
}

[[nodiscard]] HMODULE findRuntime()
{
    for (const wchar_t* const name : {L"olmapi32.dll", L"msmapi32.dll"})
    {
        if (const HMODULE module = loadedModule(name))
            return module;
    }
    if constexpr (forceOutlookMapi)
        return loadDefaultMailClientModule(L"Microsoft Outlook");
    if (const HMODULE module = loadDefaultMailClientModule(nullptr))
        return module;
    return loadSystemModule();
}

// ---- Binding -------------------------------------------------------------------------------------------------------

/// One entry point of the runtime. The pointer and its generation are two plain words that any thread may write: all
/// write the same pointer, and a generation that is seen too old merely costs one more look-up.
template <class Function>
class EntryPoint
{
public:
    constexpr explicit EntryPoint(const char* name) noexcept : m_name(name) {}

    /// The function, or null when the runtime or the name in it can't be had.
    [[nodiscard]] Function* bound()
    {
        if (m_generation.load(std::memory_order_acquire) != mapiGeneration || mapiModule == nullptr)
            bind();
        return mapiModule != nullptr ? m_function.load(std::memory_order_relaxed) : nullptr;
    }

private:
    void bind()
    {
        const HMODULE module = getMapiModule();
        const auto function = reinterpret_cast<Function*>(reinterpret_cast<void (*)()>(GetProcAddress(module, m_name)));
        if (module == nullptr)
            return; // another thread may have found a runtime meanwhile, and bound what is in it
        m_function.store(function, std::memory_order_relaxed);
        m_generation.store(mapiGeneration, std::memory_order_release);
    }

    const char* const m_name;
    std::atomic<Function*> m_function{nullptr};
    std::atomic<ULONG> m_generation{0}; // never a generation of a module, so the first call binds
};

constinit EntryPoint<HRESULT STDAPICALLTYPE(void*)> s_initialize{"MAPIInitialize"};
constinit EntryPoint<void STDAPICALLTYPE()> s_uninitialize{"MAPIUninitialize"};
constinit EntryPoint<HRESULT STDAPICALLTYPE(ULONG_PTR, void*, void*, ULONG, IMAPISession**)> s_logonEx{"MAPILogonEx"};
constinit EntryPoint<SCODE STDAPICALLTYPE(ULONG, void**)> s_allocateBuffer{"MAPIAllocateBuffer"};
constinit EntryPoint<SCODE STDAPICALLTYPE(ULONG, void*, void**)> s_allocateMore{"MAPIAllocateMore"};
constinit EntryPoint<ULONG STDAPICALLTYPE(void*)> s_freeBuffer{"MAPIFreeBuffer"};
constinit EntryPoint<void STDAPICALLTYPE(SRowSet*)> s_freeProws{"FreeProws"};
constinit EntryPoint<HRESULT STDAPICALLTYPE(IMAPIProp*, ULONG, SPropValue**)> s_getOneProp{"HrGetOneProp"};
constinit EntryPoint<HRESULT STDAPICALLTYPE(IMAPIAdviseSink*, IMAPIAdviseSink**)> s_thisThreadAdviseSink{
    "HrThisThreadAdviseSink"};
} // namespace

HMODULE getMapiModule() noexcept
{
    if (const HMODULE known = mapiModule)
        return known;

    if (const HMODULE found = findRuntime())
    {
        HMODULE expected = nullptr;
        const bool first = mapiModule.compare_exchange_strong(expected, found);
        ++mapiGeneration;
        if (!first)
            FreeLibrary(found);
    }
    return mapiModule;
}

HMODULE loadDefaultMailClientModule(const wchar_t* clientName) noexcept
{
    // Neither key is ever closed: settled behaviour 43.
    HKEY mailKey = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Software\\Clients\\Mail", 0, KEY_READ, &mailKey) != ERROR_SUCCESS)
        return nullptr;

    WideBuffer defaultClient{};
    if (clientName == nullptr)
    {
        DWORD type = REG_NONE;
        if (readWide(mailKey, nullptr, type, defaultClient) != ERROR_SUCCESS || type != REG_SZ)
            return nullptr;
        clientName = defaultClient.data();
    }

    HKEY clientKey = nullptr; // stays null when it can't be opened: then nothing below can be read
    RegOpenKeyExW(mailKey, clientName, 0, KEY_READ, &clientKey);

    WideBuffer first{};
    WideBuffer second{};
    WideBuffer path{};
    const LSTATUS componentRead = readNarrow(clientKey, "MSIComponentID", first);
    const LSTATUS languageRead = readNarrow(clientKey, "MSIApplicationLCID", second);
    if (componentRead == ERROR_SUCCESS && languageRead == ERROR_SUCCESS)
    {
        if (const HMODULE module = loadComponent(first, second, path))
            return module;
    }
    if (const HMODULE module = loadNamedByValue(clientKey, L"DllPathEx", first, path))
        return module;
    return loadNamedByValue(clientKey, L"DllPath", second, path);
}

HRESULT MAPIInitialize(void* init)
{
    const auto function = s_initialize.bound();
    return function != nullptr ? function(init) : MAPI_E_CALL_FAILED;
}

void MAPIUninitialize()
{
    if (const auto function = s_uninitialize.bound())
        function();
}

HRESULT MAPILogonEx(ULONG_PTR window, void* profileName, void* password, ULONG flags, IMAPISession** session)
{
    const auto function = s_logonEx.bound();
    return function != nullptr ? function(window, profileName, password, flags, session) : MAPI_E_CALL_FAILED;
}

SCODE MAPIAllocateBuffer(ULONG size, void** buffer)
{
    const auto function = s_allocateBuffer.bound();
    return function != nullptr ? function(size, buffer) : MAPI_E_CALL_FAILED;
}

SCODE MAPIAllocateMore(ULONG size, void* parent, void** buffer)
{
    const auto function = s_allocateMore.bound();
    return function != nullptr ? function(size, parent, buffer) : MAPI_E_CALL_FAILED;
}

ULONG MAPIFreeBuffer(void* buffer)
{
    const auto function = s_freeBuffer.bound();
    return function != nullptr ? function(buffer) : 0;
}

void FreeProws(SRowSet* rows)
{
    if (const auto function = s_freeProws.bound())
        function(rows);
}

HRESULT HrGetOneProp(IMAPIProp* object, ULONG tag, SPropValue** value)
{
    const auto function = s_getOneProp.bound();
    return function != nullptr ? function(object, tag, value) : MAPI_E_CALL_FAILED;
}

HRESULT HrThisThreadAdviseSink(IMAPIAdviseSink* sink, IMAPIAdviseSink** wrapper)
{
    const auto function = s_thisThreadAdviseSink.bound();
    return function != nullptr ? function(sink, wrapper) : MAPI_E_CALL_FAILED;
}
} // namespace mapi

// The search for the machine's MAPI runtime. The binding of its functions is in MapiRuntimeBindingTests.cpp; that real
// modules are found by it is seen in each test that runs the agent.
#include <cstring>
#include <cwchar>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/mapi/FakeMachine.h"
#include "tests/support/HeapWatch.h"
#include "tests/support/Platform.h"

namespace
{
using support::FakeMachine;
using support::hookImport;
using testing::ElementsAre;
using testing::IsEmpty;

// Taken before any test runs.
const ULONG generationAtStart = mapi::mapiGeneration;

const std::wstring mailKey = L"Software\\Clients\\Mail";
const std::wstring clientKey = mailKey + L"\\Client";

/// What the fake MAPI stub gives for a component, and what it was asked.
std::string s_componentPath;
std::string s_componentCall;

BOOL STDAPICALLTYPE getComponentPath(const char* component, char* qualifier, char* path, DWORD size, BOOL install)
{
    s_componentCall = std::string(component) + '|' + qualifier + '|' + std::to_string(size) + '|' +
                      std::to_string(install) + '|' + path;
    path[s_componentPath.copy(path, size - 1)] = '\0';
    return s_componentPath.empty() ? FALSE : TRUE;
}

class RuntimeSearchTest : public testing::Test
{
protected:
    RuntimeSearchTest()
    {
        mapi::mapiModule = nullptr;
        s_componentPath.clear();
        s_componentCall.clear();
        m_machine.functions["FGetComponentPath"] = FakeMachine::exported(&getComponentPath);
    }
    ~RuntimeSearchTest() override
    {
        mapi::mapiModule = nullptr;
        ++mapi::mapiGeneration; // nothing bound to it may be used again
    }

    /// Makes "Client" the default mail client, without any values of its own.
    void makeDefaultClient()
    {
        m_machine.registry.setText(mailKey, L"", L"Client");
        m_machine.registry.makeKey(clientKey);
    }
    void setValue(const std::wstring& name, const std::wstring& text, DWORD type = REG_SZ)
    {
        m_machine.registry.setText(clientKey, name, text, type);
    }
    std::string loadClientModule() { return m_machine.nameOf(mapi::loadDefaultMailClientModule(nullptr)); }

    FakeMachine m_machine;
    const support::EnvironmentVariable m_variable{L"LINKWELL_TEST_PATH", L"C:\\folder"};
};

// ---- The order of the search ---------------------------------------------------------------------------------------

/// A machine, and how the search on it goes.
struct Search
{
    const char* name;
    std::vector<std::wstring> loaded;
    std::vector<std::pair<std::wstring, std::wstring>> values; // of the default mail client; "" is its name
    std::vector<std::wstring> loadable;
    std::string componentPath;
    std::vector<std::string> calls; // behind the two looks at what is loaded
    std::string found;
};

void PrintTo(const Search& search, std::ostream* stream)
{
    *stream << search.name;
}

class RuntimeSearchOrderTest : public RuntimeSearchTest, public testing::WithParamInterface<Search>
{
};

TEST_P(RuntimeSearchOrderTest, FindsTheRuntime)
{
    const Search& search = GetParam();
    m_machine.loaded = {search.loaded.begin(), search.loaded.end()};
    m_machine.loadable = {search.loadable.begin(), search.loadable.end()};
    s_componentPath = search.componentPath;
    for (const auto& [name, text] : search.values)
    {
        const DWORD type = text.starts_with(L'%') ? REG_EXPAND_SZ : REG_SZ;
        m_machine.registry.setText(name.empty() ? mailKey : clientKey, name, text, type);
    }
    const ULONG generation = mapi::mapiGeneration;

    const HMODULE module = mapi::getMapiModule();
    EXPECT_EQ(m_machine.nameOf(module), search.found);
    EXPECT_EQ(mapi::mapiModule, module);
    EXPECT_EQ(mapi::mapiGeneration, generation + (module != nullptr ? 1 : 0));
    EXPECT_THAT(m_machine.calls(), testing::ElementsAreArray(search.calls));

    m_machine.clearCalls();
    EXPECT_EQ(mapi::getMapiModule(), module);
    EXPECT_EQ(m_machine.calls().empty(), module != nullptr) << "searches as long as none has been found";
}

const std::wstring ex = L"DllPathEx";
const std::wstring plain = L"DllPath";
const std::vector<std::pair<std::wstring, std::wstring>> component = {
    {L"", L"Client"}, {L"MSIComponentID", L"{component}"}, {L"MSIApplicationLCID", L"1033"}, {ex, L"C:\\ex.dll"}};
const std::string ol = "get olmapi32.dll";
const std::string ms = "get msmapi32.dll";
const std::string asks = "find FGetComponentPath";

const Search searches[] = {
    {"LoadedOlmapi32First",
     {L"olmapi32.dll", L"msmapi32.dll"},
     {{L"", L"Client"}, {ex, L"C:\\ex.dll"}},
     {L"C:\\ex.dll"},
     "",
     {ol},
     "olmapi32.dll"},
    {"LoadedMsmapi32Next", {L"msmapi32.dll"}, {}, {}, "", {ol, ms}, "msmapi32.dll"},
    {"DllPathExBeforeDllPath",
     {},
     {{L"", L"Client"}, {ex, L"C:\\ex.dll"}, {plain, L"C:\\p.dll"}},
     {L"C:\\ex.dll", L"C:\\p.dll"},
     "",
     {ol, ms, "load C:\\ex.dll"},
     "C:\\ex.dll"},
    {"DllPathWithoutDllPathEx",
     {},
     {{L"", L"Client"}, {plain, L"C:\\p.dll"}},
     {L"C:\\p.dll"},
     "",
     {ol, ms, "load C:\\p.dll"},
     "C:\\p.dll"},
    {"DllPathWhenDllPathExCannotBeLoaded",
     {},
     {{L"", L"Client"}, {ex, L"C:\\ex.dll"}, {plain, L"%LINKWELL_TEST_PATH%\\p.dll"}},
     {L"C:\\folder\\p.dll"},
     "",
     {ol, ms, "load C:\\ex.dll", "load C:\\folder\\p.dll"},
     "C:\\folder\\p.dll"},
    {"DllPathWhenDllPathExIsTooLongToBeRead", // 522 bytes
     {},
     {{L"", L"Client"}, {ex, std::wstring(260, L'n')}, {plain, L"C:\\p.dll"}},
     {L"C:\\p.dll"},
     "",
     {ol, ms, "load C:\\p.dll"},
     "C:\\p.dll"},
    {"ComponentBeforeThePaths",
     {},
     component,
     {L"mapi32.dll", L"C:\\c.dll", L"C:\\ex.dll"},
     "C:\\c.dll",
     {ol, ms, "load mapi32.dll", asks, "free mapi32.dll", "loadA C:\\c.dll"},
     "C:\\c.dll"},
    {"ComponentByMapistub",
     {},
     component,
     {L"mapistub.dll", L"C:\\c.dll"},
     "C:\\c.dll",
     {ol, ms, "load mapi32.dll", "load mapistub.dll", asks, "free mapistub.dll", "loadA C:\\c.dll"},
     "C:\\c.dll"},
    {"PathsWithoutAnyStub",
     {},
     component,
     {L"C:\\ex.dll"},
     "C:\\c.dll",
     {ol, ms, "load mapi32.dll", "load mapistub.dll", "load C:\\ex.dll"},
     "C:\\ex.dll"},
    {"PathsWhenTheStubFindsNothing",
     {},
     component,
     {L"mapi32.dll", L"C:\\ex.dll"},
     "",
     {ol, ms, "load mapi32.dll", asks, "free mapi32.dll", "load C:\\ex.dll"},
     "C:\\ex.dll"},
    {"PathsWhenTheComponentCannotBeLoaded",
     {},
     component,
     {L"mapi32.dll", L"C:\\ex.dll"},
     "C:\\c.dll",
     {ol, ms, "load mapi32.dll", asks, "free mapi32.dll", "loadA C:\\c.dll", "load C:\\ex.dll"},
     "C:\\ex.dll"},
    {"SystemDirectoryWithoutMailClients",
     {},
     {},
     {L"S:\\System\\mapi32.dll"},
     "",
     {ol, ms, "system 260", "load S:\\System\\mapi32.dll"},
     "S:\\System\\mapi32.dll"},
    {"SystemDirectoryWithoutADefault",
     {},
     {{ex, L"C:\\ex.dll"}},
     {L"C:\\ex.dll", L"S:\\System\\mapi32.dll"},
     "",
     {ol, ms, "system 260", "load S:\\System\\mapi32.dll"},
     "S:\\System\\mapi32.dll"},
    {"NothingWhenNoPathCanBeLoaded",
     {},
     {{L"", L"Client"}, {plain, L"C:\\p.dll"}},
     {},
     "",
     {ol, ms, "load C:\\p.dll", "system 260", "load S:\\System\\mapi32.dll"},
     "none"},
};

INSTANTIATE_TEST_SUITE_P(Machines, RuntimeSearchOrderTest, testing::ValuesIn(searches),
                         [](const auto& search) { return std::string(search.param.name); });

TEST_F(RuntimeSearchTest, StartsWithGenerationOne)
{
    EXPECT_EQ(generationAtStart, 1u);
}

TEST_F(RuntimeSearchTest, AsksTheStubForAnInstalledComponent)
{
    m_machine.loadable = {L"mapi32.dll"};
    for (const auto& [name, text] : component)
        m_machine.registry.setText(name.empty() ? mailKey : clientKey, name, text);
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_EQ(s_componentCall, "{component}|1033|260|0|");
}

TEST_F(RuntimeSearchTest, GivesNothingWithoutASystemDirectory)
{
    m_machine.systemDirectory.clear();
    EXPECT_EQ(mapi::getMapiModule(), nullptr);
    EXPECT_THAT(m_machine.calls(), ElementsAre(ol, ms, "system 260"));
}

TEST_F(RuntimeSearchTest, CutsAPathInTheSystemDirectoryThatIsTooLong)
{
    m_machine.systemDirectory = std::wstring(255, L's');
    EXPECT_EQ(mapi::getMapiModule(), nullptr);
    EXPECT_EQ(m_machine.calls().back(), "load " + std::string(255, 's') + "\\map");
}

BOOL STDAPICALLTYPE findNoComponent(const char*, char*, char*, DWORD, BOOL)
{
    return FALSE;
}

// Without a FakeMachine, which takes memory to note the calls.
TEST(RuntimeSearchMemoryTest, TakesNoMemory)
{
    support::RegistryOverride registry;
    for (const auto& [name, text] : component)
        registry.setText(name.empty() ? mailKey : clientKey, name, text);
    registry.setText(clientKey, plain, L"%LINKWELL_TEST_PATH%\\p.dll", REG_EXPAND_SZ);
    const auto load = hookImport<"LoadLibraryW">(
        LoadLibraryW, [](auto, LPCWSTR name)
        { return std::wcscmp(name, L"mapi32.dll") == 0 ? GetModuleHandleW(L"kernel32.dll") : nullptr; });
    const auto find = hookImport<"GetProcAddress">(GetProcAddress, [](auto, HMODULE, LPCSTR)
                                                   { return FakeMachine::exported(&findNoComponent); });
    mapi::mapiModule = nullptr;

    unsigned allocations = 0;
    HMODULE module = nullptr;
    {
        const support::HeapWatch heap;
        module = mapi::getMapiModule();
        allocations = heap.count();
    }
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(load.count(), 4u); // the stub, both paths, the system directory
    EXPECT_EQ(module, nullptr);
    EXPECT_TRUE(noexcept(mapi::getMapiModule()) && noexcept(mapi::loadDefaultMailClientModule(nullptr)));
}

// ---- What is read of the registry ----------------------------------------------------------------------------------

TEST_F(RuntimeSearchTest, ReadsAllValuesOfTheClientInOrderAndClosesNoKey)
{
    m_machine.registry.setText(mailKey, L"", L"Client");
    const auto open = hookImport<"RegOpenKeyExW">(
        RegOpenKeyExW,
        [&](auto original, HKEY key, LPCWSTR name, DWORD options, REGSAM access, PHKEY result)
        {
            const std::wstring wide = name;
            m_machine.note((key == HKEY_LOCAL_MACHINE ? "open HKLM " : "open ") +
                           std::string(wide.begin(), wide.end()) + " " + std::to_string(options) + " " +
                           std::to_string(access));
            return original(key, name, options, access, result);
        });
    const auto readWide = hookImport<"RegQueryValueExW">(
        RegQueryValueExW,
        [&](auto original, HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
        {
            const std::wstring wide = name != nullptr ? name : L"";
            m_machine.note("W " + std::string(wide.begin(), wide.end()) + " " + std::to_string(*size));
            return original(key, name, reserved, type, data, size);
        });
    const auto readNarrow = hookImport<"RegQueryValueExA">(
        RegQueryValueExA,
        [&](auto original, HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
        {
            m_machine.note(std::string("A ") + name + " " + std::to_string(*size));
            return original(key, name, reserved, type, data, size);
        });
    const auto close = support::countImport<"RegCloseKey">(RegCloseKey);

    EXPECT_EQ(loadClientModule(), "none"); // the client has no key: all is read in vain
    const std::vector<std::string> values = {"A MSIComponentID 260", "A MSIApplicationLCID 260", "W DllPathEx 520",
                                             "W DllPath 520"};
    std::vector<std::string> expected = {"open HKLM Software\\Clients\\Mail 0 131097", "W  520",
                                         "open Client 0 131097"}; // KEY_READ
    expected.insert(expected.end(), values.begin(), values.end());
    EXPECT_EQ(m_machine.calls(), expected);

    m_machine.clearCalls(); // no default is asked for when the client is named
    EXPECT_EQ(mapi::loadDefaultMailClientModule(L"Microsoft Outlook"), nullptr);
    expected = {"open HKLM Software\\Clients\\Mail 0 131097", "open Microsoft Outlook 0 131097"};
    expected.insert(expected.end(), values.begin(), values.end());
    EXPECT_EQ(m_machine.calls(), expected);
    EXPECT_EQ(close.count(), 0u);
}

TEST_F(RuntimeSearchTest, ReadsNoValueWithoutTheMailKey)
{
    const auto reads = support::countImport<"RegQueryValueExW">(RegQueryValueExW);
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_EQ(reads.count(), 0u);
}

TEST_F(RuntimeSearchTest, TakesTheNamedClient)
{
    makeDefaultClient();
    setValue(ex, L"C:\\default.dll");
    m_machine.registry.setText(mailKey + L"\\Microsoft Outlook", ex, L"C:\\named.dll");
    m_machine.loadable = {L"C:\\default.dll", L"C:\\named.dll"};
    EXPECT_EQ(m_machine.nameOf(mapi::loadDefaultMailClientModule(L"Microsoft Outlook")), "C:\\named.dll");
    EXPECT_EQ(mapi::mapiModule, nullptr); // loading alone sets nothing
}

TEST_F(RuntimeSearchTest, FindsNoClientWhenTheDefaultIsMissingOrNoPlainText)
{
    setValue(ex, L"C:\\ex.dll");
    m_machine.loadable = {L"C:\\ex.dll"};
    EXPECT_EQ(loadClientModule(), "none"); // missing
    m_machine.registry.setText(mailKey, L"", L"Client", REG_EXPAND_SZ);
    EXPECT_EQ(loadClientModule(), "none");
    m_machine.registry.setText(mailKey, L"", std::wstring(300, L'c')); // can't be read into 520 bytes
    EXPECT_EQ(loadClientModule(), "none");
    m_machine.registry.setText(mailKey, L"", L"Client");
    EXPECT_EQ(loadClientModule(), "C:\\ex.dll");
}

TEST_F(RuntimeSearchTest, ExpandsVariablesWhereTheTypeSaysSo)
{
    makeDefaultClient();
    setValue(ex, L"%LINKWELL_TEST_PATH%\\ex.dll", REG_EXPAND_SZ);
    setValue(plain, L"%LINKWELL_TEST_PATH%\\p.dll", REG_SZ);
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), ElementsAre("load C:\\folder\\ex.dll", "load %LINKWELL_TEST_PATH%\\p.dll"));
}

TEST_F(RuntimeSearchTest, ExpandsTo260CharactersAtMost)
{
    makeDefaultClient();
    setValue(ex, L"%LINKWELL_TEST_LONG%", REG_EXPAND_SZ);
    const auto sizes =
        hookImport<"ExpandEnvironmentStringsW">(ExpandEnvironmentStringsW,
                                                [&](auto original, LPCWSTR source, LPWSTR target, DWORD size)
                                                {
                                                    m_machine.note("expand " + std::to_string(size));
                                                    return original(source, target, size);
                                                });
    {
        const support::EnvironmentVariable fills(L"LINKWELL_TEST_LONG", std::wstring(259, L'n')); // and the terminator
        EXPECT_EQ(loadClientModule(), "none");
        EXPECT_THAT(m_machine.calls(), ElementsAre("expand 260", "load " + std::string(259, 'n')));
    }
    m_machine.clearCalls();
    const support::EnvironmentVariable tooLong(L"LINKWELL_TEST_LONG", std::wstring(260, L'n'));
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), ElementsAre("expand 260"));
}

TEST_F(RuntimeSearchTest, LoadsAPlainPathOf259CharactersWhole)
{
    makeDefaultClient();
    setValue(ex, std::wstring(259, L'n')); // and the terminator
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), ElementsAre("load " + std::string(259, 'n')));
}

TEST_F(RuntimeSearchTest, LoadsWhatIsInTheBufferWhenAValueIsNoText)
{
    makeDefaultClient();
    setValue(ex, L"C:\\ex.dll");
    m_machine.registry.setBytes(clientKey, plain, REG_BINARY, L"other.dll", 20);
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), ElementsAre("load C:\\ex.dll", "load C:\\ex.dll"));

    m_machine.clearCalls();
    m_machine.registry.setBytes(clientKey, ex, REG_BINARY, L"other.dll", 20);
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), ElementsAre("load ", "load "));
}

TEST_F(RuntimeSearchTest, LeavesTheComponentsPathInTheBuffer)
{
    for (const auto& [name, text] : component)
        m_machine.registry.setText(name.empty() ? mailKey : clientKey, name, text);
    m_machine.registry.setBytes(clientKey, ex, REG_BINARY, "x", 1);
    m_machine.loadable = {L"mapi32.dll", {L'n' | L'o' << 8, L'.' | L'd' << 8, L'l' | L'l' << 8}};
    s_componentPath = "no.dll"; // narrow characters, taken for wide ones
    EXPECT_NE(loadClientModule(), "none");
}

TEST_F(RuntimeSearchTest, AsksNoStubUnlessBothValuesCanBeRead)
{
    makeDefaultClient();
    m_machine.loadable = {L"mapi32.dll", L"C:\\c.dll"};
    s_componentPath = "C:\\c.dll";
    setValue(L"MSIComponentID", L"{component}");
    EXPECT_EQ(loadClientModule(), "none");
    setValue(L"MSIApplicationLCID", std::wstring(260, L'1')); // 261 bytes as narrow text
    EXPECT_EQ(loadClientModule(), "none");
    EXPECT_THAT(m_machine.calls(), IsEmpty());
    setValue(L"MSIApplicationLCID", std::wstring(259, L'1'));
    EXPECT_EQ(loadClientModule(), "C:\\c.dll");
}
} // namespace

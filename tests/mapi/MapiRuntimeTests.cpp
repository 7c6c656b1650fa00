#include "agent/mapi/MapiRuntime.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/mapi/modules/FakeRuntime.h"
#include "tests/support/ImportHook.h"
#include "tests/support/Platform.h"
#include "tests/support/RegistryOverride.h"
#include "tests/support/TempFolder.h"

namespace
{
using support::countImport;
using support::hookImport;
using testing::ElementsAre;
using testing::IsEmpty;

// Taken before any test runs.
const ULONG generationAtStart = mapi::mapiGeneration;

const std::wstring mailKey = L"Software\\Clients\\Mail";
const std::wstring clientKey = mailKey + L"\\Client";

std::wstring fileOf(HMODULE module)
{
    std::array<wchar_t, 1024> path{};
    GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    return path.data();
}

bool sameFile(const std::wstring& first, const std::wstring& second)
{
    return std::filesystem::exists(first) && std::filesystem::equivalent(first, second);
}

/// A DLL that is built beside the test program.
std::filesystem::path builtModule(const wchar_t* name)
{
    return std::filesystem::path(fileOf(nullptr)).parent_path() / name;
}

std::wstring systemRuntime()
{
    std::array<wchar_t, 260> directory{};
    GetSystemDirectoryW(directory.data(), static_cast<UINT>(directory.size()));
    return std::wstring(directory.data()) + L"\\mapi32.dll";
}

/// Each test begins without a runtime, with an empty registry, and leaves no runtime behind.
class MapiRuntimeTest : public testing::Test
{
protected:
    MapiRuntimeTest() { mapi::mapiModule = nullptr; }
    ~MapiRuntimeTest() override
    {
        if (const HMODULE module = mapi::mapiModule.exchange(nullptr))
            FreeLibrary(module);
        ++mapi::mapiGeneration; // nothing bound to it may be used again
        for (const wchar_t* name : {L"LINKWELL_STUB_PATH", L"LINKWELL_STUB_CALL", L"LINKWELL_TEST_PATH"})
            SetEnvironmentVariableW(name, nullptr);
    }

    /// A copy of the fake runtime under another name; gives its path.
    [[nodiscard]] std::wstring makeRuntime(const std::wstring& name) const
    {
        std::filesystem::copy_file(builtModule(L"LinkwellTestRuntime.dll"), m_folder.file(name));
        return m_folder.file(name);
    }

    /// What the fake MAPI stub gives for any component; without a path it finds nothing.
    static void setStubPath(const std::wstring& path)
    {
        SetEnvironmentVariableW(L"LINKWELL_STUB_PATH", path.empty() ? nullptr : path.c_str());
    }

    [[nodiscard]] static std::wstring stubCall()
    {
        std::array<wchar_t, 1024> text{};
        GetEnvironmentVariableW(L"LINKWELL_STUB_CALL", text.data(), static_cast<DWORD>(text.size()));
        return text.data();
    }

    /// Makes "Client" the default mail client, without any values of its own.
    void makeDefaultClient()
    {
        m_registry.setText(mailKey, L"", L"Client");
        m_registry.makeKey(clientKey);
    }

    void makeComponent(const std::wstring& component = L"{component}", const std::wstring& language = L"1033")
    {
        makeDefaultClient();
        m_registry.setText(clientKey, L"MSIComponentID", component);
        m_registry.setText(clientKey, L"MSIApplicationLCID", language);
    }

    /// Has the search end with nothing: without this the machine's own mapi32.dll would be found at last.
    [[nodiscard]] static auto withoutSystemDirectory()
    {
        return hookImport<"GetSystemDirectoryW">(GetSystemDirectoryW, [](auto, LPWSTR, UINT) { return 0u; });
    }

    const support::TempFolder m_folder;
    support::RegistryOverride m_registry;
};

/// A module that this test has loaded, as another part of the process would have.
class LoadedModule
{
public:
    explicit LoadedModule(const std::wstring& path) : m_module(LoadLibraryW(path.c_str()))
    {
        EXPECT_NE(m_module, nullptr);
    }
    ~LoadedModule() { FreeLibrary(m_module); }
    LoadedModule(const LoadedModule&) = delete;
    LoadedModule& operator=(const LoadedModule&) = delete;
    [[nodiscard]] HMODULE get() const noexcept { return m_module; }

private:
    HMODULE m_module;
};

/// Records the names and paths that LoadLibraryW gets. By the name in `stub` the fake MAPI stub is loaded, since Wine
/// never loads another mapi32.dll than its own; what `refused` names can't be loaded.
struct Loads
{
    std::wstring stub{};
    std::vector<std::wstring> refused{};
    std::vector<std::wstring> names{};

    [[nodiscard]] auto hook()
    {
        return hookImport<"LoadLibraryW">(
            LoadLibraryW,
            [this](auto original, LPCWSTR name) -> HMODULE
            {
                names.emplace_back(name);
                if (std::ranges::find(refused, name) != refused.end())
                    return nullptr;
                return original(!stub.empty() && name == stub ? builtModule(L"LinkwellTestStub.dll").c_str() : name);
            });
    }
};

// ---- Runtimes that are loaded already ------------------------------------------------------------------------------

TEST_F(MapiRuntimeTest, StartsWithGenerationOne)
{
    EXPECT_EQ(generationAtStart, 1u);
}

TEST_F(MapiRuntimeTest, TakesLoadedOlmapi32WithoutALookAtTheRegistry)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"other.dll"));
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    const LoadedModule alsoLoaded(makeRuntime(L"msmapi32.dll"));
    std::vector<std::tuple<DWORD, std::wstring>> asked;
    const auto look = hookImport<"GetModuleHandleExW">(GetModuleHandleExW,
                                                       [&](auto original, DWORD flags, LPCWSTR name, HMODULE* module)
                                                       {
                                                           asked.emplace_back(flags, name);
                                                           return original(flags, name, module);
                                                       });
    const auto keys = countImport<"RegOpenKeyExW">(RegOpenKeyExW);
    EXPECT_EQ(mapi::getMapiModule(), loaded.get());
    EXPECT_EQ(mapi::mapiModule, loaded.get());
    EXPECT_THAT(asked, ElementsAre(std::tuple(0u, std::wstring(L"olmapi32.dll"))));
    EXPECT_EQ(keys.count(), 0u);
}

TEST_F(MapiRuntimeTest, TakesLoadedMsmapi32Next)
{
    const LoadedModule loaded(makeRuntime(L"msmapi32.dll"));
    const auto keys = countImport<"RegOpenKeyExW">(RegOpenKeyExW);
    EXPECT_EQ(mapi::getMapiModule(), loaded.get());
    EXPECT_EQ(keys.count(), 0u);
}

TEST_F(MapiRuntimeTest, KeepsAReferenceOnALoadedRuntime)
{
    const std::wstring path = makeRuntime(L"olmapi32.dll");
    {
        const LoadedModule loaded(path);
        EXPECT_EQ(mapi::getMapiModule(), loaded.get());
    }
    EXPECT_EQ(GetModuleHandleW(L"olmapi32.dll"), mapi::mapiModule);
}

TEST_F(MapiRuntimeTest, SearchesNoMoreWhenTheModuleIsKnown)
{
    m_registry.setText(mailKey, L"", L"Client");
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    const HMODULE module = mapi::getMapiModule();
    ASSERT_NE(module, nullptr);
    const ULONG generation = mapi::mapiGeneration;
    const auto look = countImport<"GetModuleHandleExW">(GetModuleHandleExW);
    const auto keys = countImport<"RegOpenKeyExW">(RegOpenKeyExW);
    EXPECT_EQ(mapi::getMapiModule(), module);
    EXPECT_EQ(look.count(), 0u);
    EXPECT_EQ(keys.count(), 0u);
    EXPECT_EQ(mapi::mapiGeneration, generation);
}

TEST_F(MapiRuntimeTest, CountsASearchThatFoundAModule)
{
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    const ULONG generation = mapi::mapiGeneration;
    EXPECT_EQ(mapi::getMapiModule(), loaded.get());
    EXPECT_EQ(mapi::mapiGeneration, generation + 1);
}

// ---- The default mail client ---------------------------------------------------------------------------------------

TEST_F(MapiRuntimeTest, OpensTheKeysForReadingAndNeverClosesThem)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    std::vector<std::tuple<bool, std::wstring, DWORD, REGSAM>> opened;
    const auto open = hookImport<"RegOpenKeyExW">(
        RegOpenKeyExW,
        [&](auto original, HKEY key, LPCWSTR name, DWORD options, REGSAM access, PHKEY result)
        {
            opened.emplace_back(key == HKEY_LOCAL_MACHINE, name, options, access);
            return original(key, name, options, access, result);
        });
    const auto close = countImport<"RegCloseKey">(RegCloseKey);
    EXPECT_NE(mapi::getMapiModule(), nullptr);
    EXPECT_THAT(opened, ElementsAre(std::tuple(true, mailKey, 0u, 0x20019u),
                                    std::tuple(false, std::wstring(L"Client"), 0u, 0x20019u)));
    EXPECT_EQ(close.count(), 0u);
}

TEST_F(MapiRuntimeTest, ClosesNoKeyWhenNothingIsFound)
{
    makeDefaultClient();
    const auto close = countImport<"RegCloseKey">(RegCloseKey);
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    m_registry.setText(mailKey, L"", L"%Client%", REG_EXPAND_SZ);
    const unsigned closedByTheTest = close.count();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_EQ(close.count(), closedByTheTest);
}

/// Records the value names that are read, in order, with the sizes of the buffers.
struct Reads
{
    std::vector<std::tuple<std::string, DWORD>> values;

    [[nodiscard]] auto wideHook()
    {
        return hookImport<"RegQueryValueExW">(
            RegQueryValueExW,
            [this](auto original, HKEY key, LPCWSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
            {
                const std::wstring text = name != nullptr ? name : L"";
                values.emplace_back("W:" + std::string(text.begin(), text.end()), *size);
                return original(key, name, reserved, type, data, size);
            });
    }
    [[nodiscard]] auto narrowHook()
    {
        return hookImport<"RegQueryValueExA">(
            RegQueryValueExA,
            [this](auto original, HKEY key, LPCSTR name, LPDWORD reserved, LPDWORD type, LPBYTE data, LPDWORD size)
            {
                values.emplace_back(std::string("A:") + name, *size);
                return original(key, name, reserved, type, data, size);
            });
    }
};

TEST_F(MapiRuntimeTest, ReadsAllValuesOfTheClientInOrder)
{
    makeDefaultClient();
    Reads reads;
    const auto wide = reads.wideHook();
    const auto narrow = reads.narrowHook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(reads.values, ElementsAre(std::tuple("W:", 520u), std::tuple("A:MSIComponentID", 260u),
                                          std::tuple("A:MSIApplicationLCID", 260u), std::tuple("W:DllPathEx", 520u),
                                          std::tuple("W:DllPath", 520u)));
}

TEST_F(MapiRuntimeTest, ReadsAllValuesInVainWhenTheClientHasNoKey)
{
    m_registry.setText(mailKey, L"", L"Client");
    Reads reads;
    const auto wide = reads.wideHook();
    const auto narrow = reads.narrowHook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_EQ(reads.values.size(), 5u);
}

TEST_F(MapiRuntimeTest, AsksForNoDefaultWhenAClientIsNamed)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"default.dll"));
    const std::wstring path = makeRuntime(L"named.dll");
    m_registry.setText(mailKey + L"\\Microsoft Outlook", L"DllPathEx", path);
    Reads reads;
    const auto wide = reads.wideHook();
    const HMODULE module = mapi::loadDefaultMailClientModule(L"Microsoft Outlook");
    EXPECT_TRUE(sameFile(fileOf(module), path));
    FreeLibrary(module);
    EXPECT_THAT(reads.values, ElementsAre(std::tuple("W:DllPathEx", 520u)));
    EXPECT_EQ(mapi::mapiModule, nullptr); // loading alone sets nothing
}

TEST_F(MapiRuntimeTest, FindsNoClientWithoutTheMailKey)
{
    Reads reads;
    const auto wide = reads.wideHook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(reads.values, IsEmpty());
}

TEST_F(MapiRuntimeTest, FindsNoClientWhenTheDefaultIsMissingOrNoPlainText)
{
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr); // missing

    m_registry.setText(mailKey, L"", L"Client", REG_EXPAND_SZ);
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);

    m_registry.setText(mailKey, L"", std::wstring(300, L'c')); // can't be read into 520 bytes
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);

    m_registry.setText(mailKey, L"", L"Client");
    const HMODULE module = mapi::loadDefaultMailClientModule(nullptr);
    EXPECT_NE(module, nullptr);
    FreeLibrary(module);
}

// ---- "DllPathEx" and "DllPath" -------------------------------------------------------------------------------------

TEST_F(MapiRuntimeTest, TakesDllPathExBeforeDllPath)
{
    const std::wstring path = makeRuntime(L"pathex.dll");
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", path);
    m_registry.setText(clientKey, L"DllPath", makeRuntime(L"path.dll"));
    Loads loads;
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_THAT(loads.names, ElementsAre(path));
}

TEST_F(MapiRuntimeTest, TakesDllPathWithoutDllPathEx)
{
    const std::wstring path = makeRuntime(L"path.dll");
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPath", path);
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
}

TEST_F(MapiRuntimeTest, TakesDllPathWhenDllPathExCannotBeLoaded)
{
    const std::wstring path = makeRuntime(L"path.dll");
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", m_folder.file(L"missing.dll"));
    m_registry.setText(clientKey, L"DllPath", path);
    Loads loads;
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_THAT(loads.names, ElementsAre(m_folder.file(L"missing.dll"), path));
}

TEST_F(MapiRuntimeTest, ExpandsVariablesWhereTheTypeSaysSo)
{
    const std::wstring path = makeRuntime(L"runtime.dll");
    SetEnvironmentVariableW(L"LINKWELL_TEST_PATH", m_folder.path().c_str());
    makeDefaultClient();
    for (const wchar_t* name : {L"DllPathEx", L"DllPath"})
    {
        m_registry.setText(clientKey, name, L"%LINKWELL_TEST_PATH%\\runtime.dll", REG_EXPAND_SZ);
        const HMODULE module = mapi::loadDefaultMailClientModule(nullptr);
        EXPECT_TRUE(sameFile(fileOf(module), path));
        FreeLibrary(module);
        m_registry.setText(clientKey, name, L"%LINKWELL_TEST_PATH%\\runtime.dll", REG_SZ);
        EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    }
}

TEST_F(MapiRuntimeTest, TakesAnExpansionThatFillsTheBuffer)
{
    const std::wstring path(259, L'n'); // and the terminator
    SetEnvironmentVariableW(L"LINKWELL_TEST_PATH", path.c_str());
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", L"%LINKWELL_TEST_PATH%", REG_EXPAND_SZ);
    Loads loads;
    const auto hook = loads.hook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(loads.names, ElementsAre(path));
}

TEST_F(MapiRuntimeTest, SkipsAnExpansionThatIsTooLongAndTriesDllPath)
{
    const std::wstring path = makeRuntime(L"path.dll");
    SetEnvironmentVariableW(L"LINKWELL_TEST_PATH", std::wstring(260, L'n').c_str());
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", L"%LINKWELL_TEST_PATH%", REG_EXPAND_SZ);
    m_registry.setText(clientKey, L"DllPath", path);
    Loads loads;
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_THAT(loads.names, ElementsAre(path));
}

TEST_F(MapiRuntimeTest, EndsWithNoClientWhenTheExpansionOfDllPathIsTooLong)
{
    SetEnvironmentVariableW(L"LINKWELL_TEST_PATH", std::wstring(260, L'n').c_str());
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPath", L"%LINKWELL_TEST_PATH%", REG_EXPAND_SZ);
    const auto loads = countImport<"LoadLibraryW">(LoadLibraryW);
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_EQ(loads.count(), 0u);
}

TEST_F(MapiRuntimeTest, ExpandsIntoABufferOf260Characters)
{
    SetEnvironmentVariableW(L"LINKWELL_TEST_PATH", L"none");
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", L"%LINKWELL_TEST_PATH%", REG_EXPAND_SZ);
    std::vector<std::tuple<std::wstring, DWORD>> calls;
    const auto hook =
        hookImport<"ExpandEnvironmentStringsW">(ExpandEnvironmentStringsW,
                                                [&](auto original, LPCWSTR source, LPWSTR target, DWORD size)
                                                {
                                                    calls.emplace_back(source, size);
                                                    return original(source, target, size);
                                                });
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(calls, ElementsAre(std::tuple(std::wstring(L"%LINKWELL_TEST_PATH%"), 260u)));
}

TEST_F(MapiRuntimeTest, SkipsAValueThatIsTooLongToBeRead)
{
    const std::wstring path = makeRuntime(L"path.dll");
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", std::wstring(260, L'n')); // 522 bytes
    m_registry.setText(clientKey, L"DllPath", path);
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
}

TEST_F(MapiRuntimeTest, LoadsWhatIsInTheBufferWhenAValueIsNoText)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", m_folder.file(L"missing.dll"));
    m_registry.setBytes(clientKey, L"DllPath", REG_BINARY, L"other.dll", 20);
    Loads loads;
    const auto hook = loads.hook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(loads.names, ElementsAre(m_folder.file(L"missing.dll"), m_folder.file(L"missing.dll")));

    loads.names.clear();
    m_registry.setBytes(clientKey, L"DllPathEx", REG_BINARY, L"other.dll", 20);
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(loads.names, ElementsAre(L"", L""));
}

// ---- The installer's component -------------------------------------------------------------------------------------

TEST_F(MapiRuntimeTest, TakesTheComponentBeforeThePaths)
{
    const std::wstring path = makeRuntime(L"component.dll");
    makeComponent();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"pathex.dll"));
    setStubPath(path);
    Loads loads{.stub = L"mapi32.dll"};
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_EQ(stubCall(), L"{component}|1033|260|0|");
}

TEST_F(MapiRuntimeTest, FreesTheStubBeforeItLoadsTheComponent)
{
    makeComponent();
    setStubPath(makeRuntime(L"component.dll"));
    Loads loads{.stub = L"mapi32.dll"};
    const auto load = loads.hook();
    std::vector<std::string> order;
    const auto free = hookImport<"FreeLibrary">(
        FreeLibrary,
        [&](auto original, HMODULE module)
        {
            order.emplace_back("free");
            EXPECT_TRUE(sameFile(fileOf(module), builtModule(L"LinkwellTestStub.dll").wstring()));
            return original(module);
        });
    const auto loadNarrow =
        hookImport<"LoadLibraryA">(LoadLibraryA,
                                   [&](auto original, LPCSTR name)
                                   {
                                       order.emplace_back("load");
                                       EXPECT_EQ(GetModuleHandleW(L"LinkwellTestStub.dll"), nullptr);
                                       return original(name);
                                   });
    EXPECT_NE(mapi::getMapiModule(), nullptr);
    EXPECT_THAT(order, ElementsAre("free", "load"));
}

TEST_F(MapiRuntimeTest, AsksMapistubWhenThereIsNoMapi32)
{
    const std::wstring path = makeRuntime(L"component.dll");
    makeComponent();
    setStubPath(path);
    Loads loads{.stub = L"mapistub.dll", .refused = {L"mapi32.dll"}};
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_THAT(loads.names, ElementsAre(L"mapi32.dll", L"mapistub.dll"));
    EXPECT_EQ(stubCall(), L"{component}|1033|260|0|");
}

TEST_F(MapiRuntimeTest, GoesOnToThePathsWithoutAnyStub)
{
    const std::wstring path = makeRuntime(L"pathex.dll");
    makeComponent();
    m_registry.setText(clientKey, L"DllPathEx", path);
    Loads loads{.refused = {L"mapi32.dll", L"mapistub.dll"}};
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_THAT(loads.names, ElementsAre(L"mapi32.dll", L"mapistub.dll", path));
}

TEST_F(MapiRuntimeTest, GoesOnToThePathsWhenTheStubFindsNothing)
{
    const std::wstring path = makeRuntime(L"pathex.dll");
    makeComponent();
    m_registry.setText(clientKey, L"DllPathEx", path);
    setStubPath(L"");
    Loads loads{.stub = L"mapi32.dll"};
    const auto hook = loads.hook();
    const auto narrowLoads = countImport<"LoadLibraryA">(LoadLibraryA);
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
    EXPECT_NE(stubCall(), L"");
    EXPECT_EQ(narrowLoads.count(), 0u);
}

TEST_F(MapiRuntimeTest, GoesOnToThePathsWhenTheComponentCannotBeLoaded)
{
    const std::wstring path = makeRuntime(L"pathex.dll");
    makeComponent();
    m_registry.setText(clientKey, L"DllPathEx", path);
    setStubPath(m_folder.file(L"missing.dll"));
    Loads loads{.stub = L"mapi32.dll"};
    const auto hook = loads.hook();
    EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), path));
}

TEST_F(MapiRuntimeTest, LeavesTheComponentsPathInTheBuffer)
{
    makeComponent();
    m_registry.setBytes(clientKey, L"DllPathEx", REG_BINARY, "x", 1);
    setStubPath(L"no.dll");
    Loads loads{.stub = L"mapi32.dll"};
    const auto hook = loads.hook();
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    ASSERT_EQ(loads.names.size(), 2u);
    // Narrow characters, taken for wide ones.
    EXPECT_EQ(loads.names[1], std::wstring({L'n' | L'o' << 8, L'.' | L'd' << 8, L'l' | L'l' << 8}));
}

TEST_F(MapiRuntimeTest, AsksNoStubUnlessBothValuesAreThere)
{
    makeDefaultClient();
    setStubPath(makeRuntime(L"component.dll"));
    Loads loads{.stub = L"mapi32.dll"};
    const auto hook = loads.hook();

    m_registry.setText(clientKey, L"MSIComponentID", L"{component}");
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);

    m_registry.setText(clientKey, L"MSIApplicationLCID", std::wstring(260, L'1')); // 261 bytes as narrow text
    EXPECT_EQ(mapi::loadDefaultMailClientModule(nullptr), nullptr);
    EXPECT_THAT(loads.names, IsEmpty());

    m_registry.setText(clientKey, L"MSIApplicationLCID", std::wstring(259, L'1'));
    const HMODULE module = mapi::loadDefaultMailClientModule(nullptr);
    EXPECT_NE(module, nullptr);
    FreeLibrary(module);
}

// ---- The system directory ------------------------------------------------------------------------------------------

class SystemDirectoryTest : public MapiRuntimeTest
{
protected:
    /// The search must end with the system directory's mapi32.dll.
    void expectSystemRuntime()
    {
        if (!std::filesystem::exists(systemRuntime()))
            GTEST_SKIP() << "this machine has no mapi32.dll in its system directory";
        Loads loads;
        const auto hook = loads.hook();
        EXPECT_TRUE(sameFile(fileOf(mapi::getMapiModule()), systemRuntime()));
        ASSERT_THAT(loads.names, testing::Not(IsEmpty()));
        EXPECT_EQ(loads.names.back(), systemRuntime());
    }
};

TEST_F(SystemDirectoryTest, ComesLastWhenTheMachineHasNoMailClients)
{
    expectSystemRuntime();
}

TEST_F(SystemDirectoryTest, ComesLastWhenNoMailClientIsTheDefault)
{
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    expectSystemRuntime();
}

TEST_F(SystemDirectoryTest, ComesLastWhenTheClientHasNoValues)
{
    makeDefaultClient();
    expectSystemRuntime();
}

TEST_F(SystemDirectoryTest, ComesLastWhenDllPathCannotBeLoaded)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPath", m_folder.file(L"missing.dll"));
    expectSystemRuntime();
}

TEST_F(SystemDirectoryTest, IsAskedForWith260Characters)
{
    std::vector<UINT> sizes;
    const auto hook = hookImport<"GetSystemDirectoryW">(GetSystemDirectoryW,
                                                        [&](auto, LPWSTR buffer, UINT size)
                                                        {
                                                            sizes.push_back(size);
                                                            return std::wstring(L"Q:\\nowhere").copy(buffer, size), 10u;
                                                        });
    Loads loads;
    const auto load = loads.hook();
    EXPECT_EQ(mapi::getMapiModule(), nullptr);
    EXPECT_THAT(sizes, ElementsAre(260u));
    EXPECT_THAT(loads.names, ElementsAre(L"Q:\\nowhere\\mapi32.dll"));
}

TEST_F(SystemDirectoryTest, GivesNothingWhenItCannotBeHad)
{
    const auto hook = withoutSystemDirectory();
    const auto loads = countImport<"LoadLibraryW">(LoadLibraryW);
    const ULONG generation = mapi::mapiGeneration;
    EXPECT_EQ(mapi::getMapiModule(), nullptr);
    EXPECT_EQ(loads.count(), 0u);
    EXPECT_EQ(mapi::mapiGeneration, generation);
}

// ---- Binders -------------------------------------------------------------------------------------------------------

constexpr HRESULT callFailed = static_cast<HRESULT>(0x80004005);

/// What each of the nine gives when it can't be called. Nothing may be written to the out arguments.
void expectFixedResults()
{
    void* block = nullptr;
    IMAPISession* session = nullptr;
    SPropValue* value = nullptr;
    IMAPIAdviseSink* wrapper = nullptr;
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), callFailed);
    EXPECT_NO_THROW(mapi::MAPIUninitialize());
    EXPECT_EQ(mapi::MAPILogonEx(0, nullptr, nullptr, 0, &session), callFailed);
    EXPECT_EQ(mapi::MAPIAllocateBuffer(1, &block), callFailed);
    EXPECT_EQ(mapi::MAPIAllocateMore(1, nullptr, &block), callFailed);
    EXPECT_EQ(mapi::MAPIFreeBuffer(&block), 0u);
    EXPECT_NO_THROW(mapi::FreeProws(nullptr));
    EXPECT_EQ(mapi::HrGetOneProp(nullptr, 0, &value), callFailed);
    EXPECT_EQ(mapi::HrThisThreadAdviseSink(nullptr, &wrapper), callFailed);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(wrapper, nullptr);
}

TEST_F(MapiRuntimeTest, BindersGiveFixedResultsAndSearchAgainWithoutARuntime)
{
    const auto system = withoutSystemDirectory();
    const auto keys = countImport<"RegOpenKeyExW">(RegOpenKeyExW);
    expectFixedResults();
    EXPECT_EQ(keys.count(), 9u);
    expectFixedResults();
    EXPECT_EQ(keys.count(), 18u);
}

TEST_F(MapiRuntimeTest, BindersFindARuntimeThatArrivesLater)
{
    const auto system = withoutSystemDirectory();
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), callFailed);
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), 0);
}

TEST_F(MapiRuntimeTest, BindersGiveFixedResultsWhenTheRuntimeLacksTheNames)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", builtModule(L"LinkwellTestStub.dll").wstring());
    expectFixedResults();
    ASSERT_NE(mapi::mapiModule, nullptr);
    const auto lookups = countImport<"GetProcAddress">(GetProcAddress);
    expectFixedResults();
    EXPECT_EQ(lookups.count(), 0u); // each has been asked for once
}

TEST_F(MapiRuntimeTest, BindersAskForEachNameOncePerGeneration)
{
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    std::vector<std::string> names;
    const auto hook = hookImport<"GetProcAddress">(GetProcAddress,
                                                   [&](auto original, HMODULE module, LPCSTR name)
                                                   {
                                                       EXPECT_EQ(module, loaded.get());
                                                       names.emplace_back(name);
                                                       return original(module, name);
                                                   });
    const auto callAll = []
    {
        mapi::MAPIInitialize(nullptr);
        mapi::MAPILogonEx(0, nullptr, nullptr, 0, nullptr);
        mapi::MAPIAllocateBuffer(0, nullptr);
        mapi::MAPIAllocateMore(0, nullptr, nullptr);
        mapi::MAPIFreeBuffer(nullptr);
        mapi::FreeProws(nullptr);
        mapi::HrGetOneProp(nullptr, 0, nullptr);
        mapi::HrThisThreadAdviseSink(nullptr, nullptr);
        mapi::MAPIUninitialize();
    };
    const auto allNames =
        ElementsAre("MAPIInitialize", "MAPILogonEx", "MAPIAllocateBuffer", "MAPIAllocateMore", "MAPIFreeBuffer",
                    "FreeProws", "HrGetOneProp", "HrThisThreadAdviseSink", "MAPIUninitialize");
    callAll();
    EXPECT_THAT(names, allNames);
    names.clear();
    callAll();
    EXPECT_THAT(names, IsEmpty());
    ++mapi::mapiGeneration;
    callAll();
    EXPECT_THAT(names, allNames);
}

TEST_F(MapiRuntimeTest, BindersPassArgumentsAndResultsOn)
{
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    auto& call = *reinterpret_cast<FakeRuntimeCall*>(
        reinterpret_cast<void (*)()>(GetProcAddress(loaded.get(), "fakeRuntimeCall")));
    const auto pointer = [](std::uintptr_t value)
    {
        return reinterpret_cast<void*>(value);
    };
    const auto expectCall = [&](const char* name, std::array<std::uint64_t, 5> arguments)
    {
        EXPECT_STREQ(call.name, name);
        EXPECT_EQ(call.arguments, arguments) << name;
    };
    constexpr std::uintptr_t high = 0x100000000; // pointers and handles have 64 bits

    call.result = 0x00040203;
    EXPECT_EQ(mapi::MAPIInitialize(pointer(high + 1)), 0x00040203);
    expectCall("MAPIInitialize", {high + 1});

    call.result = 0x80040111;
    EXPECT_EQ(mapi::MAPILogonEx(high + 1, pointer(high + 2), pointer(high + 3), 0x80000063,
                                static_cast<IMAPISession**>(pointer(high + 5))),
              static_cast<HRESULT>(0x80040111));
    expectCall("MAPILogonEx", {high + 1, high + 2, high + 3, 0x80000063, high + 5});

    EXPECT_EQ(mapi::MAPIAllocateBuffer(0xFFFFFFFF, static_cast<void**>(pointer(high + 2))),
              static_cast<SCODE>(0x80040111));
    expectCall("MAPIAllocateBuffer", {0xFFFFFFFF, high + 2});

    EXPECT_EQ(mapi::MAPIAllocateMore(7, pointer(high + 2), static_cast<void**>(pointer(high + 3))),
              static_cast<SCODE>(0x80040111));
    expectCall("MAPIAllocateMore", {7, high + 2, high + 3});

    call.result = 5;
    EXPECT_EQ(mapi::MAPIFreeBuffer(pointer(high + 1)), 5u);
    expectCall("MAPIFreeBuffer", {high + 1});

    mapi::FreeProws(static_cast<SRowSet*>(pointer(high + 1)));
    expectCall("FreeProws", {high + 1});

    call.result = 0x8004010F;
    EXPECT_EQ(mapi::HrGetOneProp(static_cast<IMAPIProp*>(pointer(high + 1)), 0x0FFF0102,
                                 static_cast<SPropValue**>(pointer(high + 3))),
              static_cast<HRESULT>(0x8004010F));
    expectCall("HrGetOneProp", {high + 1, 0x0FFF0102, high + 3});

    EXPECT_EQ(mapi::HrThisThreadAdviseSink(static_cast<IMAPIAdviseSink*>(pointer(high + 1)),
                                           static_cast<IMAPIAdviseSink**>(pointer(high + 2))),
              static_cast<HRESULT>(0x8004010F));
    expectCall("HrThisThreadAdviseSink", {high + 1, high + 2});

    mapi::MAPIUninitialize();
    expectCall("MAPIUninitialize", {});
}

TEST_F(MapiRuntimeTest, UninitializingResetsNothing)
{
    const LoadedModule loaded(makeRuntime(L"olmapi32.dll"));
    mapi::MAPIInitialize(nullptr);
    mapi::MAPIUninitialize();
    const ULONG generation = mapi::mapiGeneration;
    const auto lookups = countImport<"GetProcAddress">(GetProcAddress);
    std::thread([] { mapi::MAPIInitialize(nullptr); }).join();
    EXPECT_EQ(lookups.count(), 0u);
    EXPECT_EQ(mapi::mapiModule, loaded.get());
    EXPECT_EQ(mapi::mapiGeneration, generation);
}

// Wine's mapi32.dll is a runtime that nobody here wrote: it has the memory functions under their plain names, and some
// others under decorated names only.
TEST_F(MapiRuntimeTest, BindersUseWhatWinesRuntimeHas)
{
    if (!support::runsOnWine())
        GTEST_SKIP() << "about the mapi32.dll of Wine";
    void* block = nullptr;
    void* chained = nullptr;
    EXPECT_EQ(mapi::MAPIAllocateBuffer(24, &block), 0);
    EXPECT_TRUE(sameFile(fileOf(mapi::mapiModule), systemRuntime()));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(mapi::MAPIAllocateMore(8, block, &chained), 0);
    EXPECT_NE(chained, nullptr);
    EXPECT_EQ(mapi::MAPIFreeBuffer(block), 0u);

    SPropValue* value = nullptr;
    IMAPIAdviseSink* wrapper = nullptr;
    EXPECT_EQ(mapi::HrGetOneProp(nullptr, 0x0FFF0102, &value), callFailed);
    EXPECT_EQ(mapi::HrThisThreadAdviseSink(nullptr, &wrapper), callFailed);
    SRowSet rows{};
    EXPECT_NO_THROW(mapi::FreeProws(&rows));
}

// ---- Two threads ---------------------------------------------------------------------------------------------------

/// Where two threads wait for each other. Not std::barrier, which at times hangs in the mingw build of libstdc++ 12.
class Meeting
{
public:
    void arrive()
    {
        std::unique_lock lock(m_mutex);
        ++m_present;
        m_changed.notify_all();
        EXPECT_TRUE(m_changed.wait_for(lock, support::deadline, [this] { return m_present == 2; }));
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_present = 0;
};

TEST_F(MapiRuntimeTest, KeepsOneModuleWhenTwoThreadsSearchAtOnce)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    Meeting meeting;
    const auto meet = hookImport<"RegOpenKeyExW">(
        RegOpenKeyExW,
        [&](auto original, HKEY key, LPCWSTR name, DWORD options, REGSAM access, PHKEY result)
        {
            if (key == HKEY_LOCAL_MACHINE) // each search opens it once; no module is known yet
                meeting.arrive();
            return original(key, name, options, access, result);
        });
    std::atomic<unsigned> freed{0};
    const auto free = hookImport<"FreeLibrary">(FreeLibrary,
                                                [&](auto original, HMODULE module)
                                                {
                                                    ++freed;
                                                    return original(module);
                                                });
    const ULONG generation = mapi::mapiGeneration;
    HMODULE first = nullptr;
    HMODULE second = nullptr;
    {
        const std::jthread one([&] { first = mapi::getMapiModule(); });
        const std::jthread other([&] { second = mapi::getMapiModule(); });
    }
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(mapi::mapiModule, first);
    EXPECT_EQ(mapi::mapiGeneration, generation + 2);
    EXPECT_EQ(freed, 1u);

    // One reference is left: the agent's own.
    EXPECT_EQ(GetModuleHandleW(L"runtime.dll"), first);
    FreeLibrary(mapi::mapiModule.exchange(nullptr));
    EXPECT_EQ(GetModuleHandleW(L"runtime.dll"), nullptr);
}

TEST_F(MapiRuntimeTest, BothThreadsCanCallWhatTheyBoundAtOnce)
{
    makeDefaultClient();
    m_registry.setText(clientKey, L"DllPathEx", makeRuntime(L"runtime.dll"));
    Meeting meeting;
    const auto meet = hookImport<"GetProcAddress">(GetProcAddress,
                                                   [&](auto original, HMODULE module, LPCSTR name)
                                                   {
                                                       if (std::string_view(name) == "MAPIInitialize")
                                                           meeting.arrive();
                                                       return original(module, name);
                                                   });
    std::array<HRESULT, 2> results{callFailed, callFailed};
    {
        const std::jthread one([&] { results[0] = mapi::MAPIInitialize(nullptr); });
        const std::jthread other([&] { results[1] = mapi::MAPIInitialize(nullptr); });
    }
    EXPECT_THAT(results, ElementsAre(0, 0));
}
} // namespace

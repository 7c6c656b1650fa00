// The search for the runtime on machines at random, against a model of it: what is asked for, in which order, and what is
// found.
#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/mapi/FakeMachine.h"
#include "tests/support/fuzz/Fuzz.h"

namespace
{
using support::Choices;
using support::FakeMachine;
using support::Hook;
using support::hookImport;

const std::wstring mailClients = L"Software\\Clients\\Mail";
constexpr std::size_t pathCharacters = 260;
constexpr std::size_t wideValueBytes = 520;
constexpr std::size_t narrowValueBytes = 260;

/// A value as it stands in the registry, and what a read of it gives if it fits.
struct RandomValue
{
    DWORD type = REG_NONE;
    std::string bytes;
    LSTATUS status = ERROR_SUCCESS;

    /// As narrow characters: text is converted, all of it being ASCII, and all else comes as it is.
    [[nodiscard]] RandomValue narrowed() const
    {
        RandomValue value = *this;
        if (type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ)
        {
            value.bytes.clear();
            for (std::size_t at = 0; at + 1 < bytes.size(); at += sizeof(wchar_t))
                value.bytes += bytes[at];
        }
        return value;
    }
};

/// Of a key, by their names.
using RandomValues = std::map<std::wstring, RandomValue>;

std::wstring upToZero(const std::wstring& text)
{
    return text.substr(0, text.find(L'\0'));
}

std::wstring wideTextOf(const std::string& bytes)
{
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return upToZero(text);
}

std::string bytesOfWide(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

std::string shown(const std::wstring& text)
{
    return {text.begin(), text.end()};
}

/// A machine, but for the modules, which FakeMachine has.
struct RandomMachine
{
    explicit RandomMachine(Choices& choices)
    {
        componentPath = choices.oneOf<std::string>({"", "C:\\c.dll", "C:\\c.dll", std::string(259, 'c')});
        hasComponent = choices.chance(70);
        expands = choices.chance(95);
        if (choices.chance(5))
            return;
        keys[L""] = randomValues(choices);
        for (const wchar_t* const key : {L"Client", L"Named"})
        {
            if (choices.chance(90))
                keys[key] = randomValues(choices);
        }
        if (choices.chance(85))
        {
            const std::wstring client =
                choices.oneOf<std::wstring>({L"Client", L"Client", L"Client", L"Named", L"Absent", L"",
                                             std::wstring(259, L'c'), std::wstring(260, L'c')});
            keys[L""][L""] = {choices.oneOf<DWORD>({REG_SZ, REG_SZ, REG_SZ, REG_SZ, REG_SZ, REG_EXPAND_SZ, REG_BINARY}),
                              bytesOfWide(client + (choices.chance(80) ? std::wstring(1, L'\0') : L""))};
        }
    }

    static RandomValue randomValue(Choices& choices, const std::vector<std::wstring>& texts)
    {
        std::wstring text = choices.oneOf(texts);
        if (choices.chance(15))
            text.resize(choices.between(257, 261), L'n');
        if (choices.chance(5))
            text.insert(text.size() / 2, 1, L'\0');
        RandomValue value = {choices.oneOf<DWORD>({REG_SZ, REG_SZ, REG_SZ, REG_SZ, REG_EXPAND_SZ, REG_EXPAND_SZ,
                                                   REG_BINARY, REG_NONE, REG_MULTI_SZ}),
                             bytesOfWide(text + (choices.chance(80) ? std::wstring(1, L'\0') : L""))};
        if (choices.chance(3))
            value.status = ERROR_ACCESS_DENIED;
        if (choices.chance(5))
            value.bytes.resize(value.bytes.size() / 2 + value.bytes.size() / 2 % 2 + 1, 'o'); // an odd number
        return value;
    }

    static RandomValues randomValues(Choices& choices)
    {
        RandomValues values;
        for (const wchar_t* const name : {L"MSIComponentID", L"MSIApplicationLCID"})
        {
            if (choices.chance(70))
                values[name] = randomValue(choices, {L"{component}", L"1033", L""});
        }
        for (const wchar_t* const name : {L"DllPathEx", L"DllPath"})
        {
            if (choices.chance(70))
                values[name] = randomValue(choices, {L"C:\\one.dll", L"C:\\two.dll", L"%PATH_OF_ONE%", L"%LONG%",
                                                     L"%LONG%x", L"%LONG%xy", L""});
        }
        return values;
    }

    std::map<std::wstring, RandomValues> keys; // "": that of all mail clients, in which "" is the default one's name
    std::string componentPath;                 // what the stub writes
    bool hasComponent;                         // and says
    bool expands;                              // variables; otherwise that fails
};

const RandomMachine* s_machine = nullptr;
std::string s_askedOfStub;

BOOL STDAPICALLTYPE getRandomComponentPath(const char* component, char* qualifier, char* path, DWORD size, BOOL install)
{
    s_askedOfStub += std::string(component) + '|' + qualifier + '|' + std::to_string(size) + std::to_string(install);
    path[s_machine->componentPath.copy(path, size - 1)] = '\0';
    return s_machine->hasComponent ? TRUE : FALSE;
}

std::wstring expanded(std::wstring text)
{
    for (const auto& [name, value] :
         {std::pair(L"%PATH_OF_ONE%", std::wstring(L"C:\\one.dll")), {L"%LONG%", std::wstring(258, L'l')}})
    {
        if (const std::size_t at = text.find(name); at != std::wstring::npos)
            text.replace(at, std::wcslen(name), value);
    }
    return text;
}

/// The search by its rules.
class SearchModel
{
public:
    SearchModel(const RandomMachine& machine, const FakeMachine& modules) : m_machine(machine), m_modules(modules) {}

    /// The name of the module that is found, if any.
    std::optional<std::wstring> findModule()
    {
        for (const std::wstring name : {L"olmapi32.dll", L"msmapi32.dll"})
        {
            m_calls.push_back("get " + shown(name));
            if (m_modules.loaded.contains(name))
                return name;
        }
        if (const auto module = findClientModule(std::nullopt))
            return module;
        m_calls.push_back("system 260");
        if (m_modules.systemDirectory.empty())
            return std::nullopt;
        return load("load ", (m_modules.systemDirectory + L"\\mapi32.dll").substr(0, pathCharacters - 1));
    }

    std::optional<std::wstring> findClientModule(std::optional<std::wstring> client)
    {
        const auto mail = m_machine.keys.find(L"");
        if (mail == m_machine.keys.end())
            return std::nullopt;
        if (!client)
        {
            const std::optional<RandomValue> name = read(mail->second, L"");
            if (!name || name->type != REG_SZ)
                return std::nullopt;
            client = wideTextOf(name->bytes);
        }
        const auto key = m_machine.keys.find(*client);
        if (key == m_machine.keys.end())
            return std::nullopt;
        const RandomValues& values = key->second;

        const std::optional<std::string> component = readNarrow(values, L"MSIComponentID");
        const std::optional<std::string> language = readNarrow(values, L"MSIApplicationLCID");
        if (component && language)
        {
            if (const auto module = loadComponent(*component, *language))
                return module;
        }
        if (const auto module = loadNamed(values, L"DllPathEx"))
            return module;
        return loadNamed(values, L"DllPath");
    }

    [[nodiscard]] const std::vector<std::string>& calls() const noexcept { return m_calls; }
    [[nodiscard]] const std::string& askedOfStub() const noexcept { return m_askedOfStub; }

private:
    std::optional<std::wstring> load(const char* verb, const std::wstring& name)
    {
        m_calls.push_back(verb + shown(name));
        return m_modules.loadable.contains(name) ? std::optional(name) : std::nullopt;
    }

    /// None when there is no such value, when it can't be read, or is larger than the buffer.
    static std::optional<RandomValue> read(const RandomValues& values, const std::wstring& name, bool isNarrow = false)
    {
        const auto found = values.find(name);
        if (found == values.end() || found->second.status != ERROR_SUCCESS)
            return std::nullopt;
        const RandomValue value = isNarrow ? found->second.narrowed() : found->second;
        return value.bytes.size() <= (isNarrow ? narrowValueBytes : wideValueBytes) ? std::optional(value)
                                                                                    : std::nullopt;
    }

    static std::optional<std::string> readNarrow(const RandomValues& values, const std::wstring& name)
    {
        const std::optional<RandomValue> value = read(values, name, true);
        return value ? std::optional(value->bytes.substr(0, value->bytes.find('\0'))) : std::nullopt;
    }

    std::optional<std::wstring> loadComponent(const std::string& component, const std::string& language)
    {
        std::optional<std::wstring> stub = load("load ", L"mapi32.dll");
        if (!stub)
            stub = load("load ", L"mapistub.dll");
        if (!stub)
            return std::nullopt;
        m_calls.push_back("find FGetComponentPath");
        m_askedOfStub = component + '|' + language + "|2600";
        const std::string path = m_machine.componentPath.substr(0, pathCharacters - 1);
        std::copy_n(path.c_str(), path.size() + 1, reinterpret_cast<char*>(m_path.data()));
        m_calls.push_back("free " + shown(*stub));
        if (!m_machine.hasComponent)
            return std::nullopt;
        return load("loadA ", std::wstring(path.begin(), path.end()));
    }

    std::optional<std::wstring> loadNamed(const RandomValues& values, const std::wstring& name)
    {
        const std::optional<RandomValue> value = read(values, name);
        if (!value)
            return std::nullopt;
        const std::wstring text = wideTextOf(value->bytes);
        if (value->type == REG_EXPAND_SZ)
        {
            if (!m_machine.expands || expanded(text).size() + 1 > pathCharacters)
                return std::nullopt;
            setPath(expanded(text));
        }
        else if (value->type == REG_SZ)
        {
            setPath(text.substr(0, pathCharacters - 1));
        }
        return load("load ", upToZero(m_path));
    }

    void setPath(const std::wstring& path) { m_path.replace(0, path.size() + 1, path + L'\0'); }

    const RandomMachine& m_machine;
    const FakeMachine& m_modules;
    std::wstring m_path = std::wstring(2 * pathCharacters, L'\0'); // what no step has written is zero
    std::vector<std::string> m_calls;
    std::string m_askedOfStub;
};

/// The registry of `s_machine`, in memory: the true one takes longer than all else together.
class FakeRegistry
{
private:
    static inline const HKEY s_mailKey = reinterpret_cast<HKEY>(std::uintptr_t{0x1000}); // the others are behind it

    static LSTATUS open(const std::wstring& name, HKEY& key)
    {
        const auto found = s_machine->keys.find(name);
        if (found == s_machine->keys.end())
            return ERROR_FILE_NOT_FOUND;
        const auto place = std::distance(s_machine->keys.begin(), found);
        key = reinterpret_cast<HKEY>(reinterpret_cast<std::uintptr_t>(s_mailKey) + static_cast<std::uintptr_t>(place));
        return ERROR_SUCCESS;
    }

    static LSTATUS read(HKEY key, const std::wstring& name, bool isNarrow, DWORD& type, BYTE* data, DWORD& size)
    {
        if (key == nullptr)
            return ERROR_INVALID_HANDLE;
        const auto place = reinterpret_cast<std::uintptr_t>(key) - reinterpret_cast<std::uintptr_t>(s_mailKey);
        const RandomValues& values = std::next(s_machine->keys.begin(), static_cast<std::ptrdiff_t>(place))->second;
        const auto found = values.find(name);
        if (found == values.end())
            return ERROR_FILE_NOT_FOUND;
        if (found->second.status != ERROR_SUCCESS)
            return found->second.status;
        const RandomValue value = isNarrow ? found->second.narrowed() : found->second;
        type = value.type;
        const DWORD room = std::exchange(size, static_cast<DWORD>(value.bytes.size()));
        if (size > room)
            return ERROR_MORE_DATA;
        std::copy(value.bytes.begin(), value.bytes.end(), data);
        return ERROR_SUCCESS;
    }

    Hook<"RegOpenKeyExW", decltype(RegOpenKeyExW)> m_open =
        hookImport<"RegOpenKeyExW">(RegOpenKeyExW,
                                    [](auto, HKEY key, LPCWSTR name, DWORD, REGSAM, PHKEY result)
                                    {
                                        const bool isRoot = key == HKEY_LOCAL_MACHINE && name == mailClients;
                                        EXPECT_TRUE(isRoot || key == s_mailKey);
                                        return open(isRoot ? L"" : name, *result);
                                    });
    Hook<"RegQueryValueExW", decltype(RegQueryValueExW)> m_read = hookImport<"RegQueryValueExW">(
        RegQueryValueExW, [](auto, HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size)
        { return read(key, name != nullptr ? name : L"", false, *type, data, *size); });
    Hook<"RegQueryValueExA", decltype(RegQueryValueExA)> m_readNarrow = hookImport<"RegQueryValueExA">(
        RegQueryValueExA, [](auto, HKEY key, LPCSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size)
        { return read(key, std::wstring(name, name + std::strlen(name)), true, *type, data, *size); });
    // What is in the buffer when it is too small is not published, so nothing is.
    Hook<"ExpandEnvironmentStringsW", decltype(ExpandEnvironmentStringsW)> m_expand =
        hookImport<"ExpandEnvironmentStringsW">(ExpandEnvironmentStringsW,
                                                [](auto, LPCWSTR source, LPWSTR target, DWORD size)
                                                {
                                                    const std::wstring text = expanded(source);
                                                    if (s_machine->expands && text.size() < size)
                                                        std::copy_n(text.c_str(), text.size() + 1, target);
                                                    return s_machine->expands ? static_cast<DWORD>(text.size() + 1) : 0;
                                                });
};

void drawModules(Choices& choices, FakeMachine& modules)
{
    modules.systemDirectory = choices.oneOf<std::wstring>({L"S:\\System", L"S:\\System", L"", std::wstring(251, L's')});
    modules.loaded.clear();
    for (const wchar_t* const name : {L"olmapi32.dll", L"msmapi32.dll"})
    {
        if (choices.chance(5))
            modules.loaded.insert(name);
    }
    modules.loadable.clear();
    for (const std::wstring& name :
         {std::wstring(L"mapi32.dll"), std::wstring(L"mapistub.dll"), std::wstring(L"C:\\c.dll"),
          std::wstring(259, L'c'), std::wstring(L"C:\\one.dll"), std::wstring(L"C:\\two.dll"),
          std::wstring(258, L'l') + L"x", std::wstring(257, L'n'), std::wstring(259, L'n'),
          std::wstring(L"S:\\System\\mapi32.dll"), std::wstring()})
    {
        if (choices.chance(30))
            modules.loadable.insert(name);
    }
}

TEST(RuntimeSearchFuzzTest, FindsWhatItsRulesSayOnEachMachine)
{
    FakeMachine modules;
    modules.functions["FGetComponentPath"] = FakeMachine::exported(&getRandomComponentPath);
    const FakeRegistry registry;
    support::fuzz(
        "search for the runtime",
        [&modules](Choices& choices)
        {
            const RandomMachine machine(choices);
            s_machine = &machine;
            s_askedOfStub.clear();
            drawModules(choices, modules);
            modules.clearCalls();
            mapi::mapiModule = nullptr;
            const ULONG generation = mapi::mapiGeneration;

            SearchModel model(machine, modules);
            const bool isWhole = choices.chance(70);
            const std::optional<std::wstring> client = choices.chance(50) ? std::optional(L"Named") : std::nullopt;
            const std::optional<std::wstring> expected = isWhole ? model.findModule() : model.findClientModule(client);
            const HMODULE module =
                isWhole ? mapi::getMapiModule() : mapi::loadDefaultMailClientModule(client ? client->c_str() : nullptr);
            EXPECT_EQ(modules.nameOf(module), expected ? shown(*expected) : "none");
            EXPECT_EQ(modules.calls(), model.calls());
            EXPECT_EQ(s_askedOfStub, model.askedOfStub());
            EXPECT_EQ(mapi::mapiGeneration, generation + (isWhole && expected ? 1 : 0));
            EXPECT_EQ(mapi::mapiModule, isWhole ? module : nullptr);
        });
    mapi::mapiModule = nullptr;
    ++mapi::mapiGeneration; // nothing bound to it may be used again
}
} // namespace

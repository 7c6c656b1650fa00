#include "tools/support/doctor/Doctor.h"

#include <algorithm>
#include <utility>

namespace diagnosis
{
namespace
{
using Step = SearchStep;

/// A text value of the registry; empty when it isn't there.
[[nodiscard]] std::wstring registeredText(HKEY root, const std::wstring& key, const wchar_t* name)
{
    wchar_t text[512] = {};
    DWORD size = sizeof(text);
    const LSTATUS status = RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ, nullptr, text, &size);
    return status == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

[[nodiscard]] const char* codeOf(ModuleFault fault)
{
    switch (fault)
    {
    case ModuleFault::None:
        break;
    case ModuleFault::Missing:
        return "module-missing";
    case ModuleFault::Unreadable:
        return "module-unreadable";
    case ModuleFault::NotAProgram:
        return "module-damaged";
    case ModuleFault::NotADll:
        return "module-no-dll";
    case ModuleFault::Is32Bit:
        return "module-32-bit";
    case ModuleFault::OtherMachine:
        return "module-other-machine";
    }
    return "";
}

class Judgement
{
public:
    explicit Judgement(const AgentSearch& search) : m_search(search) {}

    [[nodiscard]] std::vector<Diagnosis> take()
    {
        for (const Step& step : m_search.steps)
            judge(step);
        if (m_clientOpened && !m_hasPath && !m_hasComponent)
            add("client-without-module", m_client);
        if (m_search.found.empty())
            add("no-runtime", {});
        else if (m_search.isSystemStub)
            add("only-windows-stub", m_search.found);
        // What was wrong on the way to a runtime that can be loaded keeps nobody from anything.
        const bool good = !m_search.found.empty() && !m_search.isSystemStub;
        for (Diagnosis& diagnosis : m_found)
            diagnosis.isProblem = !good;
        return std::move(m_found);
    }

private:
    void add(std::string code, std::wstring subject) { m_found.push_back({std::move(code), true, std::move(subject)}); }

    void judge(const Step& step)
    {
        switch (step.kind)
        {
        case Step::Kind::LoadedModule:
            break;
        case Step::Kind::Key:
            judgeKey(step);
            break;
        case Step::Kind::Value:
            judgeValue(step);
            break;
        case Step::Kind::Expansion:
            if (step.error != ERROR_SUCCESS)
                add("expansion-too-long", step.name);
            else if (step.text.find(L'%') != std::wstring::npos)
            {
                m_variableUnknown = true;
                add("variable-unknown", step.name + L" = " + step.text);
            }
            break;
        case Step::Kind::Component:
            if (!step.asked)
                add("stub-outside", step.module.path);
            else if (step.error == ERROR_PROC_NOT_FOUND)
                add("stub-without-function", step.module.path);
            else if (step.error != ERROR_SUCCESS)
                add("component-missing", {});
            break;
        case Step::Kind::Load:
            judgeLoad(step);
            break;
        }
    }

    void judgeKey(const Step& step)
    {
        if (!m_mailKeySeen)
        {
            m_mailKeySeen = true;
            if (step.error != ERROR_SUCCESS)
                add("no-mail-key", step.name);
            return;
        }
        m_client = step.name;
        m_clientOpened = step.error == ERROR_SUCCESS;
        if (!m_clientOpened)
            add("client-not-registered", m_client);
    }

    void judgeValue(const Step& step)
    {
        if (step.name.empty())
        {
            if (step.error != ERROR_SUCCESS)
                add(step.error == ERROR_MORE_DATA ? "value-too-long" : "no-default-client", {});
            else if (step.type != REG_SZ)
                add("default-client-no-text", {});
            else if (step.text.empty())
                add("default-client-empty", {});
            return;
        }
        if (!m_clientOpened)
            return;
        const bool isPath = step.name.starts_with(L"DllPath");
        if (step.error == ERROR_SUCCESS)
            (isPath ? m_hasPath : m_hasComponent) = true;
        if (step.error == ERROR_MORE_DATA)
        {
            m_hasPath = m_hasPath || isPath;
            add("value-too-long", step.name);
        }
        else if (isPath && step.error == ERROR_SUCCESS && step.type != REG_SZ && step.type != REG_EXPAND_SZ)
        {
            add("value-no-text", step.name);
        }
        else if (isPath && step.error == ERROR_SUCCESS && step.text.empty())
        {
            add("value-empty", step.name);
        }
    }

    void judgeLoad(const Step& step)
    {
        if (std::exchange(m_variableUnknown, false))
            return; // what has been told already makes no path
        const std::wstring subject = step.name.empty() ? step.module.name : step.name + L" = " + step.module.name;
        // An empty name has been told with its value.
        if (step.module.fault != ModuleFault::None && !step.module.name.empty())
            add(codeOf(step.module.fault), subject);
        if (!step.name.empty() && step.module.isRelative && !step.module.name.empty())
            add("path-relative", subject);
    }

    const AgentSearch& m_search;
    std::vector<Diagnosis> m_found;
    bool m_mailKeySeen = false;
    bool m_clientOpened = false;
    bool m_variableUnknown = false; // in the value that is loaded next
    bool m_hasPath = false;
    bool m_hasComponent = false;
    std::wstring m_client;
};
} // namespace

std::vector<Diagnosis> judge(const AgentSearch& search)
{
    return Judgement(search).take();
}

std::vector<Diagnosis> lookAround(const AgentSearch& search)
{
    std::vector<Diagnosis> found;
    const std::wstring own = registeredText(HKEY_CURRENT_USER, L"Software\\Clients\\Mail", nullptr);
    const auto ofMachine = std::ranges::find_if(search.steps, [](const Step& step)
                                                { return step.kind == Step::Kind::Value && step.name.empty(); });
    if (!own.empty() && (ofMachine == search.steps.end() || ofMachine->text != own))
        found.push_back({"user-default-ignored", false, own});
    for (const wchar_t* const software : {L"Software\\", L"Software\\WOW6432Node\\"})
    {
        for (const wchar_t* const version : {L"16.0", L"15.0", L"14.0"})
        {
            const std::wstring key = std::wstring(software) + L"Microsoft\\Office\\" + version + L"\\Outlook";
            if (registeredText(HKEY_LOCAL_MACHINE, key, L"Bitness") == L"x86")
                found.push_back({"outlook-32-bit", search.found.empty() || search.isSystemStub, key});
        }
    }
    return found;
}
} // namespace diagnosis

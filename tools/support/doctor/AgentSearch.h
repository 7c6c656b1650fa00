// AgentSearch.h: the agent's own search for its MAPI runtime, step by step, without loading what it finds.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tools/support/doctor/ModuleFile.h"

namespace diagnosis
{
struct SearchStep
{
    enum class Kind
    {
        LoadedModule, // is it loaded already?
        Key,
        Value,
        Expansion, // of the variables in a value
        Component, // the stub is asked for the installer's component
        Load
    };

    Kind kind;
    std::wstring name;   // of the module, key or value; for a load the value that named it, if one did
    DWORD error = 0;     // of the registry; 0: there
    DWORD type = 0;      // of a value
    std::wstring text{}; // of a value of type REG_SZ or REG_EXPAND_SZ; what an expansion or the stub gave
    ModuleFile module{}; // that was to be loaded; for a component the stub
    bool asked = true;   // false: a stub outside of the system's folder, whose code is not run here
};

struct AgentSearch
{
    std::vector<SearchStep> steps{};
    std::wstring found{};      // the module that the agent would have; empty: none
    bool isSystemStub = false; // found is Windows' own, which no mail client has registered
};

/// Runs the search of agent/mapi/MapiRuntime.cpp as it is, with its calls of the registry recorded, and files looked at by
/// their headers where it would load them. Only the stub in Windows' own system folder is loaded, where the search asks it.
/// Not for two threads at a time.
[[nodiscard]] AgentSearch searchAsTheAgent(const std::wstring& agentFolder);
} // namespace diagnosis

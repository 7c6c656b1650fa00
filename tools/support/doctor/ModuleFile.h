// ModuleFile.h: whether a file could be loaded as a module of the agent, by its headers and without loading it.
#pragma once

#include <cstdint>
#include <string>

namespace diagnosis
{
enum class ModuleFault
{
    None,
    Missing,
    Unreadable,
    NotAProgram, // no headers of one
    NotADll,
    Is32Bit,
    OtherMachine
};

/// A module that was asked for by name.
struct ModuleFile
{
    std::wstring name; // as it was asked for
    std::wstring path; // what Windows would load; empty: nothing is found
    bool isRelative = false;
    ModuleFault fault = ModuleFault::Missing;
};

/// Looks a name up as LoadLibraryW of the agent does: a full path as it is, another name in the agent's folder, the system's
/// folders, the current one, and those of PATH; ".dll" is added where there is no extension. Modules that the agent has
/// loaded already are not known here. Rests on SearchPathW.
/// @param agentFolder  where LinkwellAgent.exe lies.
[[nodiscard]] ModuleFile findModule(const std::wstring& name, const std::wstring& agentFolder);
} // namespace diagnosis

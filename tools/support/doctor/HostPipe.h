// HostPipe.h: who serves the host's pipe, and whether the agent's user may trust that.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

namespace diagnosis
{
/// A process as others see it.
struct ProcessFacts
{
    DWORD id = 0;
    std::wstring image;           // full path of its program; empty: not to be had
    bool imageIsWritable = false; // this program's user may add files to its folder
    std::wstring user;            // "DOMAIN\name", or its security identifier
    std::wstring userSid;         // security identifier as text; empty: the process can't be looked into
    DWORD session = 0;            // Windows' own number
    DWORD integrity = 0;          // the last part of its integrity level, such as 0x2000 for medium
};

struct HostPipe
{
    DWORD error = 0;                    // of the opening as the agent does it; 0: there is a host
    bool otherIsFree = false;           // another instance could be had beside the one that was opened
    std::optional<ProcessFacts> server; // none: Windows does not say which process
};

/// Opens the pipe as the agent does, but as nobody that could be impersonated, and closes it again: the host sees a client
/// that comes and goes. Rests on GetNamedPipeServerProcessId.
/// @param name  without the prefix.
[[nodiscard]] HostPipe lookAtPipe(const std::wstring& name);

[[nodiscard]] ProcessFacts factsOf(DWORD processId);

/// What is wrong with the pipe, as codes of the page's table.
[[nodiscard]] std::vector<std::string> judge(const HostPipe& pipe, const ProcessFacts& self);
} // namespace diagnosis

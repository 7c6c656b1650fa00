// Doctor.h: why MAPI can't be had on this machine, and who serves the pipe.
#pragma once

#include <string>
#include <vector>

#include "tools/support/Report.h"
#include "tools/support/doctor/AgentSearch.h"
#include "tools/support/doctor/HostPipe.h"

namespace diagnosis
{
/// Something that the doctor has found; the page has its cause and remedy by its code.
struct Diagnosis
{
    std::string code;
    bool isProblem = true; // false: it does not keep the agent from anything
    std::wstring subject;  // what it is about: a value, a path, a client; may be empty
};

/// What the steps of the agent's search come to.
[[nodiscard]] std::vector<Diagnosis> judge(const AgentSearch& search);
/// What else the registry says: the user's own default client, Outlook's bitness.
[[nodiscard]] std::vector<Diagnosis> lookAround(const AgentSearch& search);

/// Looks at this machine as this user, and prints what it finds.
[[nodiscard]] Verdict reportMachine(const std::wstring& agentFolder, bool json, const Output& output);
} // namespace diagnosis

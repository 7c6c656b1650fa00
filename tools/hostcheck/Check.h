// Check.h: what is looked at, and what can come of it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/hostcheck/Subject.h"

namespace hostcheck
{
enum class Result
{
    Right,
    Wrong,
    Slow,
    Note,    // could not be seen, or is out of reach of what the host is written in
    NotTried // something that it needs went wrong before
};

struct Outcome
{
    Result result = Result::Right;
    std::string detail;
};

/// What a host is written in, as far as that keeps it from setting all that the pipe knows.
enum class Runtime
{
    Any,
    DotNet,
    Node
};

/// One fact about a host.
struct Check
{
    std::string_view name;
    std::string_view right;                         // what holds when all is well
    std::string_view advice;                        // for when it doesn't
    std::string_view section;                       // of docs/wire-protocol.md
    Outcome (*run)(Subject&);                       // a Problem that it throws is Wrong
    std::vector<std::string_view> needs{"answers"}; // without these it is not tried
    std::vector<Runtime> cannot{};                  // hosts in these can't do it: what is Wrong is a Note there
};

/// All of them, in the order in which they are tried.
[[nodiscard]] const std::vector<Check>& allChecks();

// ---- How the first message is taken (FirstMessageChecks.cpp) --------------------------------------------------------

[[nodiscard]] Outcome checkAnswers(Subject& subject);
[[nodiscard]] Outcome checkAck(Subject& subject);
[[nodiscard]] Outcome checkOneWrite(Subject& subject);
[[nodiscard]] Outcome checkSpareInstance(Subject& subject);

// ---- The pipe (PipeChecks.cpp) --------------------------------------------------------------------------------------

[[nodiscard]] Outcome checkInstances(Subject& subject);
[[nodiscard]] Outcome checkDefaultTimeout(Subject& subject);
[[nodiscard]] Outcome checkSquat(Subject& subject);
[[nodiscard]] Outcome checkAccessList(Subject& subject);
[[nodiscard]] Outcome checkRemote(Subject& subject);

// ---- Messages (MessageChecks.cpp) -----------------------------------------------------------------------------------

[[nodiscard]] Outcome checkOperations(Subject& subject);
[[nodiscard]] Outcome checkEmptyItems(Subject& subject);
[[nodiscard]] Outcome checkBrokenLines(Subject& subject);
[[nodiscard]] Outcome checkAnyText(Subject& subject);
[[nodiscard]] Outcome checkUnknown(Subject& subject);
[[nodiscard]] Outcome checkLarge(Subject& subject);

// ---- Clients (ClientChecks.cpp) -------------------------------------------------------------------------------------

[[nodiscard]] Outcome checkServesOthers(Subject& subject);
[[nodiscard]] Outcome checkKeepsAnswer(Subject& subject);
[[nodiscard]] Outcome checkOpenAndClose(Subject& subject);
[[nodiscard]] Outcome checkEndsInLength(Subject& subject);
[[nodiscard]] Outcome checkEndsInText(Subject& subject);
[[nodiscard]] Outcome checkEndsBeforeAnswer(Subject& subject);
[[nodiscard]] Outcome checkInARow(Subject& subject);
[[nodiscard]] Outcome checkTimeToAck(Subject& subject);

// ---- Host and agent as processes (ProcessChecks.cpp) ----------------------------------------------------------------

[[nodiscard]] Outcome checkRestart(Subject& subject);
[[nodiscard]] Outcome checkAgent(Subject& subject);
} // namespace hostcheck

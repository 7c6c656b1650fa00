// main.cpp of linkwell-hostcheck: plays the agent to a host, and says what it does right, wrong and slowly.
// docs/host-check.md is its page.
#include <windows.h>

#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tools/hostcheck/Check.h"
#include "tools/hostcheck/CommandLine.h"
#include "tools/hostcheck/Report.h"

namespace
{
using namespace hostcheck;

/// What went wrong before, and keeps this check from saying anything of its own; empty if nothing does.
[[nodiscard]] std::string_view obstacle(const Check& check, const Outcomes& before)
{
    for (const auto& [other, outcome] : before)
    {
        const bool isWrong = outcome.result == Result::Wrong || outcome.result == Result::NotTried;
        if (isWrong && std::ranges::find(check.needs, other->name) != check.needs.end())
            return other->name;
    }
    return {};
}

[[nodiscard]] Outcome tryCheck(const Check& check, Subject& subject, Runtime runtime)
{
    Outcome outcome;
    try
    {
        outcome = check.run(subject);
    }
    catch (const Problem& problem)
    {
        outcome = {Result::Wrong, problem.what()};
    }
    if (outcome.result == Result::Wrong && std::ranges::find(check.cannot, runtime) != check.cannot.end())
        outcome = {Result::Note, outcome.detail + ", and hosts of this runtime can't do otherwise"};
    return outcome;
}

[[nodiscard]] Outcomes runChecks(const Request& request, Subject& subject)
{
    Outcomes outcomes;
    std::string lost; // why the host can't be asked any more
    for (const Check* check : request.checks)
    {
        Outcome outcome;
        if (!lost.empty())
            outcome = {Result::NotTried, lost};
        else if (const std::string_view name = obstacle(*check, outcomes); !name.empty())
            outcome = {Result::NotTried, "because of " + std::string(name)};
        else
            outcome = tryCheck(*check, subject, request.runtime);
        if (!request.json)
            std::cout << rowText(*check, outcome) << std::flush;
        try
        {
            if (outcome.result == Result::Wrong)
                subject.renew();
        }
        catch (const Problem& problem)
        {
            lost = "after " + std::string(check->name) + ": " + problem.what();
        }
        outcomes.emplace_back(check, outcome);
    }
    return outcomes;
}

[[nodiscard]] ExitValue run(const Request& request)
{
    Subject subject(request.subject);
    try
    {
        subject.start();
        (void)subject.firstMessage();
    }
    catch (const Problem& problem)
    {
        std::cerr << "linkwell-hostcheck: " << problem.what() << '\n';
        return NoHost;
    }
    const Outcomes outcomes = runChecks(request, subject);
    std::cout << (request.json ? jsonText(toUtf8(subject.options().pipeName), outcomes) : summaryText(outcomes));
    return std::ranges::any_of(outcomes, [](const auto& each) { return isFinding(each.second); }) ? Findings : AllRight;
}
} // namespace

extern "C" int wmain(int count, wchar_t** arguments)
{
    try
    {
        const CommandLine line = readCommandLine({arguments + 1, arguments + count});
        if (line.request)
            return run(*line.request);
        if (line.exitValue == AllRight)
            std::cout << line.text;
        else
            std::cerr << "linkwell-hostcheck: " << line.text << "\nTry: linkwell-hostcheck --help\n";
        return line.exitValue;
    }
    catch (const std::exception& error) // the system's own failures, such as no memory
    {
        std::cerr << "linkwell-hostcheck: " << error.what() << '\n';
        return NoHost;
    }
}

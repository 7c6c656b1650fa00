#include "tools/hostcheck/CommandLine.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "tools/hostcheck/Report.h"

namespace hostcheck
{
namespace
{
const char* const footer =
    "Exit status: 0 all right, or worth a note at most; 1 something is wrong or slow; 2 the command line\n"
    "is wrong; 3 no host serves the pipe, or the one behind -- can't be started. docs/host-check.md says\n"
    "what each check means.";

[[nodiscard]] std::wstring toWide(const std::string& utf8)
{
    return std::filesystem::path(std::u8string(utf8.begin(), utf8.end())).wstring();
}

[[nodiscard]] const Check* findCheck(const std::string& name)
{
    const auto found = std::ranges::find(allChecks(), name, &Check::name);
    return found == allChecks().end() ? nullptr : &*found;
}

/// Of the machine's registry, with variables of the environment in it filled in; empty when it isn't there.
[[nodiscard]] std::wstring registeredText(const wchar_t* key, const wchar_t* name)
{
    wchar_t text[512] = {};
    DWORD size = sizeof(text);
    const LSTATUS result = RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text, &size);
    return result == ERROR_SUCCESS ? std::wstring(text) : std::wstring();
}

/// An agent that finds another runtime would send the host the user's own contacts.
[[nodiscard]] bool isSandboxRegistered()
{
    std::error_code error;
    return registeredText(L"Software\\Clients\\Mail", nullptr) == L"Linkwell Sandbox" &&
           std::filesystem::is_regular_file(registeredText(L"Software\\Clients\\Mail\\Linkwell Sandbox", L"DllPathEx"),
                                            error);
}

void requireSandbox(const SubjectOptions& subject)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(subject.agent, error))
        throw CLI::ValidationError("--agent", "there is no such file");
    if (subject.pipeName != SubjectOptions().pipeName)
        throw CLI::ValidationError("--agent", "the agent knows no other pipe than its own: leave --pipe out");
    if (!isSandboxRegistered())
        throw CLI::ValidationError("--agent",
                                   "the sandbox is not the default mail client of this machine, so the agent "
                                   "would send contacts of the user: docs/sandbox.md says how to register it");
}

[[nodiscard]] std::vector<const Check*> chosen(const std::vector<std::string>& names)
{
    for (const std::string& name : names)
    {
        if (findCheck(name) == nullptr)
            throw CLI::ValidationError("--only", "there is no check '" + name + "'; --list shows all");
    }
    std::vector<const Check*> checks;
    for (const Check& check : allChecks())
    {
        if (names.empty() || std::ranges::find(names, check.name) != names.end())
            checks.push_back(&check);
    }
    return checks;
}
} // namespace

std::string toUtf8(const std::wstring& wide)
{
    const std::u8string utf8 = std::filesystem::path(wide).u8string();
    return {utf8.begin(), utf8.end()};
}

CommandLine readCommandLine(std::vector<std::wstring> words)
{
    Request request;
    if (const auto end = std::ranges::find(words, L"--"); end != words.end())
    {
        request.subject.command.assign(end + 1, words.end());
        words.erase(end, words.end());
    }
    std::vector<std::string> arguments;
    std::ranges::transform(words, std::back_inserter(arguments), toUtf8);

    std::string pipe;
    std::string output;
    std::string agent;
    std::string runtime;
    unsigned timeoutSeconds = 30;
    bool isList = false;
    std::vector<std::string> only;
    CLI::App program("linkwell-hostcheck [OPTIONS] [-- HOST ARGUMENTS...]\n\n"
                     "Plays the Linkwell agent to a host, and says what it does right, wrong and slowly. The host\n"
                     "listens already, or is started, and started anew, by the words behind --.",
                     "linkwell-hostcheck");
    program.footer(footer);
    program.set_version_flag("--version", "linkwell-hostcheck " LINKWELL_VERSION "\n");
    program.allow_windows_style_options(false);
    program.add_flag("--json", request.json, "print one JSON object at the end");
    program.add_flag("--list", isList, "print the checks and end");
    program.add_option("--only", only, "try this check alone; may be given again")
        ->type_name("CHECK")
        ->allow_extra_args(false);
    program.add_option("--runtime", runtime, "what hosts in it can't do is worth a note only")
        ->type_name("NAME")
        ->check(CLI::IsMember({"dotnet", "node"}));
    program
        .add_option("--timeout", timeoutSeconds, "how long an answer may take; 30 without it, 4 times that when large")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 3600U));
    program.add_option("--large", request.subject.largeMegabytes, "the size of the large message; 64 without it")
        ->type_name("MB")
        ->check(CLI::Range(1U, 1024U));
    program.add_option("--pipe", pipe, "another pipe than CorvenaLinkwell")->type_name("NAME");
    program.add_option("--host-output", output, "add what the started host prints to this file")->type_name("FILE");
    program.add_option("--agent", agent, "also try this LinkwellAgent.exe, on the sandbox")->type_name("FILE");
    try
    {
        std::ranges::reverse(arguments); // as the parser takes them
        program.parse(arguments);
        if (isList)
            return {{}, listText()};
        request.checks = chosen(only);
        if (!runtime.empty())
            request.runtime = runtime == "node" ? Runtime::Node : Runtime::DotNet;
        request.subject.timeout = std::chrono::seconds(timeoutSeconds);
        if (!pipe.empty())
            request.subject.pipeName = std::filesystem::path(toWide(pipe)).filename().wstring();
        request.subject.output = toWide(output);
        request.subject.agent = toWide(agent);
        if (!agent.empty())
            requireSandbox(request.subject);
    }
    catch (const CLI::CallForHelp&)
    {
        return {{}, program.help()};
    }
    catch (const CLI::CallForVersion& version)
    {
        return {{}, version.what()};
    }
    catch (const CLI::ParseError& error)
    {
        return {{}, error.what(), BadCommandLine};
    }
    return {std::move(request), {}};
}
} // namespace hostcheck

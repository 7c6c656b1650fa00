// main.cpp of linkwell-support: reads and cleans the agent's log, and looks at the machine. docs/troubleshooting.md is its
// manual.
#include <windows.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/support/Clean.h"
#include "tools/support/Report.h"
#include "tools/support/Utf8.h"
#include "tools/support/doctor/Doctor.h"

namespace
{
enum ExitValue
{
    NothingFound = 0,
    ProblemsFound = 1,
    BadCommandLine = 2,
    FileFailed = 3
};

constexpr const char* footer =
    "Exit value: 0 nothing was found; 1 something was; 2 the command line is wrong; 3 a file "
    "could not be\nread or written. docs/troubleshooting.md says more.";

/// The console shows UTF-8 for the life of this object.
class Utf8Console
{
public:
    Utf8Console() : m_former(GetConsoleOutputCP()) { SetConsoleOutputCP(CP_UTF8); }
    ~Utf8Console() { SetConsoleOutputCP(m_former); }
    Utf8Console(const Utf8Console&) = delete;
    Utf8Console& operator=(const Utf8Console&) = delete;

private:
    UINT m_former;
};

void print(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

[[nodiscard]] std::wstring wide(const std::string& path)
{
    return std::filesystem::path(std::u8string(path.begin(), path.end())).wstring();
}

[[nodiscard]] std::wstring programFolder()
{
    std::vector<wchar_t> path(32768);
    GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    return std::filesystem::path(path.data()).parent_path().wstring();
}

[[nodiscard]] ExitValue exitValue(diagnosis::Verdict verdict)
{
    return verdict == diagnosis::Verdict::Good ? NothingFound : ProblemsFound;
}

/// Does what the command line says. Throws CLI::Error, and std::exception for a file.
[[nodiscard]] ExitValue run(CLI::App& program, const std::vector<std::string>& words)
{
    std::string log;
    std::string copy;
    std::string agentFolder;
    bool json = false;
    program.footer(footer);
    program.set_version_flag("--version", "linkwell-support " LINKWELL_VERSION);
    program.require_subcommand(1);

    CLI::App* const logVerb = program.add_subcommand("log", "Says what happened in each run of the agent");
    logVerb->add_option("FILE", log, "the log; its backup FILE.bak is read with it")->required();
    logVerb->add_flag("--json", json, "for programs");
    CLI::App* const cleanVerb = program.add_subcommand("clean", "Copies a log without personal data");
    cleanVerb->add_option("FILE", log, "the log; its backup FILE.bak stands in front of it in the copy")->required();
    cleanVerb->add_option("-o,--output", copy, "the copy; must not exist")->required();
    CLI::App* const doctorVerb =
        program.add_subcommand("doctor", "Says why MAPI can't be had, and who serves the pipe");
    doctorVerb->add_option("--agent", agentFolder, "the folder of LinkwellAgent.exe; else this program's own");
    doctorVerb->add_flag("--json", json, "for programs");

    std::vector<std::string> reversed(words.rbegin(), words.rend());
    program.parse(std::move(reversed));
    if (logVerb->parsed())
        return exitValue(diagnosis::reportLog(wide(log), log, json, print));
    if (doctorVerb->parsed())
        return exitValue(
            diagnosis::reportMachine(agentFolder.empty() ? programFolder() : wide(agentFolder), json, print));
    diagnosis::cleanLog(wide(log), wide(copy));
    return NothingFound;
}

[[nodiscard]] ExitValue runCommandLine(const std::vector<std::string>& words)
{
    CLI::App program("Both sides of a support call: what the agent's log says, and what the machine offers it.",
                     "linkwell-support");
    program.allow_windows_style_options(false);
    try
    {
        return run(program, words);
    }
    catch (const CLI::Success& success)
    {
        program.exit(success);
        return NothingFound;
    }
    catch (const CLI::Error& error)
    {
        std::fprintf(stderr, "linkwell-support: %s\nTry: linkwell-support --help\n", error.what());
        return BadCommandLine;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "linkwell-support: %s\n", error.what());
        return FileFailed;
    }
}
} // namespace

extern "C" int wmain(int count, wchar_t** arguments)
{
    std::vector<std::string> words;
    for (int index = 1; index < count; ++index)
        words.push_back(diagnosis::utf8(arguments[index]));
    const Utf8Console console;
    return runCommandLine(words);
}

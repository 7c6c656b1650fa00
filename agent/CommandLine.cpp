#include "agent/CommandLine.h"

#include <windows.h>

#include <shellapi.h>

#include <string_view>

namespace
{
constexpr std::wstring_view logOption = L"/log=";
}

CommandLine parseCommandLine()
{
    CommandLine result;
    bool isProgramPath = true;
    for (const std::wstring& argument : splitCommandLine(GetCommandLineW()))
    {
        if (isProgramPath)
            result.programPath = argument;
        else if (!argument.starts_with(logOption))
            result.arguments.push_back(argument);
        else if (argument.size() > logOption.size()) // a bare "/log=" changes nothing
            result.logFile = argument.substr(logOption.size());
        isProgramPath = false;
    }
    return result;
}

std::vector<std::wstring> splitCommandLine(const std::wstring& commandLine)
{
    int count = 0;
    wchar_t** const arguments = CommandLineToArgvW(commandLine.c_str(), &count);
    if (arguments == nullptr)
        return {};
    std::vector<std::wstring> result(arguments, arguments + count);
    LocalFree(static_cast<HLOCAL>(arguments));
    return result;
}

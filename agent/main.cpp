// main.cpp: the process entry. The exit value is always 0: settled behaviour 50.

#include <windows.h>

#include <cstdlib>

#include "agent/CommandLine.h"
#include "agent/MainWindow.h"
#include "agent/MapiSide.h"
#include "agent/resources/ResourceIds.h"
#include "utilities/Failure.h"
#include "utilities/Logger.h"
#include "utilities/WindowClass.h"

using utilities::Logger;

namespace
{
void startLog(const std::wstring& logFile)
{
    if (logFile.empty())
        Logger::instance().finish();
    else
        Logger::instance().init(logFile);
    Logger::instance().write(std::wstring(L"Started ") + GetCommandLineW());
}

void runAgent(HINSTANCE instance)
{
    const CommandLine commandLine = parseCommandLine();
    startLog(commandLine.logFile);

    utilities::WindowClass windowClass(mainWindowClassName);
    const WNDCLASSEXW record = mainWindowClass(instance, windowClass.className);
    windowClass.atom = RegisterClassExW(&record); // a failure shows in the creation of the window: settled behaviour 52
    const HWND window = createMainWindow(instance, windowClass.atom);
    if (!IsWindow(window))
        return;
    const HACCEL accelerators = LoadAcceleratorsW(instance, MAKEINTRESOURCEW(LINKWELL_ACCELERATORS));
    UpdateWindow(window);

    MapiSide mapiSide;
    runMessageLoop(accelerators);
    Logger::instance().write(L"Shutdown...");
    mapiSide.shutdown();
}
} // namespace

int WINAPI WinMain(HINSTANCE instance, HINSTANCE, LPSTR, int)
{
    // Nobody sits in front of this program: a message box of the C runtime, whose abort shows one, or of the loader about a
    // bad module would keep it from ending. Reports of crashes and the exit value stay as they are.
    _set_error_mode(_OUT_TO_STDERR);
    SetErrorMode(SEM_FAILCRITICALERRORS);
    try
    {
        runAgent(instance);
    }
    catch (const utilities::exception& caught)
    {
        utilities::reportException(caught, L"main");
    }
    return 0;
}

// MainWindow.h: the agent's hidden window and the message loop of its main thread.
//
// The window is never shown. It is there to be closed: by WM_CLOSE, or by the accelerator. A WM_CLOSE that is posted to
// the thread instead is how the worker, or anyone, asks the main thread to end.
#pragma once

#include <windows.h>

#include <string>

/// The name by which others find the window.
inline constexpr wchar_t mainWindowClassName[] = L"CorvenaLinkwellWindow";

/// What RegisterClassExW takes for the main window. Loads the class's icons and cursor; borrows `className`.
[[nodiscard]] WNDCLASSEXW mainWindowClass(HINSTANCE instance, const std::wstring& className);

/// Creates the window (CreateWindowExW), which stays hidden; it goes with WM_CLOSE or with the process. Throws when
/// that fails, also when the class could not be registered (settled behaviour 52).
/// @param classAtom  the result of RegisterClassExW.
[[nodiscard]] HWND createMainWindow(HINSTANCE instance, ATOM classAtom);

/// The window procedure. Ends the message loop when the window is destroyed, which WM_CLOSE and the accelerator's
/// command do.
LRESULT CALLBACK mainWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam);

/// Runs the message loop of this thread until WM_QUIT (GetMessageW).
void runMessageLoop(HACCEL accelerators);

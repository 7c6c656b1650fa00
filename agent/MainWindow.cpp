#include "agent/MainWindow.h"

#include "agent/resources/ResourceIds.h"
#include "utilities/Exception.h"
#include "utilities/Logger.h"

using utilities::Logger;

namespace
{
/// A close request that was sent to the thread and not to a window.
[[nodiscard]] bool isThreadClose(const MSG& message)
{
    return message.message == WM_CLOSE && message.hwnd == nullptr;
}
} // namespace

WNDCLASSEXW mainWindowClass(HINSTANCE instance, const std::wstring& className)
{
    WNDCLASSEXW record{};
    record.cbSize = sizeof(record);
    record.style = CS_HREDRAW | CS_VREDRAW;
    record.lpfnWndProc = mainWindowProc;
    record.hInstance = instance;
    record.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(LINKWELL_ICON));
    record.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    record.hbrBackground = reinterpret_cast<HBRUSH>(static_cast<INT_PTR>(COLOR_WINDOW + 1));
    record.lpszMenuName = MAKEINTRESOURCEW(LINKWELL_ACCELERATORS); // there is no such menu: settled behaviour 52
    record.lpszClassName = className.c_str();
    record.hIconSm = LoadIconW(instance, MAKEINTRESOURCEW(LINKWELL_ICON));
    return record;
}

HWND createMainWindow(HINSTANCE instance, ATOM classAtom)
{
    const HWND window = CreateWindowExW(0, MAKEINTATOM(classAtom), L"Linkwell", WS_OVERLAPPEDWINDOW, 0, 0, 100, 100,
                                        nullptr, nullptr, instance, nullptr);
    if (window == nullptr)
        throw utilities::exception(L"Failed to create window class");
    return window;
}

LRESULT CALLBACK mainWindowProc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message)
    {
    case WM_COMMAND:
        if (LOWORD(wParam) != LINKWELL_COMMAND_EXIT)
            break;
        DestroyWindow(hWnd);
        return 0;
    case WM_DESTROY:
        PostQuitMessage(1);
        return 0;
    case WM_CLOSE:
        Logger::instance().write(L"WM_CLOSE received");
        break;
    default:
        break;
    }
    return DefWindowProcW(hWnd, message, wParam, lParam);
}

void runMessageLoop(HACCEL accelerators)
{
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) != 0) // an error is no end: settled behaviour 53
    {
        if (isThreadClose(message))
        {
            Logger::instance().write(L"WM_CLOSE for thread received, will quit");
            PostQuitMessage(-1);
            continue;
        }
        if (TranslateAcceleratorW(message.hwnd, accelerators, &message))
            continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

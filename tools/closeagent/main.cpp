// main.cpp of linkwell_closeagent: asks the running agent to close, by WM_CLOSE to its hidden window, and waits for the
// end of its process. Exit value: 0 when the agent has ended, 1 when none runs, 2 when it could not be asked, 3 when it
// still runs after a minute.
#include <windows.h>

#include <iostream>
#include <memory>
#include <type_traits>

namespace
{
constexpr DWORD endTimeoutMilliseconds = 60'000;

struct HandleCloser
{
    void operator()(HANDLE handle) const noexcept { CloseHandle(handle); }
};
using Process = std::unique_ptr<std::remove_pointer_t<HANDLE>, HandleCloser>;

[[nodiscard]] int failed(const char* call)
{
    const DWORD error = GetLastError();
    std::cerr << "closeagent: " << call << " failed, error " << error << '\n';
    return 2;
}
} // namespace

int main()
{
    const HWND window = FindWindowW(L"CorvenaLinkwellWindow", nullptr);
    if (window == nullptr)
    {
        std::cerr << "closeagent: no agent runs\n";
        return 1;
    }

    // Opened before the window is asked to go: afterwards its process identifier may stand for nothing, or for another.
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    const Process process(OpenProcess(SYNCHRONIZE, FALSE, processId));
    if (!process)
        return failed("OpenProcess");
    if (!PostMessageW(window, WM_CLOSE, 0, 0))
        return failed("PostMessageW");

    switch (WaitForSingleObject(process.get(), endTimeoutMilliseconds))
    {
    case WAIT_OBJECT_0:
        return 0;
    case WAIT_TIMEOUT:
        std::cerr << "closeagent: the agent still runs after a minute\n";
        return 3;
    default:
        return failed("WaitForSingleObject");
    }
}

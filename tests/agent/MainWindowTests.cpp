// The window where no user sees it; the ways to close it are tested end to end.
#include "agent/MainWindow.h"

#include <array>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Failures.h"
#include "tests/support/ImportHook.h"
#include "tests/support/LogFile.h"
#include "tests/support/Platform.h"
#include "utilities/WindowClass.h"

namespace
{
using support::countImport;
using support::hookImport;
using testing::ElementsAre;
using testing::IsEmpty;

HINSTANCE instance()
{
    return GetModuleHandleW(nullptr);
}

// ---- The class -----------------------------------------------------------------------------------------------------

TEST(MainWindowClassTest, HasItsFixedName)
{
    EXPECT_STREQ(mainWindowClassName, L"CorvenaLinkwellWindow");
}

TEST(MainWindowClassTest, FillsTheRecord)
{
    std::vector<std::tuple<HINSTANCE, LPCWSTR>> icons;
    const auto icon = hookImport<"LoadIconW">(LoadIconW,
                                              [&](auto original, HINSTANCE module, LPCWSTR name)
                                              {
                                                  icons.emplace_back(module, name);
                                                  return original(module, name);
                                              });
    std::vector<std::tuple<HINSTANCE, LPCWSTR>> cursors;
    const auto cursor = hookImport<"LoadCursorW">(LoadCursorW,
                                                  [&](auto original, HINSTANCE module, LPCWSTR name)
                                                  {
                                                      cursors.emplace_back(module, name);
                                                      return original(module, name);
                                                  });
    const std::wstring name = L"name";
    const WNDCLASSEXW record = mainWindowClass(instance(), name);
    EXPECT_EQ(record.cbSize, 80u);
    EXPECT_EQ(record.style, 3u);
    EXPECT_EQ(record.lpfnWndProc, mainWindowProc);
    EXPECT_EQ(record.cbClsExtra, 0);
    EXPECT_EQ(record.cbWndExtra, 0);
    EXPECT_EQ(record.hInstance, instance());
    EXPECT_NE(record.hIcon, nullptr);
    EXPECT_NE(record.hIconSm, nullptr);
    EXPECT_EQ(record.hCursor, LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record.hbrBackground), 6u);
    EXPECT_EQ(record.lpszMenuName, MAKEINTRESOURCEW(128));
    EXPECT_EQ(record.lpszClassName, name.c_str());
    const std::tuple ourIcon(instance(), static_cast<LPCWSTR>(MAKEINTRESOURCEW(107)));
    EXPECT_THAT(icons, ElementsAre(ourIcon, ourIcon));
    ASSERT_THAT(cursors, testing::Not(IsEmpty()));
    EXPECT_EQ(cursors.front(), std::tuple(nullptr, static_cast<LPCWSTR>(MAKEINTRESOURCEW(32512))));
}

TEST(MainWindowClassTest, MakesNoWindowWhenItIsNotRegistered)
{
    EXPECT_EQ(support::thrownBy([] { (void)createMainWindow(instance(), 0); }), L"Failed to create window class");
}

// ---- The window ----------------------------------------------------------------------------------------------------

/// A window and the queue of this thread, which begins and ends empty.
class MainWindowTest : public testing::Test
{
protected:
    MainWindowTest()
    {
        const WNDCLASSEXW record = mainWindowClass(instance(), m_class.className);
        m_class.atom = RegisterClassExW(&record);
        EXPECT_NE(m_class.atom, 0);
        m_window = createMainWindow(instance(), m_class.atom);
        drain();
    }
    ~MainWindowTest() override
    {
        if (IsWindow(m_window))
            DestroyWindow(m_window);
        drain();
    }

    /// Takes all messages that wait; gives the exit value of WM_QUIT, when it was among them.
    static std::vector<int> drain()
    {
        std::vector<int> quits;
        MSG message{};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        {
            if (message.message == WM_QUIT)
                quits.push_back(static_cast<int>(message.wParam));
        }
        return quits;
    }

    /// Has the loop end when nothing else ends it.
    static void endLoop() { PostQuitMessage(0); }

    const support::ScopedLog m_log;
    utilities::WindowClass m_class{support::uniqueName(L"LinkwellMainWindowTest")};
    HWND m_window = nullptr;
};

TEST_F(MainWindowTest, IsMadeHiddenWithItsFixedArguments)
{
    using Creation =
        std::tuple<DWORD, LPCWSTR, std::wstring, DWORD, std::array<int, 4>, HWND, HMENU, HINSTANCE, LPVOID>;
    std::vector<Creation> creations;
    const auto hook = hookImport<"CreateWindowExW">(
        CreateWindowExW,
        [&](auto original, DWORD exStyle, LPCWSTR className, LPCWSTR title, DWORD style, int x, int y, int width,
            int height, HWND parent, HMENU menu, HINSTANCE module, LPVOID parameter)
        {
            creations.emplace_back(exStyle, className, title, style, std::array{x, y, width, height}, parent, menu,
                                   module, parameter);
            return original(exStyle, className, title, style, x, y, width, height, parent, menu, module, parameter);
        });
    const HWND window = createMainWindow(instance(), m_class.atom);
    EXPECT_THAT(creations, ElementsAre(Creation(0, MAKEINTATOM(m_class.atom), L"Linkwell", 0x00CF0000, {0, 0, 100, 100},
                                                nullptr, nullptr, instance(), nullptr)));
    EXPECT_TRUE(IsWindow(window));
    EXPECT_FALSE(IsWindowVisible(window));
    DestroyWindow(window);
}

TEST_F(MainWindowTest, LeavesOtherCommandsToThePlatform)
{
    std::vector<std::tuple<UINT, WPARAM>> defaults;
    const auto hook = hookImport<"DefWindowProcW">(DefWindowProcW,
                                                   [&](auto, HWND, UINT message, WPARAM wParam, LPARAM) -> LRESULT
                                                   {
                                                       defaults.emplace_back(message, wParam);
                                                       return 77;
                                                   });
    EXPECT_EQ(SendMessageW(m_window, WM_COMMAND, MAKEWPARAM(9, 8), 0), 77);
    EXPECT_EQ(SendMessageW(m_window, WM_USER + 8, 8, 0), 77);
    EXPECT_THAT(defaults, ElementsAre(std::tuple(UINT{WM_COMMAND}, WPARAM{MAKEWPARAM(9, 8)}),
                                      std::tuple(UINT{WM_USER + 8}, WPARAM{8})));
    EXPECT_TRUE(IsWindow(m_window));
    EXPECT_THAT(drain(), IsEmpty());
}

TEST_F(MainWindowTest, AnswersADestructionItself)
{
    const auto defaults = countImport<"DefWindowProcW">(DefWindowProcW);
    EXPECT_EQ(mainWindowProc(m_window, WM_DESTROY, 0, 0), 0);
    EXPECT_EQ(defaults.count(), 0u);
    EXPECT_THAT(drain(), ElementsAre(1));
}

// ---- The message loop ----------------------------------------------------------------------------------------------

/// Records the values given to PostQuitMessage.
struct Quits
{
    std::vector<int> values;

    [[nodiscard]] auto hook()
    {
        return hookImport<"PostQuitMessage">(PostQuitMessage,
                                             [this](auto original, int value)
                                             {
                                                 values.push_back(value);
                                                 original(value);
                                             });
    }
};

class MessageLoopTest : public MainWindowTest
{
protected:
    void run() { runMessageLoop(m_accelerators); }

    const HACCEL m_accelerators = LoadAcceleratorsW(instance(), MAKEINTRESOURCEW(128));
    Quits m_quits;
    decltype(m_quits.hook()) m_quitHook = m_quits.hook();
};

TEST_F(MessageLoopTest, EndsByACloseOfTheThread)
{
    PostThreadMessageW(GetCurrentThreadId(), WM_CLOSE, 0, 0);
    const auto dispatched = countImport<"DispatchMessageW">(DispatchMessageW);
    const auto translated = countImport<"TranslateAcceleratorW">(TranslateAcceleratorW);
    run();
    EXPECT_THAT(m_quits.values, ElementsAre(-1));
    EXPECT_THAT(m_log.lines(), ElementsAre("WM_CLOSE for thread received, will quit"));
    EXPECT_EQ(dispatched.count(), 0u);
    EXPECT_EQ(translated.count(), 0u);
    EXPECT_TRUE(IsWindow(m_window)); // it goes with the process
}

TEST_F(MessageLoopTest, DispatchesNothingThatTheAcceleratorHasConsumed)
{
    std::vector<std::tuple<HWND, HACCEL, UINT>> asked;
    const auto translate = hookImport<"TranslateAcceleratorW">(TranslateAcceleratorW,
                                                               [&](auto, HWND window, HACCEL table, LPMSG message)
                                                               {
                                                                   asked.emplace_back(window, table, message->message);
                                                                   return 1;
                                                               });
    const auto characters = countImport<"TranslateMessage">(TranslateMessage);
    const auto dispatched = countImport<"DispatchMessageW">(DispatchMessageW);
    PostMessageW(m_window, WM_USER, 0, 0);
    PostThreadMessageW(GetCurrentThreadId(), WM_USER + 1, 0, 0);
    endLoop();
    run();
    EXPECT_THAT(asked, ElementsAre(std::tuple(m_window, m_accelerators, UINT{WM_USER}),
                                   std::tuple(nullptr, m_accelerators, UINT{WM_USER + 1})));
    EXPECT_EQ(characters.count(), 0u);
    EXPECT_EQ(dispatched.count(), 0u);
}

TEST_F(MessageLoopTest, TranslatesAndDispatchesEverythingElse)
{
    std::vector<UINT> translated;
    const auto characters = hookImport<"TranslateMessage">(TranslateMessage,
                                                           [&](auto original, const MSG* message)
                                                           {
                                                               translated.push_back(message->message);
                                                               return original(message);
                                                           });
    std::vector<UINT> dispatched;
    const auto dispatch = hookImport<"DispatchMessageW">(DispatchMessageW,
                                                         [&](auto original, const MSG* message)
                                                         {
                                                             dispatched.push_back(message->message);
                                                             return original(message);
                                                         });
    PostMessageW(m_window, WM_USER, 0, 0);
    PostThreadMessageW(GetCurrentThreadId(), WM_USER + 1, 0, 0);
    endLoop();
    run();
    EXPECT_THAT(translated, ElementsAre(WM_USER, WM_USER + 1));
    EXPECT_THAT(dispatched, ElementsAre(WM_USER, WM_USER + 1));
}

TEST_F(MessageLoopTest, HandlesWhatStillWaitsAfterACloseOfTheThread)
{
    PostThreadMessageW(GetCurrentThreadId(), WM_CLOSE, 0, 0);
    PostMessageW(m_window, WM_CLOSE, 0, 0);
    PostThreadMessageW(GetCurrentThreadId(), WM_CLOSE, 0, 0);
    run();
    EXPECT_THAT(m_log.lines(), ElementsAre("WM_CLOSE for thread received, will quit", "WM_CLOSE received",
                                           "WM_CLOSE for thread received, will quit"));
    EXPECT_THAT(m_quits.values, ElementsAre(-1, 1, -1));
}

TEST_F(MessageLoopTest, LooksAtTheRecordAsItStandsWhenAMessageCannotBeHad)
{
    std::vector<std::tuple<HWND, UINT, UINT>> filters;
    const auto get = hookImport<"GetMessageW">(GetMessageW,
                                               [&](auto original, LPMSG message, HWND window, UINT first, UINT last)
                                               {
                                                   filters.emplace_back(window, first, last);
                                                   if (filters.size() > 1)
                                                       return original(message, window, first, last);
                                                   *message = {};
                                                   message->message = WM_CLOSE;
                                                   return BOOL{-1};
                                               });
    run();
    EXPECT_THAT(m_log.lines(), ElementsAre("WM_CLOSE for thread received, will quit"));
    const std::tuple all(static_cast<HWND>(nullptr), 0u, 0u);
    EXPECT_THAT(filters, ElementsAre(all, all));
}
} // namespace

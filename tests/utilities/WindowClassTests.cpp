#include "utilities/WindowClass.h"

#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"
#include "tests/support/Platform.h"

namespace
{
using testing::ElementsAre;
using utilities::WindowClass;

static_assert(std::has_virtual_destructor_v<WindowClass>);
static_assert(std::is_base_of_v<utilities::noncopyable, WindowClass>);

ATOM registerClass(const std::wstring& name)
{
    WNDCLASSEXW record{};
    record.cbSize = sizeof record;
    record.lpfnWndProc = DefWindowProcW;
    record.hInstance = GetModuleHandleW(nullptr);
    record.lpszClassName = name.c_str();
    return RegisterClassExW(&record);
}

TEST(WindowClassTest, KeepsTheNameAndRegistersNothing)
{
    const auto registrations = support::countImport<"RegisterClassExW">(RegisterClassExW);
    std::wstring name = L"LinkwellWindowClassTest";
    const WindowClass windowClass(name);
    name = L"other";
    EXPECT_EQ(windowClass.className, L"LinkwellWindowClassTest");
    EXPECT_EQ(windowClass.atom, 0);
    EXPECT_EQ(registrations.count(), 0u);
}

TEST(WindowClassTest, UnregistersItsAtomWithoutAnInstanceWhenDestroyed)
{
    std::vector<std::pair<LPCWSTR, HINSTANCE>> calls;
    const auto hook = support::hookImport<"UnregisterClassW">(UnregisterClassW,
                                                              [&](auto original, LPCWSTR name, HINSTANCE instance)
                                                              {
                                                                  calls.emplace_back(name, instance);
                                                                  return original(name, instance);
                                                              });
    ATOM atom = 0;
    {
        WindowClass windowClass(support::uniqueName(L"LinkwellWindowClassTest"));
        windowClass.atom = atom = registerClass(windowClass.className);
        ASSERT_NE(windowClass.atom, 0);
        EXPECT_THAT(calls, ElementsAre());
    }
    EXPECT_THAT(calls, ElementsAre(std::pair<LPCWSTR, HINSTANCE>(MAKEINTATOM(atom), nullptr)));
}

} // namespace

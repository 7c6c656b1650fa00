// WindowClass.h: the owner of a registered window class.
#pragma once

#include <windows.h>

#include <string>

#include "utilities/noncopyable.h"

namespace utilities
{
/// Whoever makes one registers the class and stores its atom; the destructor unregisters it by UnregisterClassW.
class WindowClass : private noncopyable
{
public:
    /// Takes the class name; registers nothing.
    explicit WindowClass(std::wstring name);
    virtual ~WindowClass();

    std::wstring className;
    ATOM atom = 0; // the result of RegisterClassExW
};
} // namespace utilities

#include "utilities/WindowClass.h"

namespace utilities
{
WindowClass::WindowClass(const std::wstring& name) : className(name) {}

WindowClass::~WindowClass()
{
    UnregisterClassW(MAKEINTATOM(atom), nullptr);
}
} // namespace utilities

#include "utilities/WindowClass.h"

#include <utility>

namespace utilities
{
WindowClass::WindowClass(std::wstring name) : className(std::move(name)) {}

WindowClass::~WindowClass()
{
    UnregisterClassW(MAKEINTATOM(atom), nullptr);
}
} // namespace utilities

#include "sandbox/control/KernelHandle.h"

#include <system_error>

namespace sandbox
{
KernelHandle makeEvent()
{
    KernelHandle event(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!event)
        throwLastError("CreateEventW");
    return event;
}

void throwLastError(const char* call)
{
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), call);
}
} // namespace sandbox

#include "utilities/Exception.h"

#include "utilities/Failure.h"

namespace utilities
{
exception::exception(const std::wstring& message) : text(message) {}

exception::exception(const char* message) : text(toWide(message)) {}

exception::~exception() = default;

std::wstring exception::what() const
{
    return text;
}
} // namespace utilities

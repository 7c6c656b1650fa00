#include "utilities/Exception.h"

#include <utility>

#include "utilities/Failure.h"

namespace utilities
{
exception::exception(std::wstring message) : text(std::move(message)) {}

exception::exception(const char* message) : text(toWide(message)) {}

exception::~exception() = default;

std::wstring exception::what() const
{
    return text;
}
} // namespace utilities

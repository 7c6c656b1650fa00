// Failures.h: what the code under test throws.
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "utilities/Exception.h"

namespace support
{
/// Calls `action`, which must throw utilities::exception; gives its message. When nothing is thrown the test fails.
template <class Action>
std::wstring thrownBy(Action action)
{
    try
    {
        action();
    }
    catch (const utilities::exception& thrown)
    {
        return thrown.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}
} // namespace support

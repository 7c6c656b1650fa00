// CrashGuard.h: sees to it that a test program that crashes fails.
//
// Left to itself, a program of several threads that crashes under Wine ends with status 0 once Wine's debugger is through
// with it, and so would count as passed.
#pragma once

namespace support
{
/// Ends the process at once with `exitCode` when it meets a fault that nothing handles, such as an access to memory that
/// isn't there; the running test's name goes to standard error.
class CrashGuard
{
public:
    static constexpr unsigned exitCode = 87;

    /// Guards this program from now on.
    static void install();
};
} // namespace support

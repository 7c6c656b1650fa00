#include "tests/support/runner/CrashGuard.h"

#include <windows.h>

#include <cstdio>

#include <gtest/gtest.h>

#include "tests/support/fuzz/Fuzz.h"

namespace support
{
namespace
{
LPTOP_LEVEL_EXCEPTION_FILTER s_previous = nullptr;

/// Faults of the machine. Language exceptions come here as well, on their way to std::terminate; they are not ours.
bool isFault(DWORD code)
{
    switch (code)
    {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:
    case EXCEPTION_STACK_OVERFLOW:
    case EXCEPTION_BREAKPOINT:
        return true;
    default:
        return false;
    }
}

LONG WINAPI endProgram(EXCEPTION_POINTERS* fault)
{
    const EXCEPTION_RECORD& record = *fault->ExceptionRecord;
    if (!isFault(record.ExceptionCode))
        return s_previous != nullptr ? s_previous(fault) : EXCEPTION_CONTINUE_SEARCH;

    const testing::TestInfo* const test = testing::UnitTest::GetInstance()->current_test_info();
    std::fprintf(stderr, "%s.%s crashed: exception 0x%lx at %p\n",
                 test != nullptr ? test->test_suite_name() : "(between two tests)", test != nullptr ? test->name() : "",
                 record.ExceptionCode, record.ExceptionAddress);
    printFuzzedSeed();
    std::fflush(stderr);
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), CrashGuard::exitCode);
    return EXCEPTION_CONTINUE_SEARCH;
}
} // namespace

void CrashGuard::install()
{
    s_previous = SetUnhandledExceptionFilter(endProgram);
}
} // namespace support

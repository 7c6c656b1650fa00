#include "tests/support/ImportHook.h"

#include <stdexcept>

#include <gtest/gtest.h>

namespace
{
using support::countImport;
using support::hookImport;

/// A function that stays a call of its own: compilers take an import's address for constant and load it once in each
/// function, so the calls below must not become part of the tests.
template <class Function>
Function* notInlined(Function* function)
{
    Function* volatile hidden = function;
    return hidden;
}

DWORD tickCount()
{
    return GetTickCount();
}

void setLastError(DWORD error)
{
    SetLastError(error);
}

DWORD attributesOfRoot()
{
    return GetFileAttributesW(L"C:\\");
}

TEST(ImportHookTest, CallsTheReplacementWhileItLives)
{
    {
        const auto hook = hookImport<"GetTickCount">(GetTickCount, [](auto) { return DWORD{7}; });
        EXPECT_EQ(notInlined(tickCount)(), 7u);
        EXPECT_EQ(notInlined(tickCount)(), 7u);
        EXPECT_EQ(hook.count(), 2u);
    }
    EXPECT_NE(notInlined(tickCount)(), 7u);
}

TEST(ImportHookTest, HandsOnTheTrueFunctionAndTheArguments)
{
    DWORD asked = 0;
    const auto hook = hookImport<"SetLastError">(SetLastError,
                                                 [&](auto original, DWORD error)
                                                 {
                                                     asked = error;
                                                     original(error + 1);
                                                 });
    notInlined(setLastError)(5);
    EXPECT_EQ(GetLastError(), 6u);
    EXPECT_EQ(asked, 5u);
}

TEST(ImportHookTest, LeavesTheLastErrorOfTheReplacement)
{
    const auto hook = hookImport<"GetFileAttributesW">(GetFileAttributesW,
                                                       [](auto, LPCWSTR)
                                                       {
                                                           SetLastError(ERROR_DISK_FULL);
                                                           return INVALID_FILE_ATTRIBUTES;
                                                       });
    EXPECT_EQ(notInlined(attributesOfRoot)(), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_DISK_FULL});
}

TEST(ImportHookTest, CountsAndChangesNothingWhenOnlyCounting)
{
    const auto hook = countImport<"GetFileAttributesW">(GetFileAttributesW);
    EXPECT_NE(notInlined(attributesOfRoot)(), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(hook.count(), 1u);
}

TEST(ImportHookTest, ThrowsWhenTheFunctionIsNotImported)
{
    EXPECT_THROW((void)hookImport<"NoSuchFunction">(GetTickCount, [](auto) { return DWORD{7}; }), std::logic_error);
}
} // namespace

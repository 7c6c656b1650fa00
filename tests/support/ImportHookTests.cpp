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

#include "utilities/Exception.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <type_traits>

#include <gtest/gtest.h>

#include "utilities/noncopyable.h"

namespace
{
using utilities::exception;

static_assert(!std::is_base_of_v<std::exception, exception>);
static_assert(std::has_virtual_destructor_v<exception>);
// A pointer to the virtual table and the text, and nothing before them.
static_assert(sizeof(exception) == sizeof(void*) + sizeof(std::wstring));

TEST(ExceptionTest, GivesItsText)
{
    EXPECT_EQ(exception(std::wstring(L"text with \u00e9")).what(), L"text with \u00e9");
}

TEST(ExceptionTest, KeepsItsOwnTextWhenTheGivenOneChanges)
{
    std::wstring text = L"before";
    const exception failure(text);
    text = L"after";
    EXPECT_EQ(failure.what(), L"before");
}

TEST(ExceptionTest, CopiesAreDeep)
{
    exception first(std::wstring(L"first"));
    const exception copy(first);
    first = exception(std::wstring(L"second"));
    EXPECT_EQ(copy.what(), L"first");
    EXPECT_EQ(first.what(), L"second");
}

TEST(ExceptionTest, WidensANarrowText)
{
    EXPECT_EQ(exception("narrow").what(), L"narrow");
    EXPECT_EQ(exception(static_cast<const char*>(nullptr)).what(), L"(null)");
}

TEST(ExceptionTest, WhatIsVirtual)
{
    struct Derived : exception
    {
        using exception::exception;
        std::wstring what() const override { return L"derived"; }
    };
    const Derived derived{std::wstring(L"base")};
    const exception& base = derived;
    EXPECT_EQ(base.what(), L"derived");
}

#if defined(__GNUC__)
TEST(ExceptionTest, WhatStandsBehindTheDestructor)
{
    // GCC represents a pointer to a virtual method as 1 + its offset, and gives the destructor two slots.
    const auto what = &exception::what;
    std::ptrdiff_t representation = 0;
    std::memcpy(&representation, &what, sizeof representation);
    EXPECT_EQ(representation, 1 + 2 * 8);
}
#endif

TEST(NoncopyableTest, ForbidsCopiesAndAddsNothing)
{
    struct Owner : utilities::noncopyable
    {
        int value = 0;
    };
    EXPECT_FALSE(std::is_copy_constructible_v<Owner>);
    EXPECT_FALSE(std::is_copy_assignable_v<Owner>);
    EXPECT_FALSE(std::is_move_constructible_v<Owner>);
    EXPECT_TRUE(std::is_empty_v<utilities::noncopyable>);
    EXPECT_EQ(sizeof(Owner), sizeof(int));
}
} // namespace

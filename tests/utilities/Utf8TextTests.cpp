#include "utilities/Utf8Text.h"

#include <windows.h>

#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"

namespace
{
using testing::ElementsAre;
using utilities::Utf8Text;

TEST(Utf8TextTest, GivesAnEmptyTextForAnEmptyText)
{
    const auto conversions = support::countImport<"WideCharToMultiByte">(WideCharToMultiByte);
    Utf8Text text{std::wstring()};
    EXPECT_STREQ(text.data(), "");
    EXPECT_TRUE(text.bytes().empty());
    EXPECT_EQ(conversions.count(), 0u);
}

TEST(Utf8TextTest, EncodesEachLengthOfCharacter)
{
    EXPECT_EQ(Utf8Text(L"A").bytes(), "A");
    EXPECT_EQ(Utf8Text(L"\u00fc").bytes(), "\xC3\xBC");
    EXPECT_EQ(Utf8Text(L"\u20ac").bytes(), "\xE2\x82\xAC");
    EXPECT_EQ(Utf8Text(L"\xD83D\xDE00").bytes(), "\xF0\x9F\x98\x80");
}

TEST(Utf8TextTest, KeepsAnInnerZero)
{
    EXPECT_EQ(Utf8Text(std::wstring(L"a\0b", 3)).bytes(), std::string_view("a\0b", 3));
}

TEST(Utf8TextTest, TakesWhatThePlatformGivesForAHalfPair)
{
    EXPECT_EQ(Utf8Text(L"a\xD83D").bytes(), "a\xEF\xBF\xBD");
}

TEST(Utf8TextTest, ConvertsOnce)
{
    Utf8Text text(L"\u00fcber");
    const auto conversions = support::countImport<"WideCharToMultiByte">(WideCharToMultiByte);
    const char* const first = text.data();
    EXPECT_EQ(text.data(), first);
    EXPECT_EQ(text.bytes().data(), first);
    EXPECT_EQ(conversions.count(), 2u); // the size, then the text
}

TEST(Utf8TextTest, AsksForUtf8WithoutFlagsOrDefault)
{
    using Call = std::tuple<UINT, DWORD, LPCCH, LPBOOL>;
    std::vector<Call> calls;
    const auto hook = support::hookImport<"WideCharToMultiByte">(
        WideCharToMultiByte,
        [&](auto original, UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer, int size,
            LPCCH defaultCharacter, LPBOOL usedDefault)
        {
            calls.emplace_back(codePage, flags, defaultCharacter, usedDefault);
            return original(codePage, flags, text, length, buffer, size, defaultCharacter, usedDefault);
        });
    EXPECT_EQ(Utf8Text(L"a").bytes(), "a");
    const Call expected(65001, 0, nullptr, nullptr);
    EXPECT_THAT(calls, ElementsAre(expected, expected));
}
} // namespace

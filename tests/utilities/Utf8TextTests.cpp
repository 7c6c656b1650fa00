#include "utilities/Utf8Text.h"

#include <windows.h>

#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/ImportHook.h"

namespace
{
using testing::ElementsAre;
using utilities::Utf8Text;

std::string utf8(std::wstring_view wide)
{
    const Utf8Text text(wide);
    std::string bytes(text.size(), '?');
    text.copyTo(bytes.data());
    return bytes;
}

TEST(Utf8TextTest, AsksNothingForAnEmptyText)
{
    const auto conversions = support::countImport<"WideCharToMultiByte">(WideCharToMultiByte);
    EXPECT_EQ(utf8(L""), "");
    EXPECT_EQ(conversions.count(), 0u);
}

TEST(Utf8TextTest, EncodesEachLengthOfCharacter)
{
    EXPECT_EQ(utf8(L"A"), "A");
    EXPECT_EQ(utf8(L"\u00fc"), "\xC3\xBC");
    EXPECT_EQ(utf8(L"\u20ac"), "\xE2\x82\xAC");
    EXPECT_EQ(utf8(L"\xD83D\xDE00"), "\xF0\x9F\x98\x80");
}

TEST(Utf8TextTest, KeepsAnInnerZero)
{
    EXPECT_EQ(utf8(std::wstring_view(L"a\0b", 3)), std::string("a\0b", 3));
}

TEST(Utf8TextTest, TakesWhatThePlatformGivesForAHalfPair)
{
    EXPECT_EQ(utf8(L"a\xD83D"), "a\xEF\xBF\xBD");
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
    EXPECT_EQ(utf8(L"a"), "a");
    const Call expected(65001, 0, nullptr, nullptr);
    EXPECT_THAT(calls, ElementsAre(expected, expected)); // the size, then the text
}
} // namespace

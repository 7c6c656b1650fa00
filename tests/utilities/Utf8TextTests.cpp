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

std::string utf8(std::wstring_view wide, utilities::LineEnds lineEnds = utilities::LineEnds::AsTheyAre)
{
    const Utf8Text text(wide, lineEnds);
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

/// What the system makes of the whole text at once, with line ends as a file has them.
std::string converted(std::wstring_view wide)
{
    std::string bytes(wide.size() * 3, '?');
    bytes.resize(
        static_cast<std::size_t>(WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                                     bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr)));
    for (std::size_t at = bytes.find('\n'); at != std::string::npos; at = bytes.find('\n', at + 2))
        bytes.insert(at, 1, '\r');
    return bytes;
}

TEST(Utf8TextTest, GivesWhatThePlatformGivesForTheWholeWhereverAsciiEndsAndBegins)
{
    const std::wstring line =
        L"Anna Berg;Anna;;Berg;Nordlicht AG;;+49 30 1111;;+49 170 2222;;00000000A1B2C3D4;00000000E5F60718";
    for (const std::wstring& special : {std::wstring(L"\u00fc"), std::wstring(L"\xD83D\xDE00"), std::wstring(L"\xD83D"),
                                        std::wstring(L"\xDE00"), std::wstring(L"\n"), std::wstring(L"\n\u20ac\n")})
    {
        for (std::size_t place = 0; place <= 200; ++place)
        {
            std::wstring text = line + L'\n' + line + line;
            text.insert(place, special);
            ASSERT_EQ(utf8(text, utilities::LineEnds::OfFiles), converted(text)) << place;
        }
    }
}

TEST(Utf8TextTest, LeavesLineFeedsAsTheyAreButForFiles)
{
    EXPECT_EQ(utf8(L"\na\r\n\u00fc\n"), "\na\r\n\xC3\xBC\n");
    EXPECT_EQ(utf8(L"\na\r\n\u00fc\n", utilities::LineEnds::OfFiles), "\r\na\r\r\n\xC3\xBC\r\n");
}

TEST(Utf8TextTest, AsksNothingForStretchesOfAscii)
{
    const std::wstring ascii(1'000'000, L'x');
    std::size_t asked = 0;
    const auto hook = support::hookImport<"WideCharToMultiByte">(
        WideCharToMultiByte,
        [&](auto original, UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR buffer, int size,
            LPCCH defaultCharacter, LPBOOL usedDefault)
        {
            asked += static_cast<std::size_t>(length);
            return original(codePage, flags, text, length, buffer, size, defaultCharacter, usedDefault);
        });
    EXPECT_EQ(utf8(ascii + L"\u00fc" + ascii).size(), 2'000'002U);
    EXPECT_LE(asked, 200U);
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
    EXPECT_EQ(utf8(L"\u00fc"), "\xC3\xBC");
    const Call expected(65001, 0, nullptr, nullptr);
    EXPECT_THAT(calls, ElementsAre(expected, expected)); // the size, then the text
}
} // namespace

// The program's resources, as they are linked into this test program too.
#include "agent/resources/ResourceIds.h"

#include <windows.h>

#include <array>
#include <string>
#include <vector>

#include <gmock/gmock.h>

namespace
{
std::string resourceBytes(LPCWSTR type, int id)
{
    const HRSRC resource = FindResourceW(nullptr, MAKEINTRESOURCEW(id), type);
    if (resource == nullptr)
        return {};
    const HGLOBAL loaded = LoadResource(nullptr, resource);
    return {static_cast<const char*>(LockResource(loaded)), SizeofResource(nullptr, resource)};
}

TEST(ResourcesTest, HasTheAcceleratorOfAltAndF4Alone)
{
    const HACCEL table = LoadAcceleratorsW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(128));
    ASSERT_NE(table, nullptr);
    std::array<ACCEL, 4> entries{};
    ASSERT_EQ(CopyAcceleratorTableW(table, entries.data(), static_cast<int>(entries.size())), 1);
    EXPECT_EQ(entries[0].fVirt & (FVIRTKEY | FNOINVERT | FSHIFT | FCONTROL | FALT), FVIRTKEY | FALT | FNOINVERT);
    EXPECT_EQ(entries[0].key, 0x73);
    EXPECT_EQ(entries[0].cmd, 8);
}

TEST(ResourcesTest, HasTheIconFrom16To256Pixels)
{
    // A directory of 6 bytes, then 14 bytes for each image, of which the first two are width and height (0 for 256).
    const std::string directory = resourceBytes(MAKEINTRESOURCEW(14), 107); // RT_GROUP_ICON
    ASSERT_GE(directory.size(), 6u);
    const std::size_t count = static_cast<unsigned char>(directory[4]);
    ASSERT_EQ(directory.size(), 6 + 14 * count);
    std::vector<int> widths;
    for (std::size_t i = 0; i < count; ++i)
    {
        const int width = static_cast<unsigned char>(directory[6 + 14 * i]);
        widths.push_back(width == 0 ? 256 : width);
        EXPECT_EQ(directory[6 + 14 * i], directory[6 + 14 * i + 1]); // square
    }
    EXPECT_THAT(widths, testing::IsSupersetOf({16, 32, 48, 256}));
    EXPECT_NE(LoadIconW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(107)), nullptr);
}

TEST(ResourcesTest, AsksForNoElevation)
{
    const std::string manifest = resourceBytes(MAKEINTRESOURCEW(24), 1); // RT_MANIFEST
    EXPECT_THAT(manifest, testing::HasSubstr("requestedExecutionLevel level=\"asInvoker\" uiAccess=\"false\""));
}

TEST(ResourcesTest, HasNoMenu)
{
    EXPECT_EQ(FindResourceW(nullptr, MAKEINTRESOURCEW(128), MAKEINTRESOURCEW(4)), nullptr); // RT_MENU
}
} // namespace

// The program file itself: what it is, what it needs of the machine, and its resources.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <set>

#include <gmock/gmock.h>

#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/ProgramFile.h"

namespace
{
using endtoend::structureAt;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr unsigned icon = 3;
constexpr unsigned accelerators = 9;
constexpr unsigned groupIcon = 14;
constexpr unsigned manifest = 24;

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string asUtf16(const std::string& text)
{
    std::string bytes;
    for (const char letter : text)
        bytes.append(1, letter).append(1, '\0');
    return bytes;
}

std::uint32_t bigEndian(const std::string& bytes, std::size_t offset)
{
    const auto raw = structureAt<std::array<unsigned char, 4>>(bytes, offset);
    return (std::uint32_t{raw[0]} << 24) | (std::uint32_t{raw[1]} << 16) | (std::uint32_t{raw[2]} << 8) | raw[3];
}

struct Size
{
    long width = 0;
    long height = 0;
    bool operator==(const Size&) const = default;
};

/// The size of an icon's image, which is a PNG file or a device independent bitmap with its mask below it.
Size imageSize(const std::string& image)
{
    if (image.starts_with("\x89PNG\r\n\x1A\n"))
        return {static_cast<long>(bigEndian(image, 16)), static_cast<long>(bigEndian(image, 20))};
    const auto header = structureAt<BITMAPINFOHEADER>(image, 0);
    return {header.biWidth, header.biHeight / 2};
}

#pragma pack(push, 2)
struct GroupEntry // as it stands in a resource of type RT_GROUP_ICON, behind three words
{
    BYTE width, height, colours, reserved;
    WORD planes, bitCount;
    DWORD bytes;
    WORD id;
};
#pragma pack(pop)
static_assert(sizeof(GroupEntry) == 14);

class AgentProgramTest : public testing::Test
{
protected:
    const endtoend::ProgramFile m_program{endtoend::agentProgram()};
};

TEST_F(AgentProgramTest, IsA64BitProgramWithoutConsole)
{
    EXPECT_EQ(m_program.headers().FileHeader.Machine, IMAGE_FILE_MACHINE_AMD64);
    EXPECT_EQ(m_program.headers().OptionalHeader.Subsystem, IMAGE_SUBSYSTEM_WINDOWS_GUI);
}

TEST_F(AgentProgramTest, IsLinkedWithWhatProtectsItAndForTerminalServers)
{
    EXPECT_EQ(m_program.headers().OptionalHeader.DllCharacteristics,
              IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA | IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE |
                  IMAGE_DLLCHARACTERISTICS_NX_COMPAT | IMAGE_DLLCHARACTERISTICS_TERMINAL_SERVER_AWARE);
    EXPECT_FALSE(m_program.headers().FileHeader.Characteristics & IMAGE_FILE_RELOCS_STRIPPED);
}

TEST_F(AgentProgramTest, HasItsStackAndItsSubsystemVersion)
{
    const IMAGE_OPTIONAL_HEADER64& header = m_program.headers().OptionalHeader;
    EXPECT_EQ(header.SizeOfStackReserve, 2U * 1024 * 1024);
    EXPECT_EQ(header.MajorSubsystemVersion, 5);
    EXPECT_EQ(header.MinorSubsystemVersion, 2);
}

#ifndef _MSC_VER // which has its runtime in the program, paths of sources too, and in place of the time a hash
TEST_F(AgentProgramTest, ImportsNothingButTheseModulesOfWindows)
{
    std::vector<std::string> imported = m_program.importedModules();
    std::ranges::transform(imported, imported.begin(), lowerCase);
    EXPECT_THAT(imported,
                UnorderedElementsAre("advapi32.dll", "kernel32.dll", "msvcrt.dll", "shell32.dll", "user32.dll"));
    const auto& directories = m_program.headers().OptionalHeader.DataDirectory;
    EXPECT_EQ(directories[IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT].VirtualAddress, 0U);
}

TEST_F(AgentProgramTest, HasNoPathOfTheBuildMachine)
{
    for (std::string folder : {LINKWELL_SOURCE_FOLDER "/", LINKWELL_BUILD_FOLDER "/"})
    {
        for (const char separator : {'/', '\\'})
        {
            std::replace_if(folder.begin(), folder.end(), [](char c) { return c == '/' || c == '\\'; }, separator);
            EXPECT_EQ(m_program.bytes().find(folder), std::string::npos) << folder;
            EXPECT_EQ(m_program.bytes().find(asUtf16(folder)), std::string::npos) << folder << " in UTF-16";
        }
    }
}

TEST_F(AgentProgramTest, HasNoTimeOfItsBuild)
{
    EXPECT_EQ(m_program.headers().FileHeader.TimeDateStamp, 0U);
}
#endif

TEST_F(AgentProgramTest, HasItsThreeResourcesAndNoMenu)
{
    EXPECT_THAT(m_program.resourceTypes(), ElementsAre(icon, accelerators, groupIcon, manifest));
    EXPECT_THAT(m_program.resourceIds(groupIcon), ElementsAre(107U));
    EXPECT_THAT(m_program.resourceIds(accelerators), ElementsAre(128U));
    EXPECT_THAT(m_program.resourceIds(manifest), ElementsAre(1U));
}

TEST_F(AgentProgramTest, HasItsIconAtAllSizesFrom16To256)
{
    const std::string group = m_program.resource(groupIcon, 107);
    const auto header = structureAt<std::array<WORD, 3>>(group, 0); // reserved, type, count
    EXPECT_EQ(header[1], 1);                                        // icons, not cursors
    ASSERT_EQ(group.size(), sizeof(header) + header[2] * sizeof(GroupEntry));

    std::set<long> sizes;
    std::set<unsigned> ids;
    for (WORD index = 0; index < header[2]; ++index)
    {
        const auto entry = structureAt<GroupEntry>(group, sizeof(header) + index * sizeof(GroupEntry));
        const std::string image = m_program.resource(icon, entry.id);
        EXPECT_EQ(image.size(), entry.bytes);
        const long edge = entry.width != 0 ? entry.width : 256;
        EXPECT_EQ(imageSize(image), (Size{edge, edge}));
        EXPECT_EQ(entry.width, entry.height);
        EXPECT_EQ(entry.bitCount, 32);
        sizes.insert(edge);
        ids.insert(entry.id);
    }
    EXPECT_THAT(sizes, testing::IsSupersetOf({16L, 24L, 32L, 48L, 64L, 256L}));
    EXPECT_EQ(*sizes.begin(), 16);
    EXPECT_EQ(*sizes.rbegin(), 256);
    const auto images = m_program.resourceIds(icon);
    EXPECT_EQ(ids, std::set<unsigned>(images.begin(), images.end()));
}

TEST_F(AgentProgramTest, HasOneAcceleratorWhichIsAltF4)
{
    constexpr WORD lastEntry = 0x80;
    const std::string table = m_program.resource(accelerators, 128);
    const auto entry = structureAt<std::array<WORD, 4>>(table, 0); // flags, key, command, padding
    EXPECT_EQ(table.size(), sizeof(entry));
    EXPECT_EQ(entry[0], FVIRTKEY | FALT | FNOINVERT | lastEntry);
    EXPECT_EQ(entry[1], VK_F4);
    EXPECT_EQ(entry[2], 8);
}

TEST_F(AgentProgramTest, AsksForNoMoreRightsThanItsStarterHas)
{
    const std::string text = m_program.resource(manifest, 1);
    EXPECT_THAT(text, HasSubstr(R"(<requestedExecutionLevel level="asInvoker" uiAccess="false"/>)"));
}

#ifdef NDEBUG // what is delivered is the release build
TEST_F(AgentProgramTest, IsStrippedAndSmall)
{
    EXPECT_EQ(m_program.headers().FileHeader.NumberOfSymbols, 0U);
    for (const IMAGE_SECTION_HEADER& section : m_program.sections())
        EXPECT_NE(section.Name[0], '/'); // the long names of debug sections
    EXPECT_LT(m_program.bytes().size(), 1'500'000U);
}
#endif
} // namespace

// The program file itself: what it is, what it needs of the machine, and its resources.
#include <windows.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include <gmock/gmock.h>

#include "tests/endtoend/AgentProcess.h"
#include "tests/endtoend/ProgramFile.h"
#include "tests/support/TempFolder.h"

namespace
{
using endtoend::structureAt;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

constexpr unsigned icon = 3;
constexpr unsigned accelerators = 9;
constexpr unsigned groupIcon = 14;
constexpr unsigned version = 16;
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

TEST_F(AgentProgramTest, HasItsFourResourcesAndNoMenu)
{
    EXPECT_THAT(m_program.resourceTypes(), ElementsAre(icon, accelerators, groupIcon, version, manifest));
    EXPECT_THAT(m_program.resourceIds(groupIcon), ElementsAre(107U));
    EXPECT_THAT(m_program.resourceIds(accelerators), ElementsAre(128U));
    EXPECT_THAT(m_program.resourceIds(version), ElementsAre(1U));
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

/// What Windows shows of a file, and of its fixed numbers the version and the type.
class FileVersion
{
public:
    explicit FileVersion(const std::filesystem::path& file)
        : m_bytes(GetFileVersionInfoSizeW(file.c_str(), nullptr), '\0')
    {
        if (!GetFileVersionInfoW(file.c_str(), 0, static_cast<DWORD>(m_bytes.size()), m_bytes.data()))
            throw std::runtime_error("a file without a version");
    }

    [[nodiscard]] const VS_FIXEDFILEINFO& numbers() const { return *value<VS_FIXEDFILEINFO>(L"\\"); }
    [[nodiscard]] std::wstring text(const std::wstring& name) const
    {
        return value<wchar_t>(L"\\StringFileInfo\\040904B0\\" + name);
    }

private:
    template <class Value>
    [[nodiscard]] const Value* value(const std::wstring& path) const
    {
        void* found = nullptr;
        UINT size = 0;
        if (!VerQueryValueW(m_bytes.data(), path.c_str(), &found, &size) || size == 0)
            throw std::runtime_error("a version without a value");
        return static_cast<const Value*>(found);
    }

    std::string m_bytes;
};

std::string dotted(DWORD high, DWORD low)
{
    return std::to_string(HIWORD(high)) + '.' + std::to_string(LOWORD(high)) + '.' + std::to_string(HIWORD(low));
}

struct VersionedFile
{
    const wchar_t* name;
    const wchar_t* description;
    DWORD type;
};

TEST(VersionTest, StandsInEachFileAsInTheProject)
{
    for (const auto& [name, description, type] :
         {VersionedFile{L"LinkwellAgent.exe", L"Linkwell agent", VFT_APP},
          VersionedFile{L"LinkwellSandbox.dll", L"Linkwell sandbox, a MAPI runtime for machines without Outlook",
                        VFT_DLL},
          VersionedFile{L"sandboxctl.exe", L"Edits a running Linkwell sandbox", VFT_APP},
          VersionedFile{L"linkwell-closeagent.exe", L"Closes running Linkwell agents", VFT_APP}})
    {
        const bool agent = std::wstring_view(name) == L"LinkwellAgent.exe"; // perhaps another compiler's
        const FileVersion file(agent ? endtoend::agentProgram() : endtoend::programFolder() / name);
        const VS_FIXEDFILEINFO& numbers = file.numbers();
        EXPECT_EQ(dotted(numbers.dwFileVersionMS, numbers.dwFileVersionLS), LINKWELL_VERSION);
        EXPECT_EQ(dotted(numbers.dwProductVersionMS, numbers.dwProductVersionLS), LINKWELL_VERSION);
        EXPECT_EQ(numbers.dwFileType, type);
        EXPECT_EQ(file.text(L"FileVersion"), L"" LINKWELL_VERSION);
        EXPECT_EQ(file.text(L"ProductVersion"), L"" LINKWELL_VERSION);
        EXPECT_EQ(file.text(L"CompanyName"), L"Corvena");
        EXPECT_EQ(file.text(L"ProductName"), L"Linkwell");
        EXPECT_EQ(file.text(L"FileDescription"), description);
        EXPECT_EQ(file.text(L"OriginalFilename"), name);
    }
}

TEST(VersionTest, IsThatOfTheNewestChanges)
{
    const std::string changes = support::readBytes(LINKWELL_SOURCE_FOLDER "/CHANGELOG.md");
    const std::size_t heading = changes.find("\n## ");
    ASSERT_NE(heading, std::string::npos);
    EXPECT_THAT(changes.substr(heading), testing::StartsWith("\n## " LINKWELL_VERSION ", "));
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

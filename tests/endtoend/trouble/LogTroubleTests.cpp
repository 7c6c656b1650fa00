// A log whose disk is full, whose folder goes away, whose backup is held by another program: messages go on, and the log is
// what docs/log.md says.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tests/endtoend/trouble/TroubleTest.h"
#include "tests/support/Figures.h"
#include "tests/support/Handle.h"
#include "tests/support/Platform.h"

namespace endtoend::trouble
{
namespace
{
constexpr std::size_t smallEdit = 3'000;
constexpr std::size_t largeEdit = 200'000; // a few of them fill a log
constexpr std::size_t blockSize = 4'096;   // of the small disk

class LogTroubleTest : public TroubleTest
{
protected:
    /// How many edits each stretch of a test makes.
    const unsigned m_count = static_cast<unsigned>(support::amountOf("LINKWELL_TROUBLE_EDITS", 10));
};

/// A file system of a few megabytes, on which nobody else writes.
class SmallDisk
{
public:
    SmallDisk() : m_folder(support::environmentValue(L"LINKWELL_SMALL_DISK"))
    {
        if (m_folder.empty() || sizes().total > mostBytes)
            throw std::runtime_error("LINKWELL_SMALL_DISK is no folder on a file system of its own with at most 64 MB; "
                                     "tests/endtoend/trouble/troubled-machine makes one");
        std::filesystem::remove(m_filler);
    }

    [[nodiscard]] std::wstring file(const wchar_t* name) const { return (m_folder / name).wstring(); }

    /// Takes all that is free.
    void fill() const
    {
        const support::Handle filler = support::checkedFile(
            CreateFileW(m_filler.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr), "CreateFileW");
        const std::vector<char> block(blockSize);
        for (DWORD written = 1; written > 0;)
        {
            written = 0;
            WriteFile(filler.get(), block.data(), static_cast<DWORD>(block.size()), &written, nullptr);
        }
        EXPECT_EQ(sizes().free, 0U);
    }
    void empty() const { std::filesystem::remove(m_filler); }

private:
    struct Sizes
    {
        std::uint64_t free = 0;
        std::uint64_t total = 0;
    };
    static constexpr std::uint64_t mostBytes = 64 << 20;

    [[nodiscard]] Sizes sizes() const
    {
        ULARGE_INTEGER free{};
        ULARGE_INTEGER total{};
        if (!GetDiskFreeSpaceExW(m_folder.c_str(), &free, &total, nullptr))
            support::throwLastError("GetDiskFreeSpaceExW");
        return {free.QuadPart, total.QuadPart};
    }

    const std::filesystem::path m_folder;
    const std::filesystem::path m_filler = m_folder / L"filler";
};

class FullDiskTest : public LogTroubleTest
{
protected:
    void SetUp() override
    {
        LogTroubleTest::SetUp();
        std::filesystem::remove(m_disk.file(L"agent.log"));
        std::filesystem::remove(m_disk.file(L"agent.log.bak"));
        start(m_disk.file(L"agent.log"));
    }

    /// Whether the log's bytes are those of the model. They may end inside a stamp, which has no mark then.
    static bool isFit(std::string_view actual, std::string_view expected)
    {
        return actual.size() == expected.size() &&
               std::equal(actual.begin(), actual.end(), expected.begin(),
                          [](char one, char other) { return one == other || other == '#'; });
    }

    const SmallDisk m_disk;
};

TEST_F(FullDiskTest, CutsTheLogAndGoesOnWhenThereIsRoom)
{
    edit(m_count, smallEdit);
    expectLogOfModel();
    const std::string before = m_model.file();

    m_disk.fill();
    edit(m_count, smallEdit);
    const std::string missing = m_model.file().substr(before.size());

    m_disk.empty();
    m_model = LogModel();
    edit(m_count, smallEdit);
    const std::string after = m_model.file(); // begins with the line break that is owed to the record before it

    const std::string all = logBytes();
    ASSERT_TRUE(all.starts_with(before) && all.ends_with(after) && all.size() >= before.size() + after.size());
    // Of the records meanwhile, the part for which there was room.
    const std::size_t cut = all.size() - before.size() - after.size();
    EXPECT_TRUE(isFit(std::string_view(all).substr(before.size(), cut), std::string_view(missing).substr(0, cut)));
    EXPECT_LT(cut, blockSize);
    close("full disk, then room again", std::to_string(missing.size()) +
                                            " bytes of records meanwhile, of which the first " + std::to_string(cut) +
                                            " are there; whole before and after");
}

// The limit is a multiple of the disk's block, so there is room up to it, and for no byte behind it.
TEST_F(FullDiskTest, MovesTheFileAwayAtTheLimit)
{
    edit(1, largeEdit);
    const std::size_t one = m_model.file().size();
    edit(1, largeEdit);
    const std::size_t others = m_model.file().size() - one - largeEdit; // of an edit, what is not its text
    edit(2, largeEdit);
    edit(1, LogModel::limit - m_model.file().size() - others - blockSize / 2);
    expectLogOfModel();
    const std::string before = m_model.file();
    ASSERT_EQ(before.size(), LogModel::limit - blockSize / 2);

    m_disk.fill();
    edit(m_count, smallEdit);
    const std::string cut = m_model.backup().substr(0, LogModel::limit); // without the words of the end
    EXPECT_TRUE(isFit(withoutStamps(support::readBytes(backupFile())), cut));
    EXPECT_EQ(logBytes(), ""); // nor those of the beginning

    m_disk.empty();
    m_model = LogModel();
    edit(m_count, smallEdit);
    EXPECT_TRUE(logBytes() == m_model.file());
    logTo(file(L"none.log")); // what reads a whole log takes none that begins with a line break
    close("full disk at the limit, then room again", "the file is moved away with just " +
                                                         std::to_string(LogModel::limit) +
                                                         " bytes; whole in the new one from then on");
}

TEST_F(LogTroubleTest, WritesOnIntoTheFileAndEndsTheLogWithItWhenItsFolderGoesAway)
{
    const std::wstring folder = file(L"logs");
    const std::wstring elsewhere = file(L"elsewhere");
    std::filesystem::create_directory(folder);
    start(folder + L"\\agent.log");
    edit(m_count, smallEdit);
    expectLogOfModel();

    // A share that is lost, say; Windows itself lets no folder go that has an open file.
    std::filesystem::rename(folder, elsewhere);
    m_model.setMovable(false);
    m_model.setReopenable(false);
    edit(static_cast<unsigned>(LogModel::limit / largeEdit) + m_count, largeEdit);
    EXPECT_FALSE(std::filesystem::exists(folder));

    std::filesystem::rename(elsewhere, folder); // nobody tries again
    edit(m_count, smallEdit);
    expectLogOfModel();
    close("log folder goes away, and comes back",
          "whole up to the limit, " + std::to_string(m_model.file().size()) + " bytes, then nothing");
}

TEST_F(LogTroubleTest, GrowsOnWhileAnotherProgramHoldsTheBackup)
{
    support::writeBytes(file(L"agent.log.bak"), "a backup of long ago");
    start(file(L"agent.log"));
    support::Handle holder = support::checkedFile(
        CreateFileW(backupFile().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), "CreateFileW");
    m_model.setMovable(false);
    edit(static_cast<unsigned>(LogModel::limit / largeEdit) + m_count, largeEdit);
    EXPECT_TRUE(logBytes() == m_model.file());
    const std::size_t grown = m_model.file().size();
    EXPECT_GT(grown, LogModel::limit + largeEdit);

    holder.reset();
    EXPECT_EQ(support::readBytes(backupFile()), "a backup of long ago");
    m_model.setMovable(true);
    edit(m_count, smallEdit);
    expectLogOfModel();
    close("locked backup, then free again",
          "grown to " + std::to_string(grown) + " bytes, with both texts around each record; then moved");
}
} // namespace
} // namespace endtoend::trouble

// A log whose disk is full, whose folder goes away, whose backup is held by another program: messages go on, and the log is
// what docs/log.md says.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
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
        const std::vector<char> block(4096);
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

TEST_F(LogTroubleTest, CutsTheLogWhereTheDiskIsFullAndGoesOnWhenThereIsRoom)
{
    const SmallDisk disk;
    std::filesystem::remove(disk.file(L"agent.log"));
    start(disk.file(L"agent.log"));
    edit(m_count, smallEdit);
    expectLogOfModel();
    const std::string before = m_model.file();

    disk.fill();
    edit(m_count, smallEdit);
    const std::string missing = m_model.file().substr(before.size());

    disk.empty();
    m_model = LogModel();
    edit(m_count, smallEdit);
    const std::string after = m_model.file(); // begins with the line break that is owed to the record before it

    const std::string all = logBytes();
    ASSERT_TRUE(all.starts_with(before) && all.ends_with(after) && all.size() >= before.size() + after.size());
    const std::string between = all.substr(before.size(), all.size() - before.size() - after.size());
    // The part of the first records for which there was room; it may end inside a stamp, which has no mark then.
    EXPECT_TRUE(std::equal(between.begin(), between.end(), missing.begin(),
                           [](char actual, char expected) { return actual == expected || expected == '#'; }))
        << between;
    EXPECT_LT(between.size(), 4096U);
    close("full disk, then room again", std::to_string(missing.size()) +
                                            " bytes of records meanwhile, of which the first " +
                                            std::to_string(between.size()) + " are there; whole before and after");
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

#include "agent/mapi/MapiMemory.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <regex>
#include <string>

#include "agent/mapi/MapiRuntime.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "utilities/Logger.h"

namespace
{
using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
concept TakesAParent = requires(void* parent) { mapi::allocate<T>(1, parent); };
static_assert(TakesAParent<wchar_t> && TakesAParent<BYTE> && TakesAParent<SPropValue> && TakesAParent<SRestriction>);
static_assert(!TakesAParent<SPropTagArray>);

class MapiMemoryTest : public tests::MapiTest
{
};

TEST_F(MapiMemoryTest, AllocateGivesWholeElementsOfZeros)
{
    startJournal();
    const auto parent = mapi::allocate<SPropTagArray>(4); // the whole structure four times, not a count and four tags
    for (void* const owner : {static_cast<void*>(nullptr), static_cast<void*>(parent)})
    {
        const std::pair<void*, std::size_t> blocks[] = {{mapi::allocate<wchar_t>(5, owner), 10},
                                                        {mapi::allocate<BYTE>(7, owner), 7},
                                                        {mapi::allocate<SPropValue>(1, owner), 24},
                                                        {mapi::allocate<SRestriction>(3, owner), 96}};
        for (const auto& [block, size] : blocks)
        {
            const auto bytes = static_cast<const unsigned char*>(block);
            EXPECT_TRUE(std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; })) << size;
            if (owner == nullptr)
                mapi::MAPIFreeBuffer(block);
        }
    }
    const std::string own = "MAPIAllocateBuffer ";
    const std::string chained = "MAPIAllocateMore ";
    EXPECT_THAT(takeCalls(), ElementsAre(own + "0x20", own + "0xA", own + "0x7", own + "0x18", own + "0x60",
                                         chained + "0xA", chained + "0x7", chained + "0x18", chained + "0x60"));
    mapi::MAPIFreeBuffer(parent);
}

TEST_F(MapiMemoryTest, AllocateGivesNullAndCallsNothingWhenTheCountIsZero)
{
    startJournal();
    BYTE parent = 0;
    EXPECT_EQ(mapi::allocate<wchar_t>(0, nullptr), nullptr);
    EXPECT_EQ(mapi::allocate<BYTE>(0, &parent), nullptr);
    EXPECT_EQ(mapi::allocate<SPropTagArray>(0), nullptr);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(MapiMemoryTest, AllocateThrowsWhenTheBytesDoNotFitIn32Bits)
{
    startJournal();
    EXPECT_EQ(thrown([] { (void)mapi::allocate<SRestriction>(0x08000000, nullptr); }),
              L"narrow_cast failed converting 4294967296 to unsigned long");
    EXPECT_EQ(thrown([] { (void)mapi::allocate<wchar_t>(0xFFFFFFFF, nullptr); }),
              L"narrow_cast failed converting 8589934590 to unsigned long");
    EXPECT_THAT(takeCalls(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Without memory the process ends: each of these runs in a child, the disabled test of the same name. -------------

constexpr wchar_t logVariable[] = L"LINKWELL_TEST_CHILD_LOG";
constexpr DWORD terminated = 77;

/// In the child: logs to the file that the parent named, and makes a call of std::terminate known by the exit code.
class MapiMemoryChildTest : public tests::MapiTest
{
protected:
    void SetUp() override
    {
        const std::wstring file = support::environmentValue(logVariable);
        if (file.empty())
            GTEST_SKIP() << "runs only as the child of a test of MapiMemoryTest";
        utilities::Logger::instance().init(file);
        std::set_terminate([] { std::exit(terminated); }); // which writes the counters of coverage
    }
};

TEST_F(MapiMemoryChildTest, DISABLED_FirstBlock)
{
    plan("MAPIAllocateBuffer", MAPI_E_NOT_ENOUGH_MEMORY);
    (void)mapi::allocate<wchar_t>(5, nullptr);
}

TEST_F(MapiMemoryChildTest, DISABLED_ChainedBlock)
{
    plan("MAPIAllocateMore", MAPI_E_NOT_ENOUGH_MEMORY);
    void* const parent = mapi::allocate<BYTE>(1, nullptr);
    (void)mapi::allocate<SRestriction>(12, parent);
}

TEST_F(MapiMemoryChildTest, DISABLED_Warning)
{
    plan("MAPIAllocateBuffer", MAPI_W_ERRORS_RETURNED);
    (void)mapi::allocate<SPropTagArray>(3);
}

TEST_F(MapiMemoryChildTest, DISABLED_NoEntryPoint)
{
    hideRuntime();
    (void)mapi::allocate<SPropValue>(1, nullptr);
}

TEST_F(MapiMemoryChildTest, DISABLED_NullBlock)
{
    const tests::RuntimeFunction giving(
        "MAPIAllocateBuffer",
        +[](ULONG, void** block) -> SCODE
        {
            *block = nullptr;
            return S_OK;
        });
    (void)mapi::allocate<BYTE>(9, nullptr);
}

/// What the child has logged, without line numbers.
std::vector<std::string> logOfChild(const std::wstring& test)
{
    const support::TempFolder folder;
    const std::wstring file = folder.file(L"child.log");
    EXPECT_EQ(support::runInChild(L"MapiMemoryChildTest.DISABLED_" + test, logVariable, file), terminated);
    auto lines = support::withoutLineNumbers(support::readLogLines(file));
    std::erase_if(lines, [](const std::string& line)
                  { return line.empty() || line == support::logHeader || line == support::logFooter; });
    return lines;
}

/// The report of a block without parent.
std::string report(const std::string& result, int count)
{
    return "mapi::allocate, line N: hr = 0x" + result +
           "(MAPI cannot allocate buffer for cb = " + std::to_string(count) + "parent = 0000000000000000)";
}

TEST(MapiMemoryEndTest, AllocateLogsAndTerminatesWhenMapiGivesAnythingButSuccessAndABlock)
{
    EXPECT_THAT(logOfChild(L"FirstBlock"), ElementsAre(report("8007000e", 5)));
    EXPECT_THAT(logOfChild(L"Warning"), ElementsAre(report("40380", 3)));
    EXPECT_THAT(logOfChild(L"NoEntryPoint"), ElementsAre(report("80004005", 1)));
    EXPECT_THAT(logOfChild(L"NullBlock"), ElementsAre(report("0", 9)));
}

TEST(MapiMemoryEndTest, AllocateLogsTheParentWhenAChainedBlockFails)
{
    const auto lines = logOfChild(L"ChainedBlock");
    ASSERT_EQ(lines.size(), 1u);
    const std::regex expected("mapi::allocate, line N: hr = 0x8007000e\\(MAPI cannot allocate buffer for "
                              "cb = 12parent = [0-9A-F]{16}\\)");
    EXPECT_TRUE(std::regex_match(lines[0], expected)) << lines[0];
    EXPECT_THAT(lines[0], testing::Not(testing::HasSubstr("parent = 0000000000000000")));
}
} // namespace

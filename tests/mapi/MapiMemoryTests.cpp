#include "agent/mapi/MapiMemory.h"

#include <algorithm>
#include <exception>
#include <regex>
#include <string>

#include <gmock/gmock.h>

#include "agent/mapi/MapiRuntime.h"
#include "tests/support/MapiTest.h"
#include "tests/support/Platform.h"
#include "tests/support/ProgramRun.h"
#include "utilities/Logger.h"

namespace
{
using Call = support::TestRuntime::Call;
using testing::ElementsAre;
using testing::IsEmpty;

template <class T>
concept TakesAParent = requires(void* parent) { mapi::allocate<T>(1, parent); };
static_assert(TakesAParent<wchar_t> && TakesAParent<BYTE> && TakesAParent<SPropValue> && TakesAParent<SRestriction>);
static_assert(!TakesAParent<SPropTagArray>);

class MapiMemoryTest : public support::MapiTest
{
protected:
    bool isZero(const void* block) const
    {
        const auto bytes = static_cast<const unsigned char*>(block);
        return std::all_of(bytes, bytes + m_runtime.blockSize(block), [](unsigned char byte) { return byte == 0; });
    }
    static void freeBlocks(std::initializer_list<void*> blocks)
    {
        for (void* const block : blocks)
            mapi::MAPIFreeBuffer(block);
    }
};

TEST_F(MapiMemoryTest, AllocateTakesWholeElementsFromMapiAllocateBuffer)
{
    void* const characters = mapi::allocate<wchar_t>(5, nullptr);
    void* const bytes = mapi::allocate<BYTE>(7, nullptr);
    void* const value = mapi::allocate<SPropValue>(1, nullptr);
    void* const nodes = mapi::allocate<SRestriction>(3, nullptr);
    void* const tags = mapi::allocate<SPropTagArray>(4); // the whole structure four times, not a count and four tags
    EXPECT_THAT(m_runtime.calls(),
                ElementsAre("MAPIAllocateBuffer 10 -> #1", "MAPIAllocateBuffer 7 -> #2", "MAPIAllocateBuffer 24 -> #3",
                            "MAPIAllocateBuffer 96 -> #4", "MAPIAllocateBuffer 32 -> #5"));
    for (void* const block : {characters, bytes, value, nodes, tags})
        EXPECT_TRUE(isZero(block)) << m_runtime.blockNumber(block);
    freeBlocks({characters, bytes, value, nodes, tags});
}

TEST_F(MapiMemoryTest, AllocateChainsToAParentByMapiAllocateMore)
{
    void* const parent = mapi::allocate<BYTE>(1, nullptr);
    void* const characters = mapi::allocate<wchar_t>(5, parent);
    void* const bytes = mapi::allocate<BYTE>(7, parent);
    void* const value = mapi::allocate<SPropValue>(1, parent);
    void* const nodes = mapi::allocate<SRestriction>(3, parent);
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 1 -> #1", "MAPIAllocateMore 10, #1 -> #2",
                                               "MAPIAllocateMore 7, #1 -> #3", "MAPIAllocateMore 24, #1 -> #4",
                                               "MAPIAllocateMore 96, #1 -> #5"));
    for (void* const block : {characters, bytes, value, nodes})
        EXPECT_TRUE(isZero(block)) << m_runtime.blockNumber(block);
    freeBlocks({parent});
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
}

TEST_F(MapiMemoryTest, AllocateGivesNullAndCallsNothingWhenTheCountIsZero)
{
    BYTE parent = 0;
    EXPECT_EQ(mapi::allocate<wchar_t>(0, nullptr), nullptr);
    EXPECT_EQ(mapi::allocate<BYTE>(0, &parent), nullptr);
    EXPECT_EQ(mapi::allocate<SPropValue>(0, nullptr), nullptr);
    EXPECT_EQ(mapi::allocate<SRestriction>(0, &parent), nullptr);
    EXPECT_EQ(mapi::allocate<SPropTagArray>(0), nullptr);
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
}

TEST_F(MapiMemoryTest, AllocateThrowsWhenTheBytesDoNotFitIn32Bits)
{
    EXPECT_EQ(thrown([] { (void)mapi::allocate<SRestriction>(0x08000000, nullptr); }),
              L"narrow_cast failed converting 4294967296 to unsigned long");
    EXPECT_EQ(thrown([] { (void)mapi::allocate<wchar_t>(0xFFFFFFFF, nullptr); }),
              L"narrow_cast failed converting 8589934590 to unsigned long");
    EXPECT_THAT(m_runtime.calls(), IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

// ---- Without memory the process ends: each of these runs in a child, the disabled test of the same name. -------------

constexpr wchar_t logVariable[] = L"LINKWELL_TEST_CHILD_LOG";
constexpr DWORD terminated = 77;

/// In the child: logs to the file that the parent named, and makes a call of std::terminate known by the exit code.
class MapiMemoryChildTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const std::wstring file = support::environmentValue(logVariable);
        if (file.empty())
            GTEST_SKIP() << "runs only as the child of a test of MapiMemoryTest";
        utilities::Logger::instance().init(file);
        std::set_terminate([] { ExitProcess(terminated); });
    }

    support::TestRuntime m_runtime;
};

TEST_F(MapiMemoryChildTest, DISABLED_FirstBlock)
{
    m_runtime.plan(Call::AllocateBuffer, MAPI_E_NOT_ENOUGH_MEMORY);
    (void)mapi::allocate<wchar_t>(5, nullptr);
}

TEST_F(MapiMemoryChildTest, DISABLED_ChainedBlock)
{
    m_runtime.plan(Call::AllocateMore, MAPI_E_NOT_ENOUGH_MEMORY);
    void* const parent = mapi::allocate<BYTE>(1, nullptr);
    (void)mapi::allocate<SRestriction>(12, parent);
}

TEST_F(MapiMemoryChildTest, DISABLED_Warning)
{
    m_runtime.plan(Call::AllocateBuffer, MAPI_W_ERRORS_RETURNED);
    (void)mapi::allocate<SPropTagArray>(3);
}

TEST_F(MapiMemoryChildTest, DISABLED_NoEntryPoint)
{
    m_runtime.hide();
    (void)mapi::allocate<SPropValue>(1, nullptr);
}

/// What the child has logged, without line numbers.
std::vector<std::string> logOfChild(const std::wstring& test)
{
    const support::TempFolder folder;
    const std::wstring file = folder.file(L"child.log");
    EXPECT_EQ(support::runInChild(L"MapiMemoryChildTest.DISABLED_" + test, logVariable, file), terminated);
    auto lines = support::withoutLineNumbers(support::readLogLines(file));
    EXPECT_THAT(lines, testing::Not(IsEmpty()));
    if (!lines.empty())
        lines.erase(lines.begin()); // the header
    if (!lines.empty() && lines.back() == support::logFooter)
        lines.pop_back();
    return lines;
}

/// The report of a block without parent.
std::string report(const std::string& result, int count)
{
    return "mapi::allocate, line N: hr = 0x" + result +
           "(MAPI cannot allocate buffer for cb = " + std::to_string(count) + "parent = 0000000000000000)";
}

TEST_F(MapiMemoryTest, AllocateLogsAndTerminatesWhenMapiHasNoMemory)
{
    EXPECT_THAT(logOfChild(L"FirstBlock"), ElementsAre(report("8007000e", 5)));
}

TEST_F(MapiMemoryTest, AllocateLogsTheParentWhenAChainedBlockFails)
{
    const auto lines = logOfChild(L"ChainedBlock");
    ASSERT_EQ(lines.size(), 1u);
    const std::regex expected("mapi::allocate, line N: hr = 0x8007000e\\(MAPI cannot allocate buffer for "
                              "cb = 12parent = [0-9A-F]{16}\\)");
    EXPECT_TRUE(std::regex_match(lines[0], expected)) << lines[0];
    EXPECT_THAT(lines[0], testing::Not(testing::HasSubstr("parent = 0000000000000000")));
}

TEST_F(MapiMemoryTest, AllocateTerminatesForAWarningToo)
{
    EXPECT_THAT(logOfChild(L"Warning"), ElementsAre(report("40380", 3)));
}

TEST_F(MapiMemoryTest, AllocateTerminatesWhenTheEntryPointIsMissing)
{
    EXPECT_THAT(logOfChild(L"NoEntryPoint"), ElementsAre(report("80004005", 1)));
}
} // namespace

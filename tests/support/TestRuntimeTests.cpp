#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include "agent/mapi/MapiRuntime.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using testing::ElementsAre;
using testing::IsEmpty;

class TestRuntimeTest : public MapiTest
{
};

TEST_F(TestRuntimeTest, BindersReachTheTest)
{
    void* root = nullptr;
    void* child = nullptr;
    EXPECT_EQ(mapi::MAPIAllocateBuffer(24, &root), S_OK);
    EXPECT_EQ(mapi::MAPIAllocateMore(8, root, &child), S_OK);
    EXPECT_EQ(m_runtime.blockSize(root), 24u);
    EXPECT_EQ(m_runtime.parentNumber(child), 1u);
    EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(1, 2));

    EXPECT_EQ(mapi::MAPIFreeBuffer(root), 0u);
    EXPECT_THAT(m_runtime.liveBlocks(), IsEmpty());
    EXPECT_THAT(m_runtime.calls(),
                ElementsAre("MAPIAllocateBuffer 24 -> #1", "MAPIAllocateMore 8, #1 -> #2", "MAPIFreeBuffer #1"));
}

TEST_F(TestRuntimeTest, FailsTheTestWhenMemoryIsMisused)
{
    static void* s_root;
    static void* s_child;
    mapi::MAPIAllocateBuffer(24, &s_root);
    mapi::MAPIAllocateMore(8, s_root, &s_child);
    EXPECT_NONFATAL_FAILURE(mapi::MAPIFreeBuffer(s_child), "no block of its own");
    void* grandchild = nullptr;
    EXPECT_NONFATAL_FAILURE(mapi::MAPIAllocateMore(8, s_child, &grandchild), "MAPIAllocateBuffer did not make");
    mapi::MAPIFreeBuffer(s_root);
    EXPECT_NONFATAL_FAILURE(mapi::MAPIFreeBuffer(s_root), "freed before");
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 1u); // the child of a child, that no call could free
}

TEST_F(TestRuntimeTest, GivesThePlannedResults)
{
    using Call = TestRuntime::Call;
    m_runtime.plan(Call::AllocateBuffer, MAPI_E_NOT_ENOUGH_MEMORY, 1);
    void* blocks[3] = {};
    EXPECT_EQ(mapi::MAPIAllocateBuffer(1, &blocks[0]), S_OK);
    EXPECT_EQ(mapi::MAPIAllocateBuffer(2, &blocks[1]), MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_EQ(mapi::MAPIAllocateBuffer(3, &blocks[2]), S_OK);
    EXPECT_EQ(blocks[1], nullptr);
    m_runtime.plan(Call::Initialize, MAPI_E_CALL_FAILED, 0, true);
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), MAPI_E_CALL_FAILED);
    EXPECT_EQ(mapi::MAPIInitialize(nullptr), MAPI_E_CALL_FAILED);
    EXPECT_EQ(m_runtime.freeLeftBlocks(), 2u);
}

TEST_F(TestRuntimeTest, MocksCountReferencesAndAnswerForTheirInterfaces)
{
    const Mocked<MockFolder> folder;
    {
        const IMAPIFolderPtr counted = folder.pointer();
        EXPECT_EQ(folder->references(), 2);
        const IMAPIPropPtr base = counted;
        EXPECT_EQ(base.GetInterfacePtr(), folder.get());
        EXPECT_EQ(folder->references(), 3);
        EXPECT_EQ(IMsgStorePtr(counted).GetInterfacePtr(), nullptr);
    }
    EXPECT_EQ(folder->references(), 1);

    folder->answerInterface(IID_IMAPIProp, MAPI_E_CALL_FAILED);
    EXPECT_THROW(IMAPIPropPtr{folder.pointer()}, _com_error);
    EXPECT_EQ(s_liveFakes, 1);
}

TEST_F(TestRuntimeTest, ASlotThatTheAgentNeverCallsFailsTheTest)
{
    static const Mocked<MockFolder>* s_folder;
    const Mocked<MockFolder> folder;
    s_folder = &folder;
    EXPECT_NONFATAL_FAILURE(s_folder->get()->SaveChanges(0), "IMAPIProp::SaveChanges was called");
}

TEST_F(TestRuntimeTest, ServesPropertiesAndRows)
{
    const Mocked<MockProp> object;
    giveProperties(object, {Property::text(PR_DISPLAY_NAME_W, L"Ann"), Property::error(PR_OBJECT_TYPE)});
    SPropValue* value = nullptr;
    EXPECT_EQ(mapi::HrGetOneProp(object.get(), PR_DISPLAY_NAME_W, &value), S_OK);
    EXPECT_STREQ(value->Value.lpszW, L"Ann");
    mapi::MAPIFreeBuffer(value);
    EXPECT_EQ(mapi::HrGetOneProp(object.get(), PR_OBJECT_TYPE, &value), MAPI_E_NOT_FOUND);
    EXPECT_EQ(mapi::HrGetOneProp(object.get(), PR_ENTRYID, &value), MAPI_E_NOT_FOUND);

    const Mocked<MockTable> table;
    giveRows(table, {{Property::bytes(PR_ENTRYID, {1, 2})}, {Property::number(PR_OBJECT_TYPE, 3)}});
    SPropTagArray* const columns = makeTags({PR_OBJECT_TYPE, PR_ENTRYID});
    EXPECT_EQ(table->SetColumns(columns, 0), S_OK);
    SRowSet* rows = nullptr;
    EXPECT_EQ(table->QueryRows(2, 0, &rows), S_OK);
    ASSERT_EQ(rows->cRows, 2u);
    EXPECT_EQ(rows->aRow[0].lpProps[0].ulPropTag, CHANGE_PROP_TYPE(PR_OBJECT_TYPE, PT_ERROR));
    EXPECT_EQ(rows->aRow[0].lpProps[1].Value.bin.cb, 2u);
    EXPECT_EQ(rows->aRow[1].lpProps[0].Value.l, 3);
    mapi::FreeProws(rows);
    mapi::MAPIFreeBuffer(columns);
}
} // namespace

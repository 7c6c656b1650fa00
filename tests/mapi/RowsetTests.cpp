#include "agent/mapi/Rowset.h"

#include <functional>
#include <stdexcept>

#include <gmock/gmock.h>

#include "agent/mapi/PropTagArray.h"
#include "mapiabi/MapiTags.h"
#include "tests/support/MapiTest.h"
#include "tests/support/MapiValues.h"

namespace
{
using namespace support;
using mapi::Rowset;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::InSequence;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgPointee;

constexpr ULONG PR_TEST = PROP_TAG(PT_LONG, 0x6701);

class RowsetTest : public MapiTest
{
protected:
    static std::vector<Properties> numberedRows(LONG count)
    {
        std::vector<Properties> rows;
        for (LONG number = 1; number <= count; ++number)
            rows.push_back({Property::number(PR_TEST, number)});
        return rows;
    }

    /// Expects that the table is read once, and gives rows with the numbers from 1.
    void expectRead(LONG count, const std::function<void()>& whileReading = {})
    {
        const InSequence order;
        EXPECT_CALL(*m_table, SetColumns(m_columns.get(), 0)).WillOnce(Return(S_OK));
        EXPECT_CALL(*m_table, GetRowCount(0, _)).WillOnce(DoAll(SetArgPointee<1>(count), Return(S_OK)));
        EXPECT_CALL(*m_table, QueryRows(count, TBL_NOADVANCE, _))
            .WillOnce(
                [=, this](LONG, ULONG, SRowSet** set)
                {
                    if (whileReading)
                        whileReading();
                    *set = m_set = makeRows(numberedRows(count));
                    return S_OK;
                });
    }

    void enumerate(const Rowset::RowFunction& function)
    {
        IMAPITablePtr table = m_table.pointer();
        Rowset::enumerate(table, m_columns.get(), function);
        EXPECT_EQ(table.GetInterfacePtr(), m_table.get());
    }

    void collect(const Rowset::TableRow& row) { m_numbers.push_back(row[0].Value.l); }
    Rowset::RowFunction collector()
    {
        return [this](const Rowset::TableRow& row)
        {
            collect(row);
        };
    }

    /// That the row set was made and freed, and no reference is left.
    void expectFreed()
    {
        EXPECT_THAT(m_runtime.calls(), testing::Contains(testing::StartsWith("FreeProws #")).Times(1));
        EXPECT_EQ(m_table->references(), 1);
    }
    void expectNothingToFree()
    {
        EXPECT_THAT(m_runtime.calls(), testing::Not(testing::Contains(testing::StartsWith("FreeProws"))));
        EXPECT_EQ(m_table->references(), 1);
    }

    const Mocked<MockTable> m_table;
    const mapi::PropTagArray m_columns{PR_TEST};
    std::vector<LONG> m_numbers;
    SRowSet* m_set = nullptr;
};

TEST_F(RowsetTest, EnumerateReadsTheTableInOneBatchAndDeliversTheRowsInOrder)
{
    expectRead(3);
    enumerate(collector());
    EXPECT_THAT(m_numbers, ElementsAre(1, 2, 3));
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateFreesTheRowsAfterTheLastOne)
{
    expectRead(2);
    enumerate([this](const Rowset::TableRow& row) { m_runtime.note("row " + std::to_string(row[0].Value.l)); });
    EXPECT_THAT(m_runtime.calls(), ElementsAre("MAPIAllocateBuffer 8 -> #1", "row 1", "row 2", "FreeProws #2"));
}

TEST_F(RowsetTest, EnumerateQueriesNoRowsWhenThereAreNone)
{
    const InSequence order;
    EXPECT_CALL(*m_table, SetColumns(m_columns.get(), 0)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(0, _)).WillOnce(DoAll(SetArgPointee<1>(0), Return(S_OK)));
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
    expectNothingToFree();
}

TEST_F(RowsetTest, EnumerateLogsAndDeliversNothingWhenSetColumnsFails)
{
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX));
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x80040117(MAPI call failed)"));
    expectNothingToFree();
}

TEST_F(RowsetTest, EnumerateLogsAndDeliversNothingWhenTheCountFails)
{
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::tableRowCount, line N: hr = 0x80040102(MAPI call failed)"));
    expectNothingToFree();
}

TEST_F(RowsetTest, EnumerateLogsAndDeliversNothingWhenQueryRowsFails)
{
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(Return(MAPI_E_NOT_ENOUGH_MEMORY));
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), ElementsAre("An exception has been caught in mapi::Rowset::enumerate : "
                                   "mapi::Rowset::enumerate, line N: hr = 0x8007000e(MAPI call failed)"));
    expectNothingToFree();
}

TEST_F(RowsetTest, EnumerateFreesRowsThatCameWithAFailure)
{
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(givesRows(numberedRows(2), MAPI_E_CALL_FAILED));
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_EQ(log().size(), 1u);
    expectFreed();
}

TEST_F(RowsetTest, EnumeratePassesWarnings)
{
    constexpr HRESULT warning = MAPI_W_ERRORS_RETURNED;
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(warning));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(warning)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(givesRows(numberedRows(2), warning));
    enumerate(collector());
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

// The count is a request: what comes counts.
TEST_F(RowsetTest, EnumerateDeliversTheRowsThatCameWhateverTheCountWas)
{
    for (const LONG delivered : {1, 3})
    {
        EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
        EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(S_OK)));
        EXPECT_CALL(*m_table, QueryRows(2, _, _)).WillOnce(givesRows(numberedRows(delivered)));
        m_numbers.clear();
        enumerate(collector());
        EXPECT_EQ(m_numbers.size(), static_cast<std::size_t>(delivered));
    }
}

TEST_F(RowsetTest, EnumerateReadsTheNumberOfRowsAnewAfterEachRow)
{
    expectRead(3);
    enumerate(
        [this](const Rowset::TableRow& row)
        {
            collect(row);
            m_set->cRows = 2;
        });
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    expectFreed();
    EXPECT_THAT(m_runtime.liveBlocks(), ElementsAre(1, 5)); // the columns, and the row that the set no longer counts
    m_runtime.freeLeftBlock(5);
}

TEST_F(RowsetTest, EnumerateRaisesAComErrorWhenThereIsNoTable)
{
    IMAPITablePtr none;
    try
    {
        Rowset::enumerate(none, m_columns.get(), collector());
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (const _com_error& error)
    {
        EXPECT_EQ(error.Error(), E_POINTER);
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, EnumerateIsCancelledBeforeTheFirstRowWhenStopIsRequested)
{
    utilities::stopRequested = true;
    expectRead(2); // the table is still read
    EXPECT_EQ(thrown([this] { enumerate(collector()); }), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateIsCancelledBeforeTheFirstRowWhenStopIsRequestedWhileItReads)
{
    expectRead(2, [] { utilities::requestStop(); });
    EXPECT_EQ(thrown([this] { enumerate(collector()); }), L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(m_numbers, IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateIsCancelledBetweenRows)
{
    expectRead(3);
    EXPECT_EQ(thrown(
                  [this]
                  {
                      enumerate(
                          [this](const Rowset::TableRow& row)
                          {
                              collect(row);
                              if (m_numbers.size() == 2)
                                  utilities::requestStop();
                          });
                  }),
              L"mapi::Rowset::enumerate: cancelled by request");
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    expectFreed();
}

TEST_F(RowsetTest, EnumerateEndsAsUsualWhenStopIsRequestedInTheLastRow)
{
    expectRead(2);
    enumerate(
        [this](const Rowset::TableRow& row)
        {
            collect(row);
            if (m_numbers.size() == 2)
                utilities::requestStop();
        });
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateOfAnEmptyTableIsNotCancelled)
{
    utilities::stopRequested = true;
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(S_OK));
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(0), Return(S_OK)));
    enumerate(collector());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, EnumerateOfATableThatFailsIsNotCancelled)
{
    utilities::stopRequested = true;
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    enumerate(collector());
    EXPECT_EQ(log().size(), 1u);
}

TEST_F(RowsetTest, EnumeratePassesTheRowFunctionsException)
{
    expectRead(4);
    EXPECT_EQ(thrown(
                  [this]
                  {
                      enumerate(
                          [this](const Rowset::TableRow& row)
                          {
                              if (m_numbers.size() == 2)
                                  throw utilities::exception(L"third");
                              collect(row);
                          });
                  }),
              L"third");
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumeratePassesExceptionsOfAnyType)
{
    expectRead(1);
    EXPECT_THROW(enumerate([](const Rowset::TableRow&) { throw std::out_of_range("row"); }), std::out_of_range);
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateRaisesTheBadCallOfAnEmptyRowFunction)
{
    expectRead(1);
    EXPECT_THROW(enumerate({}), std::bad_function_call);
    EXPECT_THAT(log(), IsEmpty());
    expectFreed();
}

TEST_F(RowsetTest, EnumerateLeavesTheRowsWithoutAWordWhenFreeProwsCannotBeBound)
{
    expectRead(2);
    enumerate(
        [this](const Rowset::TableRow& row)
        {
            collect(row);
            m_runtime.hide();
        });
    m_runtime.show();
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    EXPECT_THAT(log(), IsEmpty());
    expectNothingToFree();
    mapi::FreeProws(m_set);
}

TEST_F(RowsetTest, TableRowCountGivesTheNumberOfRows)
{
    EXPECT_CALL(*m_table, GetRowCount(0, _))
        .WillOnce(
            [this](ULONG, ULONG* count)
            {
                EXPECT_EQ(m_table->references(), 2); // held for the time of the call
                *count = 0xFFFFFFFF;
                return MAPI_W_ERRORS_RETURNED;
            });
    EXPECT_EQ(mapi::tableRowCount(m_table.pointer()), 0xFFFFFFFF);
    EXPECT_EQ(m_table->references(), 1);
}

TEST_F(RowsetTest, TableRowCountIsZeroWithoutATable)
{
    EXPECT_EQ(mapi::tableRowCount({}), 0u);
}

TEST_F(RowsetTest, TableRowCountThrowsWhenTheTableDoesNotTell)
{
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(thrown([this] { (void)mapi::tableRowCount(m_table.pointer()); }),
              L"mapi::tableRowCount, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_EQ(m_table->references(), 1);
}

// ---- TableRow --------------------------------------------------------------------------------------------------------

TEST(TableRowTest, GivesItsValuesInTheirOrder)
{
    SPropValue values[2] = {};
    values[0].ulPropTag = PR_ENTRYID;
    values[1].ulPropTag = PR_OBJECT_TYPE;
    const SRow row{0, 2, values};
    const Rowset::TableRow view(row);
    EXPECT_EQ(&view[0], &values[0]);
    EXPECT_EQ(&view[1], &values[1]);
    EXPECT_EQ(view.values().size(), 2u);
    EXPECT_EQ(view.values().data(), values);
}

TEST(TableRowTest, ThrowsWhenTheIndexIsOutOfBounds)
{
    const std::wstring expected = L"rowset::table_row::operator []: index out of bounds.";
    SPropValue values[2] = {};
    const SRow row{0, 2, values};
    EXPECT_EQ(thrownBy([&] { (void)Rowset::TableRow(row)[2]; }), expected);
    EXPECT_EQ(thrownBy([&] { (void)Rowset::TableRow(row)[0x100000000]; }), expected);

    const SRow empty{0, 0, nullptr};
    EXPECT_EQ(thrownBy([&] { (void)Rowset::TableRow(empty)[0]; }), expected);
    EXPECT_TRUE(Rowset::TableRow(empty).values().empty());
}
} // namespace

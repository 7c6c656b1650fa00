#include "agent/mapi/Rowset.h"

#include <functional>
#include <stdexcept>

#include "agent/mapi/MapiRuntime.h"
#include "agent/mapi/PropTagArray.h"
#include "mapiabi/MapiTags.h"
#include "tests/mapi/MapiTest.h"
#include "tests/support/mapi/MapiMocks.h"
#include "tests/support/mapi/MapiValues.h"
#include "utilities/StopRequested.h"

namespace
{
using namespace tests;
using mapi::Rowset;
using support::thrownBy;
using testing::_;
using testing::DoAll;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Return;
using testing::SetArgPointee;

constexpr ULONG numberTag = PROP_TAG(PT_LONG, 0x6701);

// That all rows are freed is seen at the end of each test.
class RowsetTest : public MapiTest
{
protected:
    /// The table has rows with the numbers from 1.
    void giveNumbers(LONG count, HRESULT result = S_OK)
    {
        std::vector<Properties> rows;
        for (LONG number = 1; number <= count; ++number)
            rows.push_back({Property::number(numberTag, number)});
        giveRows(m_table, rows, result);
    }
    void enumerate(const Rowset::RowFunction& function)
    {
        IMAPITablePtr table = m_table.pointer();
        Rowset::enumerate(table, m_columns.get(), function);
    }
    /// Collects the numbers, and acts when there are so many.
    Rowset::RowFunction collector(std::size_t count = 0, const std::function<void()>& act = [] {})
    {
        return [this, count, act](const Rowset::TableRow& row)
        {
            m_numbers.push_back(row[0].Value.l);
            if (m_numbers.size() == count)
                act();
        };
    }

    const Mocked<MockTable> m_table;
    const mapi::PropTagArray m_columns{numberTag};
    std::vector<LONG> m_numbers;
};

TEST_F(RowsetTest, DeliversTheRowsOfOneBatchInOrderAlsoWithWarnings)
{
    for (const HRESULT result : {S_OK, warning})
    {
        giveNumbers(3, result);
        EXPECT_CALL(*m_table, SetColumns(m_columns.get(), 0)).WillOnce(Return(result));
        EXPECT_CALL(*m_table, GetRowCount(0, _));
        EXPECT_CALL(*m_table, QueryRows(3, TBL_NOADVANCE, _));
        m_numbers.clear();
        enumerate(collector());
        EXPECT_THAT(m_numbers, ElementsAre(1, 2, 3));
    }
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, KeepsTheRowsUntilTheLastIsDelivered)
{
    giveNumbers(2);
    const auto blocks = liveBlocks();
    enumerate([&](const Rowset::TableRow&) { EXPECT_EQ(liveBlocks(), blocks + 3); });
    EXPECT_EQ(liveBlocks(), blocks);
}

TEST_F(RowsetTest, QueriesNoRowsWhenThereAreNone)
{
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).Times(0);
    utilities::requestStop(); // an empty table isn't cancelled
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, LogsAndDeliversNothingWhenTheTableCannotBeRead)
{
    giveNumbers(2, MAPI_E_CALL_FAILED); // rows that come with a failure
    enumerate(collector());
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(Return(MAPI_E_NOT_ENOUGH_MEMORY));
    enumerate(collector());
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(Return(MAPI_E_NO_SUPPORT));
    enumerate(collector());
    EXPECT_CALL(*m_table, SetColumns(_, _)).WillOnce(Return(MAPI_E_TOO_COMPLEX));
    utilities::requestStop(); // a table that fails isn't cancelled
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), ElementsAre(unreadTable("80004005"), unreadTable("8007000e"),
                                   unreadTable("80040102", "mapi::tableRowCount"), unreadTable("80040117")));
}

TEST_F(RowsetTest, LogsAndDeliversNothingWhenARowCountsValuesAndHasNone)
{
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(2), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [](LONG, ULONG, SRowSet** rows)
            {
                *rows = makeRows({{Property::number(numberTag, 1)}, {}});
                (*rows)->aRow[1].cValues = 1;
                return S_OK;
            });
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), ElementsAre(unreadTable("80004005")));
}

// The count is a request: what comes counts.
TEST_F(RowsetTest, DeliversTheRowsThatCameWhateverTheCountWas)
{
    for (const std::size_t delivered : {1u, 3u})
    {
        giveNumbers(static_cast<LONG>(delivered));
        ON_CALL(*m_table, GetRowCount(_, _)).WillByDefault(DoAll(SetArgPointee<1>(2), Return(S_OK)));
        m_numbers.clear();
        enumerate(collector());
        EXPECT_EQ(m_numbers.size(), delivered);
    }
    EXPECT_CALL(*m_table, QueryRows(_, _, _)).WillOnce(Return(S_OK)); // and gives none
    m_numbers.clear();
    enumerate(collector());
    EXPECT_THAT(m_numbers, IsEmpty());
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, ReadsTheNumberOfRowsAnewAfterEachRow)
{
    SRowSet* set = nullptr;
    EXPECT_CALL(*m_table, GetRowCount(_, _)).WillOnce(DoAll(SetArgPointee<1>(3), Return(S_OK)));
    EXPECT_CALL(*m_table, QueryRows(_, _, _))
        .WillOnce(
            [&set](LONG, ULONG, SRowSet** rows)
            {
                const Properties row = {Property::number(numberTag, 1)};
                *rows = set = makeRows({row, row, row});
                return S_OK;
            });
    SPropValue* uncounted = nullptr; // once the set is shorter
    enumerate(collector(1,
                        [&]
                        {
                            uncounted = set->aRow[2].lpProps;
                            set->cRows = 2;
                        }));
    EXPECT_EQ(m_numbers.size(), 2u);
    mapi::MAPIFreeBuffer(uncounted);
}

TEST_F(RowsetTest, RaisesAComErrorWhenThereIsNoTable)
{
    IMAPITablePtr none;
    EXPECT_THROW(Rowset::enumerate(none, m_columns.get(), collector()), _com_error);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, IsCancelledBeforeARowWhenStopIsRequested)
{
    const std::wstring cancelled = L"mapi::Rowset::enumerate: cancelled by request";
    giveNumbers(3);
    EXPECT_EQ(thrown([this] { enumerate(collector(2, utilities::requestStop)); }), cancelled);
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));
    EXPECT_EQ(thrown([this] { enumerate(collector()); }), cancelled); // the table is still read
    EXPECT_THAT(m_numbers, ElementsAre(1, 2));

    utilities::stopRequested = false;
    m_numbers.clear();
    enumerate(collector(3, utilities::requestStop)); // in the last row
    EXPECT_THAT(m_numbers, ElementsAre(1, 2, 3));
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, PassesTheRowFunctionsException)
{
    giveNumbers(3);
    EXPECT_EQ(thrown([this] { enumerate(collector(2, [] { throw utilities::exception(L"second"); })); }), L"second");
    EXPECT_EQ(m_numbers.size(), 2u);
    EXPECT_THROW(enumerate([](const Rowset::TableRow&) { throw std::out_of_range("row"); }), std::out_of_range);
    EXPECT_THROW(enumerate({}), std::bad_function_call);
    EXPECT_THAT(log(), IsEmpty());
}

TEST_F(RowsetTest, TableRowCountGivesTheNumberOfRowsOrThrows)
{
    EXPECT_CALL(*m_table, GetRowCount(0, _))
        .WillOnce(DoAll(SetArgPointee<1>(0xFFFFFFFF), Return(warning)))
        .WillOnce(Return(MAPI_E_CALL_FAILED));
    EXPECT_EQ(mapi::tableRowCount(m_table.pointer()), 0xFFFFFFFF);
    EXPECT_EQ(thrown([this] { std::ignore = mapi::tableRowCount(m_table.pointer()); }),
              L"mapi::tableRowCount, line N: hr = 0x80004005(MAPI call failed)");
    EXPECT_EQ(mapi::tableRowCount({}), 0u);
}

// ---- TableRow ------------------------------------------------------------------------------------------------------

TEST(TableRowTest, GivesItsValuesInTheirOrderOrThrows)
{
    const std::wstring outOfBounds = L"rowset::table_row::operator []: index out of bounds.";
    SPropValue values[2] = {};
    const SRow row{0, 2, values};
    const Rowset::TableRow view(row);
    EXPECT_EQ(&view[0], &values[0]);
    EXPECT_EQ(&view[1], &values[1]);
    EXPECT_EQ(view.values().size(), 2u);
    EXPECT_EQ(view.values().data(), values);
    EXPECT_EQ(thrownBy([&] { std::ignore = view[2]; }), outOfBounds);
    EXPECT_EQ(thrownBy([&] { std::ignore = view[0x100000000]; }), outOfBounds);

    const SRow empty{0, 0, nullptr};
    EXPECT_EQ(thrownBy([&] { std::ignore = Rowset::TableRow(empty)[0]; }), outOfBounds);
    EXPECT_TRUE(Rowset::TableRow(empty).values().empty());
}
} // namespace

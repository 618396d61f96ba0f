#include "AssertRecorder.h"
#include "cow_2DArray.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

// Element (r, c) holds 10 * r + c.
cow_2DArray<int> Numbered(int rows, int columns) {
    cow_2DArray<int> array(rows, columns, 0);
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < columns; ++c) {
            array.Get(r, c) = 10 * r + c;
        }
    }
    return array;
}

class TwoDArrayTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(recorder.Expressions(), expectedExpressions); }

    AssertRecorder recorder;
    std::vector<std::string> expectedExpressions;
};

using TwoDArrayLayout = TwoDArrayTest;

TEST_F(TwoDArrayLayout, AnEmptyDimensionHoldsNoBlock) {
    EXPECT_EQ(cow_2DArray<int>(3, 0, 1).ConstData(), nullptr);
    EXPECT_EQ(cow_2DArray<int>(-3, -4, 1).ConstData(), nullptr);
    EXPECT_EQ(cow_2DArray<double>().Rows(), 0);
}

TEST_F(TwoDArrayLayout, ElementsAreStoredRowByRow) {
    const cow_2DArray<int> array = Numbered(3, 4);
    ASSERT_NE(array.ConstData(), nullptr);
    const std::vector<int> storage(array.ConstData(), array.ConstData() + 12);
    EXPECT_EQ(storage, (std::vector<int>{0, 1, 2, 3, 10, 11, 12, 13, 20, 21, 22, 23}));
    EXPECT_EQ(storage[9], array.ConstGet(2, 1)) << "row 2, column 1 is the tenth";
}

TEST_F(TwoDArrayLayout, FillConstructorSharesAStringInit) {
    const cow_String text("cell");
    const cow_2DArray<cow_String> array(2, 2, text);
    EXPECT_EQ(array.ConstGet(1, 1).c_str(), text.c_str());
}

TEST_F(TwoDArrayLayout, WritingACopyLeavesTheSourceUnchanged) {
    const cow_2DArray<int> source = Numbered(2, 3);
    cow_2DArray<int> copy = source;
    EXPECT_EQ(copy.ConstGet(1, 2), 12);
    EXPECT_EQ(copy.ConstData(), source.ConstData()) << "reads never copy";
    copy.Get(1, 2) = -1;
    EXPECT_EQ(source.ConstGet(1, 2), 12);
    EXPECT_EQ(copy.ConstGet(1, 2), -1);
}

TEST_F(TwoDArrayLayout, AccessOutsideTheTableIsReportedAndChangesNothing) {
    cow_2DArray<int> array = Numbered(2, 2);
    EXPECT_EQ(array.ConstGet(0, 2), 0);
    array.Get(2, 0) = 5;
    array.Get(-1, 1) = 5;
    EXPECT_EQ(array, Numbered(2, 2));
    const std::string text = "(row>=0) && (row<Rows()) && (column>=0) && (column<Columns())";
    expectedExpressions.assign(3, text);
    ASSERT_FALSE(recorder.Reports().empty());
    EXPECT_EQ(recorder.Reports()[0].path, "include/cow_2DArray");
}

TEST_F(TwoDArrayLayout, RepresentationAssignmentCopiesDimensionsAndElements) {
    cow_2DArrayRep<int> target(1, 1);
    cow_2DArrayRep<int> source(1, 2);
    source.data[0] = 4;
    source.data[1] = 5;
    target = source;
    EXPECT_EQ(target.columns, 2);
    EXPECT_TRUE(target == source);
    target = cow_2DArrayRep<int>(0, 7);
    EXPECT_EQ(target.data, nullptr);
}

using TwoDArrayComparison = TwoDArrayTest;

TEST_F(TwoDArrayComparison, EqualDimensionsAndElements) {
    EXPECT_NE(cow_2DArray<int>(2, 3, 1), cow_2DArray<int>(3, 2, 1));
    EXPECT_EQ(cow_2DArray<int>(0, 3, 1), cow_2DArray<int>(0, 3, 2));
    cow_2DArray<int> changed = Numbered(2, 3);
    changed.Get(1, 0) = 0;
    EXPECT_NE(changed, Numbered(2, 3));
}

TEST_F(TwoDArrayComparison, ANaNMakesATableUnequalToItself) {
    cow_2DArray<double> table(2, 2, 1.0);
    const cow_2DArray<double> copy = table;
    EXPECT_TRUE(table == copy);
    table.Get(0, 1) = std::nan("");
    EXPECT_FALSE(table == table);
    EXPECT_TRUE(cow_2DArray<double>(table) != table);
}

TEST_F(TwoDArrayLayout, StandardIterationGoesRowByRowAndWritesAPrivateBlock) {
    cow_2DArray<int> source(2, 3, 0);
    for (int row = 0; row < 2; ++row) {
        for (int column = 0; column < 3; ++column) {
            source.Get(row, column) = 10 * row + column;
        }
    }
    cow_2DArray<int> copy(source);
    EXPECT_EQ(std::as_const(copy).begin(), source.ConstData());
    EXPECT_EQ(copy.size(), 6u);
    for (int& element : copy) {
        element = -element;
    }
    EXPECT_EQ(std::vector<int>(source.begin(), source.end()),
              (std::vector<int>{0, 1, 2, 10, 11, 12}));
    EXPECT_EQ(copy.ConstGet(1, 2), -12);
    EXPECT_TRUE(cow_2DArray<int>().empty());
}

} // namespace

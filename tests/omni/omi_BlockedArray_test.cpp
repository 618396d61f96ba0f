#include "AssertRecorder.h"
#include "omi_BlockedArray.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;

template <class T>
class OpenArray : public omi_BlockedArray<T> {
public:
    using omi_BlockedArray<T>::omi_BlockedArray;
    using omi_BlockedArray<T>::Clear;
    using omi_BlockedArray<T>::Realloc;
};

TEST(BlockedArrayGrowth, TableGrowsByWholeIncrementsToReachTheBlock) {
    omi_BlockedArray<int> array(4, 3); // blocks of 8
    EXPECT_EQ(array.TableLength(), 4u);
    EXPECT_EQ(array.BlockSize(), 8u);
    array.SetCell(100, 7); // block 12
    EXPECT_EQ(array.TableLength(), 16u);
    array.SetCell(127, 8); // block 15: fits
    EXPECT_EQ(array.TableLength(), 16u);
    array.SetCell(128, 9); // block 16
    EXPECT_EQ(array.TableLength(), 20u);
    EXPECT_EQ(array.BlockCount(), 3u);
}

TEST(BlockedArrayGrowth, NoInitialCountMeansIncrementsOf128) {
    omi_BlockedArray<double> array(0, 10);
    EXPECT_EQ(array.TableLength(), 128u);
    array.SetCell(128u << 10, 1.5);
    EXPECT_EQ(array.TableLength(), 256u);
    EXPECT_EQ(array.GetCell(128u << 10), 1.5);
}

TEST(BlockedArrayGrowth, ReallocNeverShrinks) {
    OpenArray<unsigned> array(8, 2);
    array.Realloc(3);
    EXPECT_EQ(array.TableLength(), 8u);
    array.Realloc(50);
    EXPECT_EQ(array.TableLength(), 50u);
}

TEST(BlockedArrayCells, NewBlocksAreZeroFilledAndAbsentCellsReadZero) {
    omi_BlockedArray<void*> array(2, 4);
    int target = 0;
    array.SetCell(17, &target);
    EXPECT_EQ(array.GetCell(17), &target);
    EXPECT_EQ(array.GetCell(16), nullptr);
    EXPECT_EQ(array.FindCell(31), array.FindCell(17) + 14);
    EXPECT_EQ(array.FindCell(32), nullptr);
    EXPECT_EQ(array.FindCell(0xFFFFFFFFu), nullptr);
    EXPECT_EQ(array.GetCell(0xFFFFFFFFu), nullptr);
}

TEST(BlockedArrayCells, ClearFreesEveryBlockAndKeepsTheTable) {
    OpenArray<int> array(4, 3);
    array.SetCell(3, 1);
    array.SetCell(90, 2);
    array.Clear();
    EXPECT_EQ(array.BlockCount(), 0u);
    EXPECT_EQ(array.TableLength(), 12u);
    EXPECT_EQ(array.GetCell(3), 0);
}

TEST(BlockedArrayCopy, CopiesAreDeep) {
    omi_BlockedArray<int> original(4, 3);
    original.SetCell(5, 50);
    omi_BlockedArray<int> copy(original);
    copy.SetCell(5, 51);
    copy.SetCell(70, 70);
    EXPECT_EQ(original.GetCell(5), 50);
    EXPECT_EQ(original.GetCell(70), 0);
    omi_BlockedArray<int> assigned(1, 1);
    assigned = copy;
    copy.SetCell(5, 52);
    EXPECT_EQ(assigned.GetCell(5), 51);
    EXPECT_EQ(assigned.GetCell(70), 70);
    EXPECT_EQ(assigned.BlockSize(), 8u);
}

TEST(BlockedArrayMisuse, ShiftBeyondTheWordIsReportedAndClipped) {
    AssertRecorder recorder;
    omi_BlockedArray<int> array(1, 40);
    EXPECT_EQ(array.BlockSize(), 1u << 31);
    ASSERT_EQ(recorder.Reports().size(), 1u);
    EXPECT_EQ(recorder.Reports()[0].expression, "shift < 32");
    EXPECT_EQ(recorder.Reports()[0].path, "include/omi_BlockedArray");
}

TEST(BlockedArrayDump, EightElementsPerLineWithSignWidenedBytes) {
    omi_BlockedArray<int> array(2, 3);
    array.SetCell(9, 1);
    array.SetCell(10, -128);
    testing::internal::CaptureStdout();
    array.DumpArray();
    EXPECT_EQ(
        testing::internal::GetCapturedStdout(),
        "Block indices= 8 - 15\n"
        "00000000|01000000|ffffff80ffffffffffffffffffffffff|00000000|00000000|00000000|00000000|"
        "00000000\n"
        "\n");
}

TEST(BlockedArrayDump, ShortBlocksAndEmptyArrays) {
    omi_BlockedArray<unsigned> array(1, 1);
    testing::internal::CaptureStdout();
    array.DumpArray();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    array.SetCell(5, 0x7F);
    testing::internal::CaptureStdout();
    array.DumpArray();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Block indices= 4 - 5\n00000000|7f000000\n");
}

TEST(BlockedArrayIteration, VisitsTheCellsOfMadeBlocksInIndexOrder) {
    static_assert(std::forward_iterator<omi_BlockedArray<double>::iterator>);
    omi_BlockedArray<int> array(2, 2);
    array.SetCell(13, 5);
    array.SetCell(6, 9);
    array.SetCell(1, 7);
    std::vector<std::pair<unsigned, int>> walked;
    for (auto [index, value] : array) {
        walked.emplace_back(index, value);
        value += 1;
    }
    const std::vector<std::pair<unsigned, int>> madeBlocks{{0, 0},  {1, 7},  {2, 0},  {3, 0},
                                                           {4, 0},  {5, 0},  {6, 9},  {7, 0},
                                                           {12, 0}, {13, 5}, {14, 0}, {15, 0}};
    EXPECT_EQ(walked, madeBlocks);
    EXPECT_EQ(array.GetCell(13), 6);
    const omi_BlockedArray<int> empty(2, 2);
    EXPECT_EQ(empty.begin(), empty.end());
}

} // namespace

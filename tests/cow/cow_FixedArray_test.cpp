#include "AssertRecorder.h"
#include "cow_FixedArray.h"

#include <gtest/gtest.h>

#include <limits>
#include <ranges>
#include <string>
#include <utility>
#include <vector>

namespace {

using vlt::test::AssertRecorder;
using vlt::test::AssertReport;

template <class T>
std::vector<T> Items(const cow_FixedArray<T>& array) {
    return std::vector<T>(array.ConstData(), array.ConstData() + array.Length());
}

class FixedArrayTest : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(recorder.Reports(), expectedReports); }

    AssertRecorder recorder;
    std::vector<AssertReport> expectedReports;
};

using FixedArrayValues = FixedArrayTest;

TEST_F(FixedArrayValues, FillConstructorWritesEveryElement) {
    const cow_FixedArray<int> array(3, 7);
    EXPECT_EQ(array.Length(), 3);
    EXPECT_EQ(Items(array), (std::vector<int>{7, 7, 7}));
    EXPECT_EQ(cow_FixedArray<int>(-2, 1).Length(), 0);
}

TEST_F(FixedArrayValues, StringElementsShareTheInitialText) {
    const cow_String text("shared text");
    const cow_FixedArray<cow_String> array(2, text);
    EXPECT_EQ(array.ConstGet(1).c_str(), text.c_str());
}

TEST_F(FixedArrayValues, WritingACopyLeavesTheSourceUnchanged) {
    const cow_FixedArray<double> source(4, 1.5);
    cow_FixedArray<double> copy = source;
    EXPECT_EQ(copy.ConstGet(2), 1.5);
    EXPECT_EQ(copy.ConstData(), source.ConstData()) << "reads never copy";
    copy.Get(2) = 2.5;
    EXPECT_NE(copy.ConstData(), source.ConstData());
    EXPECT_EQ(Items(source), (std::vector<double>{1.5, 1.5, 1.5, 1.5}));
    EXPECT_EQ(copy.ConstGet(2), 2.5);
}

TEST_F(FixedArrayValues, AccessOutOfRangeIsReportedAndChangesNothing) {
    cow_FixedArray<int> array(2, 4);
    EXPECT_EQ(array.ConstGet(2), 0);
    array.Get(-1) = 9;
    array.Get(2) = 9;
    EXPECT_EQ(Items(array), (std::vector<int>{4, 4}));
    const AssertReport report{"index<Length()", "include/cow_FixedArray", 0};
    ASSERT_EQ(recorder.Reports().size(), 3u);
    for (const AssertReport& seen : recorder.Reports()) {
        EXPECT_EQ(seen.expression, report.expression);
        EXPECT_EQ(seen.path, report.path);
    }
    expectedReports = recorder.Reports();
}

TEST_F(FixedArrayValues, RepresentationAssignmentCopiesTheBlock) {
    cow_FixedArrayRep<int> target(1);
    cow_FixedArrayRep<int> source(3);
    source.data[2] = 3;
    target = source;
    EXPECT_EQ(target.length, 3);
    EXPECT_NE(target.data.get(), source.data.get());
    EXPECT_TRUE(target == source);
}

using FixedArrayComparison = FixedArrayTest;

TEST_F(FixedArrayComparison, DifferentLengthsAreUnequalWhateverTheContents) {
    EXPECT_TRUE(cow_FixedArray<int>() == cow_FixedArray<int>(-1, 5));
    EXPECT_NE(cow_FixedArray<int>(2, 1), cow_FixedArray<int>(3, 1));
    cow_FixedArray<int> changed(3, 1);
    changed.Get(2) = 0;
    EXPECT_NE(changed, cow_FixedArray<int>(3, 1));
}

TEST_F(FixedArrayComparison, ANaNMakesAnArrayUnequalToItself) {
    const cow_FixedArray<float> array(2, std::numeric_limits<float>::quiet_NaN());
    const cow_FixedArray<float> copy = array;
    EXPECT_FALSE(array == array);
    EXPECT_TRUE(array != copy);
    const cow_FixedArray<double> numbers(2, 0.5);
    EXPECT_TRUE(numbers == cow_FixedArray<double>(numbers));
}

TEST_F(FixedArrayComparison, LinkedListsHoldFixedArrays) {
    cow_List<cow_FixedArray<double>> list;
    list.Append(cow_FixedArray<double>(2, 0.25));
    EXPECT_EQ(list.ConstGet(0).ConstGet(1), 0.25);
    EXPECT_TRUE(list.IsMember(cow_FixedArray<double>(2, 0.25)));
}

TEST_F(FixedArrayValues, StandardIterationReadsInPlaceAndWritesAPrivateBlock) {
    static_assert(std::ranges::contiguous_range<cow_FixedArray<double>>);
    const cow_FixedArray<int> source{5, 6, 7};
    cow_FixedArray<int> copy(source);
    EXPECT_EQ(std::as_const(copy).begin(), source.ConstData());
    EXPECT_EQ(source.size(), 3u);
    for (int& element : copy) {
        element += 1;
    }
    EXPECT_EQ(std::vector<int>(source.begin(), source.end()), (std::vector<int>{5, 6, 7}));
    EXPECT_EQ(std::vector<int>(copy.begin(), copy.end()), (std::vector<int>{6, 7, 8}));
    EXPECT_TRUE(cow_FixedArray<int>{}.empty());
}

} // namespace

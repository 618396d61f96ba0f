// The containers as a client of the standard library uses them: range-for over each, the
// standard algorithms, initializer lists, std::string_view both ways and cow_String keys in an
// unordered map. Answers the number of checks that failed.
#include <cio_List.h>
#include <cow_1DArray.h>
#include <cow_2DArray.h>
#include <cow_Btree.h>
#include <cow_FixedArray.h>
#include <cow_List.h>
#include <cow_Map.h>
#include <cow_String.h>
#include <omi_UintTable.h>
#include <pnt_PrettyPrint.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

int failures = 0;

void Check(bool holds, const char* what) {
    if (!holds) {
        std::printf("failed: %s\n", what);
        ++failures;
    }
}

void Containers() {
    const cow_List<int> list{1, 2, 3};
    int listSum = 0;
    for (const int value : list) {
        listSum += value;
    }
    Check(listSum == 6 && list.size() == 3, "range-for over a list");

    cow_Map<cow_String, int> map{{cow_String("b"), 2}, {cow_String("a"), 1}};
    int mapSum = 0;
    for (const auto& entry : map) {
        mapSum += entry.second;
    }
    Check(mapSum == 3 && map.size() == 2, "range-for over a map");

    const cow_1DArrayList<double, double> array{0.5, 1.5, 2.0};
    Check(std::accumulate(array.begin(), array.end(), 0.0) == 4.0, "algorithms over an array");

    cow_FixedArray<int> fixed{4, 5, 6};
    for (int& value : fixed) {
        value *= 2;
    }
    Check(*std::max_element(fixed.begin(), fixed.end()) == 12, "writing through a fixed array");

    const cow_2DArray<int> grid(2, 3, 7);
    Check(std::count(grid.begin(), grid.end(), 7) == 6, "range over a 2D array");

    cow_Btree<cow_String, int> tree;
    tree.Insert("y", 2);
    tree.Insert("x", 1);
    std::string keys;
    for (const auto& entry : tree) {
        keys += entry.first.c_str();
    }
    Check(keys == "xy", "a B-tree in key order");

    omi_UintTable<int> table;
    table.Insert(70000, 3);
    table.Insert(5, 1);
    unsigned firstKey = 0;
    for (const auto& entry : table) {
        firstKey = firstKey == 0 ? entry.first : firstKey;
    }
    Check(firstKey == 5, "an integer table in key order");
}

void Strings() {
    const std::string standard = "mesh";
    const cow_String text(standard);
    const std::string_view view = text;
    Check(view == "mesh" && text == standard && std::string(text) == standard,
          "strings and views both ways");
    std::unordered_map<cow_String, int> counts{{cow_String("mesh"), 1}};
    Check(counts.at(text) == 1, "a string keys an unordered map");
    Check(std::string(pnt_ToStdString(cow_List<int>{1, 2, 3})) == "{ 1, 2, 3 }",
          "a list prints on one line");
}

} // namespace

int StandardLibraryFailures() {
    Containers();
    Strings();
    return failures;
}

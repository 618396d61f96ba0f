// The library's instances of the maps whose values are fixed arrays or array lists.
#include "cow_Map.h"

VLT_COW_MAP_DEFINE(cow_String, cow_FixedArray<double>);
VLT_COW_MAP_DEFINE(cow_String, cow_1DArrayList<int, int>);
VLT_COW_MAP_DEFINE(cow_String, cow_1DArrayList<float, float>);
VLT_COW_MAP_DEFINE(cow_String, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_DEFINE(int, cow_FixedArray<int>);
VLT_COW_MAP_DEFINE(int, cow_FixedArray<double>);
VLT_COW_MAP_DEFINE(int, cow_1DArrayList<int, int>);
VLT_COW_MAP_DEFINE(int, cow_1DArrayList<float, float>);
VLT_COW_MAP_DEFINE(int, cow_1DArrayList<cow_String, cow_String>);

VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_FixedArray<double>);
VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_1DArrayList<int, int>);
VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_1DArrayList<float, float>);
VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_1DArrayList<cow_String, cow_String>);
VLT_COW_MAP_UTILS_DEFINE(int, cow_FixedArray<int>);
VLT_COW_MAP_UTILS_DEFINE(int, cow_FixedArray<double>);
VLT_COW_MAP_UTILS_DEFINE(int, cow_1DArrayList<int, int>);
VLT_COW_MAP_UTILS_DEFINE(int, cow_1DArrayList<float, float>);
VLT_COW_MAP_UTILS_DEFINE(int, cow_1DArrayList<cow_String, cow_String>);

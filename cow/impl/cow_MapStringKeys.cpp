// The library's instances of the map with string keys.
#include "cow_Map.h"

VLT_COW_MAP_DEFINE(cow_String, int);
VLT_COW_MAP_DEFINE(cow_String, unsigned int);
VLT_COW_MAP_DEFINE(cow_String, float);
VLT_COW_MAP_DEFINE(cow_String, cow_String);
VLT_COW_MAP_DEFINE(cow_String, cow_List<int>);
VLT_COW_MAP_DEFINE(cow_String, cow_List<cow_String>);

VLT_COW_MAP_SORTED_DEFINE(cow_String, float);
VLT_COW_MAP_SORTED_DEFINE(cow_String, cow_String);
VLT_COW_MAP_SORTED_DEFINE(cow_String, cow_List<cow_String>);

VLT_COW_MAP_UTILS_DEFINE(cow_String, int);
VLT_COW_MAP_UTILS_DEFINE(cow_String, unsigned int);
VLT_COW_MAP_UTILS_DEFINE(cow_String, float);
VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_String);
VLT_COW_MAP_UTILS_DEFINE(cow_String, cow_List<int>);

// The library's instances of the map with integer keys.
#include "cow_Map.h"

VLT_COW_MAP_DEFINE(int, int);
VLT_COW_MAP_DEFINE(int, cow_String);
VLT_COW_MAP_DEFINE(unsigned int, int);
VLT_COW_MAP_DEFINE(unsigned int, unsigned int);
VLT_COW_MAP_DEFINE(unsigned int, cow_String);

VLT_COW_MAP_SORTED_DEFINE(int, int);

VLT_COW_MAP_UTILS_DEFINE(int, cow_String);
VLT_COW_MAP_UTILS_DEFINE(unsigned int, int);
VLT_COW_MAP_UTILS_DEFINE(unsigned int, cow_String);

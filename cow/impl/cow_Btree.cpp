// The library's instances of the copy-on-write B-tree.
#include "cow_Btree.h"

VLT_COW_BTREE_DEFINE(int, cow_1DArrayList<int, int>);
VLT_COW_BTREE_DEFINE(cow_String, int);
VLT_COW_BTREE_DEFINE(cow_String, cow_1DArrayList<int, int>);

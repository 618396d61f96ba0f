// The library's int instances of the blocked arrays, and the linked list of int array lists.
#include "cow_1DArray.h"

VLT_COW_1DARRAY_DEFINE(int);
VLT_COW_LIST_DEFINE(vlt::detail::cow_IntArrayList);

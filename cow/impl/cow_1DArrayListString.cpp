// The library's string instances of the blocked arrays, and the linked list of string array
// lists.
#include "cow_1DArray.h"

VLT_COW_1DARRAY_DEFINE(cow_String);
VLT_COW_LIST_DEFINE(vlt::detail::cow_StringArrayList);

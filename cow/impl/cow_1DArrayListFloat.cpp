// The library's float instances of the blocked arrays, and the linked list of float array
// lists.
#include "cow_1DArray.h"

VLT_COW_1DARRAY_DEFINE(float);
VLT_COW_LIST_DEFINE(vlt::detail::cow_FloatArrayList);

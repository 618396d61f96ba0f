// The library's blocked arrays whose elements are int and float array lists.
#include "cow_1DArray.h"

VLT_COW_1DARRAY_DEFINE(vlt::detail::cow_IntArrayList);
VLT_COW_1DARRAY_DEFINE(vlt::detail::cow_FloatArrayList);

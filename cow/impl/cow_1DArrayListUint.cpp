// The library's unsigned int instances of the blocked arrays.
#include "cow_1DArray.h"

VLT_COW_1DARRAY_DEFINE(unsigned int);

// The library's instances of the two-dimensional arrays.
#include "cow_2DArray.h"

#define VLT_COW_2DARRAY_DEFINE(T)                                                                  \
    template struct cow_2DArrayRep<T>;                                                             \
    template class cow_2DArray<T>

VLT_COW_2DARRAY_DEFINE(int);
VLT_COW_2DARRAY_DEFINE(float);
VLT_COW_2DARRAY_DEFINE(double);
VLT_COW_2DARRAY_DEFINE(cow_String);

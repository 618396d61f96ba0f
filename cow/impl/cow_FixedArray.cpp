// The library's instances of the fixed arrays, and the linked lists of int and double fixed
// arrays.
#include "cow_FixedArray.h"

#define VLT_COW_FIXEDARRAY_DEFINE(T)                                                               \
    template struct cow_FixedArrayRep<T>;                                                          \
    template class cow_FixedArray<T>

VLT_COW_FIXEDARRAY_DEFINE(int);
VLT_COW_FIXEDARRAY_DEFINE(float);
VLT_COW_FIXEDARRAY_DEFINE(double);
VLT_COW_FIXEDARRAY_DEFINE(cow_String);

VLT_COW_LIST_DEFINE(cow_FixedArray<int>);
VLT_COW_LIST_DEFINE(cow_FixedArray<double>);

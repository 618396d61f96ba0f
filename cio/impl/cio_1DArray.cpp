// The stream and print functions of the library's blocked arrays, whose classes are
// instantiated with the containers (cow/impl/cow_1DArrayList<Type>.cpp).
#include "cio_1DArray.h"

#define VLT_CIO_1DARRAY_DEFINE(T)                                                                  \
    template bio_Ofilter& cow_1DArray<T>::WriteData(bio_Ofilter&, const void*);                    \
    template void cow_1DArray<T>::ReadData(bio_Ifilter&, void*);                                   \
    template pnt_PrettyPrint& cow_1DArray<T>::PrintData(pnt_PrettyPrint&, const void*)

VLT_COW_1DARRAY_ELEMENT_TYPES(VLT_CIO_1DARRAY_DEFINE);

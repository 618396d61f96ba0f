#include "cio_2DArray.h"
#include "cio_FixedArray.h"
#include "cio_List.h"
#include "cio_Map.h"

VLT_CIO_LIST_DEFINE(int);
VLT_CIO_LIST_DEFINE(unsigned int);
VLT_CIO_LIST_DEFINE(float);
VLT_CIO_LIST_DEFINE(cow_String);

VLT_CIO_MAP_DEFINE(cow_String, float);
VLT_CIO_MAP_DEFINE(cow_String, unsigned int);
VLT_CIO_MAP_DEFINE(unsigned int, cow_String);
VLT_CIO_MAP_DEFINE(unsigned int, unsigned int);

VLT_CIO_2DARRAY_DEFINE(int);
VLT_CIO_2DARRAY_DEFINE(float);
VLT_CIO_2DARRAY_DEFINE(double);
VLT_CIO_2DARRAY_DEFINE(cow_String);

VLT_CIO_FIXEDARRAY_DEFINE(int);
VLT_CIO_FIXEDARRAY_DEFINE(float);
VLT_CIO_FIXEDARRAY_DEFINE(double);

// The library's instances of the string-keyed B-tree.
#include "omi_Btree.h"

template class vlt::detail::omi_BtreeKeys<1536>;
template class vlt::detail::omi_BtreeKeys<1024>;
VLT_OMI_BTREE_DEFINE(int);
VLT_OMI_BTREE_DEFINE(unsigned);
VLT_OMI_BTREE_DEFINE(double);
VLT_OMI_BTREE_DEFINE(void*);
VLT_OMI_BTREE_DEFINE(cow_String);

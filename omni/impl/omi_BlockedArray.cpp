#include "omi_BlockedArray.h"

template class omi_BlockedArray<int>;
template class omi_BlockedArray<unsigned int>;
template class omi_BlockedArray<double>;
template class omi_BlockedArray<void*>;

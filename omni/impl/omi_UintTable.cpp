#include "omi_UintTable.h"

template class omi_UintTableBlock<int>;
template class omi_UintTableBlock<double>;
template class omi_UintTableBlock<void*>;
template class omi_UintTable<int>;
template class omi_UintTable<double>;
template class omi_UintTable<void*>;
template class omi_UintTableIterator<int>;
template class omi_UintTableIterator<double>;
template class omi_UintTableIterator<void*>;

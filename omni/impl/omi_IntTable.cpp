#include "omi_IntTable.h"

template class omi_IntTable<int>;
template class omi_IntTable<double>;
template class omi_IntTable<void*>;
template class omi_IntTableIterator<int>;
template class omi_IntTableIterator<double>;
template class omi_IntTableIterator<void*>;

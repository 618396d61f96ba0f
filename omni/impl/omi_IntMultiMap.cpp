#include "omi_IntMultiMap.h"

template class omi_IntMultiMap<int>;
template class omi_IntMultiMapIterator<int>;

// The library's instances of the linked list, and the string-list measures.
#include "cow_List.h"

VLT_COW_LIST_DEFINE(int);
VLT_COW_LIST_DEFINE(unsigned int);
VLT_COW_LIST_DEFINE(float);
VLT_COW_LIST_DEFINE(cow_String);
VLT_COW_LIST_DEFINE(cow_List<int>);

namespace {

// The length that `keep` prefers among the strings of the list; 0 for an empty list. The
// iterator walks a shared copy, so the list is never un-shared.
template <class Keep>
unsigned PickLength(const cow_List<cow_String>& list, Keep keep) {
    cow_ListIter<cow_String> it(list);
    if (it.IsDone()) {
        return 0;
    }
    unsigned picked = it.CurrentItem().Length();
    for (it.Next(); !it.IsDone(); it.Next()) {
        picked = keep(picked, it.CurrentItem().Length());
    }
    return picked;
}

} // namespace

unsigned GetLengthShortestString(const cow_List<cow_String>& list) {
    return PickLength(list, [](unsigned a, unsigned b) { return b < a ? b : a; });
}

unsigned GetLengthLongestString(const cow_List<cow_String>& list) {
    return PickLength(list, [](unsigned a, unsigned b) { return b > a ? b : a; });
}

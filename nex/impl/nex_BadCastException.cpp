#include "nex_BadCastException.h"

#include "typ_ArchCompTable.h"

bool nex_canDynamicCastPtr(unsigned target, unsigned actual) {
    return target == actual || typ_ArchCompTable::IsParent(actual, target);
}

bool nex_canDynamicCastRef(unsigned target, unsigned actual, const char* file, int line) {
    if (nex_canDynamicCastPtr(target, actual)) {
        return true;
    }
    nex_BadCastException(nex_makeBadCastVal(actual, target)).Throw(file, line);
}

cow_String nex_makeBadCastVal(unsigned from, unsigned to) {
    return cow_String("Bad Cast: From `") + typ_ArchCompTable::GetName(from) + "' To '" +
           typ_ArchCompTable::GetName(to) + "'.";
}

// Checked casts between registered types: the type table decides whether an object of one
// type id may be used as another, and a refused reference cast throws nex_BadCastException.
#pragma once

#include "nex_TextException.h"

// Whether an object whose type id is `actual` may be used as a `target`: equal ids (also
// unregistered ones), or `target` an ancestor of `actual` in the type table. Never throws.
VLTUTL_API bool nex_canDynamicCastPtr(unsigned target, unsigned actual);
// The same check; a refused cast throws a nex_BadCastException raised at file and line.
VLTUTL_API bool nex_canDynamicCastRef(unsigned target, unsigned actual, const char* file, int line);
// "Bad Cast: From `FROM' To 'TO'." with the type table's names; the mixed quotes are
// deliberate, clients match the text.
VLTUTL_API cow_String nex_makeBadCastVal(unsigned from, unsigned to);

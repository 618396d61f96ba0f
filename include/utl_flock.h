// The classic advisory-lock call over a runtime file descriptor.
//
// `op` is 1 (shared), 2 (exclusive), 5 or 6 (the same without waiting) or 8 (unlock); any
// other value fails with errno 22. Locks cover the first 4,294,901,760 bytes of the file, not
// the whole file (deliberate, and the same range for locking and unlocking so that they pair).
// Locks belong to the open file, so two opens of one file exclude each other also within one
// process. Answers 0, or -1 with errno set; never throws.
#pragma once

#include "vlt_Export.h"

VLTUTL_API int utl_flock(int fd, int op);

// Opening a file in one of the library's access modes, for utl_File and utl_Stream alike: read,
// update and write open through utl_File's own open functions, whose failures throw; any other
// mode opens nothing and answers noFile.
#pragma once

#include "utl_File.h"

namespace vlt::detail {

utl_FileHandle FileOpenByAccess(const cow_String& name, utl_FileAccess access);

} // namespace vlt::detail

// The file-size query.
#include "utl_FileAttributes.h"

#include "utl_FilePlatform.h"

#include <cstdint>

double utl_FileAttributes::GetSizeOfFile() const {
    int64_t size = 0;
    if (!vlt::detail::FileSizeByName(m_Name.c_str(), size)) {
        return -1.0;
    }
    return size >> 32 != 0 ? 0.0 : static_cast<double>(size);
}

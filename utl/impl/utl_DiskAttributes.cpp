// The free-space query.
#include "utl_DiskAttributes.h"

#include "utl_FilePath.h"
#include "utl_FilePlatform.h"

utl_DiskAttributes::utl_DiskAttributes(const cow_String& path) {
    utl_FilePath portable(path);
    const cow_String absolute = portable.Portable().AbsolutePathName();
    const unsigned drive = absolute.Find(":/");
    m_Root = drive < absolute.Length() ? absolute.Substr(0, drive + 1) + "\\" : absolute;
}

double utl_DiskAttributes::GetFreeDiskSpace() const {
    double bytes = 0.0;
    return vlt::detail::DiskFreeBytes(m_Root.c_str(), bytes) ? bytes : -1.0;
}

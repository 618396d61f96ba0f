// The free-space query.
#include "utl_DiskAttributes.h"

#include "utl_FilePath.h"
#include "utl_FilePlatform.h"

utl_DiskAttributes::utl_DiskAttributes(const cow_String& path) {
    // Portable twice: the working directory that a relative path starts from may come back from
    // the system with its own separators.
    utl_FilePath given(path);
    utl_FilePath whole(given.Portable().AbsolutePathName());
    const cow_String absolute = whole.Portable().PathName();
    const unsigned drive = absolute.Find(":/");
    m_Root = drive < absolute.Length() ? absolute.Substr(0, drive + 1) + "\\" : absolute;
}

double utl_DiskAttributes::GetFreeDiskSpace() const {
    double bytes = 0.0;
    return vlt::detail::DiskFreeBytes(m_Root.c_str(), bytes) ? bytes : -1.0;
}

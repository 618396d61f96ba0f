// The free space of the volume that holds a path, as a query that never throws.
#pragma once

#include "cow_String.h"
#include "vlt_Export.h"

class VLTUTL_API utl_DiskAttributes {
public:
    // Derives the volume root from the path made absolute: the drive ("C:\") where the path
    // names one, else the absolute path itself, which any volume query resolves to the file
    // system holding it.
    explicit utl_DiskAttributes(const cow_String& path);

    // The bytes free to the calling user; -1.0 when the volume cannot be asked.
    double GetFreeDiskSpace() const;

    const cow_String& Root() const { return m_Root; }

private:
    cow_String m_Root;
};

// The size of a named file, as a query that never throws.
#pragma once

#include "cow_String.h"
#include "vlt_Export.h"

class VLTUTL_API utl_FileAttributes {
public:
    explicit utl_FileAttributes(const cow_String& name) : m_Name(name) {}

    // The size in bytes; -1.0 when the file cannot be opened and read, and 0.0 for a file of
    // 4 GiB or more (deliberate: the query serves only smaller files).
    double GetSizeOfFile() const;

private:
    cow_String m_Name;
};

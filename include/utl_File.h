// Large files for numerical code: a thin layer over the system's file handles that reports
// every failure as an exception.
//
// A `utl_File` owns one open handle from construction to destruction; there is no separate
// open or close. Offsets and sizes are `utl_FileOffset`s, whole numbers of bytes held in a
// double and rounded half up to the 64-bit value that the system takes. Several files may
// hold the same name: any number of readers, and at most one file open for update or write,
// across processes. A failed system call throws `nex_TextException` with the text "context:
// system message"; misuse of a read-only file throws before any system call. A file belongs to
// one thread at a time (its position is shared state of the handle).
#pragma once

#include "cow_String.h"
#include "vlt_Export.h"

#include <cstdint>

class VLTUTL_API utl_FileOffset {
public:
    utl_FileOffset(double bytes = 0.0) : m_Bytes(bytes) {}

    double Value() const { return m_Bytes; }
    // The value plus 0.5, truncated: the position that the system is given. Values beyond
    // the 64-bit range are clipped to it (and then refused by the system).
    int64_t Rounded() const;
    // Compares the nearest whole bytes: two offsets that round alike are equal.
    bool operator<(utl_FileOffset other) const;

private:
    double m_Bytes;
};

// 0 reads; 1 reads and writes an existing file; 2 creates or truncates, then reads and writes.
enum utl_FileAccess : int {
    utl_FileAccessRead = 0,
    utl_FileAccessUpdate = 1,
    utl_FileAccessWrite = 2,
};

// The system's handle of an open file (a file descriptor on POSIX); -1 when there is none.
using utl_FileHandle = std::intptr_t;

class VLTUTL_API utl_File {
public:
    // Opens in the given mode; a failed open throws. A mode other than 0, 1 and 2 opens
    // nothing, and every later operation fails as the system fails it on no file.
    utl_File(const cow_String& name, utl_FileAccess access);
    // Closes the handle. A failed close throws, unless an exception is already on its way.
    ~utl_File() noexcept(false);
    utl_File(const utl_File&) = delete;
    utl_File& operator=(const utl_File&) = delete;

    void Seek(const utl_FileOffset& offset);
    utl_FileOffset Location();
    void Flush();
    // The count read, 0 at the end of the file.
    int Read(char* bytes, int count);
    int Write(const char* bytes, int count);
    utl_FileOffset FileSize();
    // Moves the end of the file to `offset`, growing or shrinking it; the position stays.
    void Extend(const utl_FileOffset& offset);
    // Throws when `offset` is negative or reaches the size ceiling; the ceiling message also
    // goes to standard error.
    void CheckFileSize(const utl_FileOffset& offset) const;

    static utl_FileHandle OpenRead(const cow_String& name);
    static utl_FileHandle OpenUpdate(const cow_String& name);
    static utl_FileHandle OpenWrite(const cow_String& name);

    const cow_String& Name() const { return m_Name; }
    utl_FileAccess Access() const { return m_Access; }
    // True when the file lives on a network file system.
    bool IsRemote() const { return m_Remote; }

    // 2^50 - 1 bytes.
    static constexpr double sizeCeiling = 1125899906842623.0;

protected:
    // Selects the wording of the ceiling message; set at construction and never cleared by
    // the library itself.
    void SetLargeFile(bool largeFile) { m_LargeFile = largeFile; }

private:
    utl_FileHandle m_Handle;
    cow_String m_Name;
    utl_FileAccess m_Access;
    bool m_Remote = false;
    bool m_LargeFile = true;
    utl_FileOffset m_Ceiling{sizeCeiling};
};

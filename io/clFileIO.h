#pragma once

#include "base/Export.h"
#include "base/clString.h"

#include <cstddef>
#include <cstdint>
#include <map>

#include <sys/types.h> // for off_t, ssize_t

/**
 * Owns one file descriptor and the memory mappings made of it. One thread at a time. Every failure
 * is a clXFileIO, with the system's text for most failed calls. Closing is no cancellation point.
 */
class VANTREL_API clFileIO
{
public:
    /** What Open and Map allow. */
    enum access_t : int {
        ACCESS_READ = 0,     ///< only reads
        ACCESS_WRITE = 1,    ///< only writes
        ACCESS_READWRITE = 2 ///< both
    };

    /** Where Seek counts from. */
    enum seekpoint_t : int {
        SEEK_POINT_START = 0,   ///< the start of the file
        SEEK_POINT_CURRENT = 1, ///< the present position
        SEEK_POINT_END = 2      ///< the end of the file
    };

    // Bits of Open.
    static constexpr int OPEN_EXCLUSIVE = 1; ///< with OPEN_CREATE: fails if the file exists
    static constexpr int OPEN_SYNC = 2;      ///< synchronous writes, data and metadata
    static constexpr int OPEN_CREATE = 4;    ///< creates a missing file with mode 0666 & ~umask
    static constexpr int OPEN_TRUNCATE = 8;  ///< empties the file
    static constexpr int OPEN_ADVISE_RANDOM = 16;     ///< overrides OPEN_ADVISE_SEQUENTIAL
    static constexpr int OPEN_ADVISE_SEQUENTIAL = 32; ///< tells the system how the file is read

    // Bits of Map.
    static constexpr int MAP_OPT_LOCK = 1;     ///< locks the pages in memory
    static constexpr int MAP_OPT_POPULATE = 2; ///< reads the pages at once

    clFileIO() noexcept(false);

    /** Opens the file as Open does, but leaves nothing open when it throws. */
    clFileIO(const char *cpPath, access_t access, int iOptions);

    clFileIO(const clFileIO &) = delete;
    clFileIO &operator=(const clFileIO &) = delete;

    /** Closes the file and throws as Close does, because the error may be the only report of a
     * failed delayed write; silent during unwinding. An owner that must not throw calls Close and,
     * if that fails, Detach. */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clFileIO() noexcept(false);

    /** Closes the current file and opens the path; ignores other bits than OPEN_ ones.
     * @throws clXFileIO also if only posix_fadvise(2) fails; the file is open then, but unnamed */
    virtual void Open(const char *cpPath, access_t access, int iOptions);

    /** Ends all mappings and closes the file, if there are any.
     * @throws clXFileIO when close(2) reports an error (the object keeps the number of the
     * descriptor, see Detach) or when a file marked for deletion cannot be deleted */
    virtual void Close();

    virtual int64_t Size(); ///< in bytes; failures lack the system's text

    /** Cuts the file, or extends it by zeros; failures lack the system's text. */
    virtual void SetSize(off_t lLength);

    /** Makes a shared mapping, which Unmap or Close ends; lOffset is a multiple of GetPageSize().
     */
    virtual void *Map(off_t lOffset, size_t sizeMap, access_t access, int iOptions);

    /** Ends a mapping. @param sizeMap the same as for Map */
    virtual void Unmap(void *pMapping, size_t sizeMap);

    /** One read(2), which may be short. @return the bytes read; 0 at the end */
    virtual ssize_t Read(void *pBuffer, size_t sizeBuffer);

    /** One write(2). @throws clXFileIO also when only a part, of unknown size, was written; a
     * second write then determines the error, ENOSPC if it succeeds */
    virtual ssize_t Write(const void *pBuffer, size_t sizeBuffer);

    /** Moves the position. @return the new one, from the start of the file */
    virtual off_t Seek(seekpoint_t whence, off_t lOffset);

    static int64_t GetSize(const char *cpPath); ///< size of a file that need not be open, in bytes
    static unsigned GetPageSize();              ///< bytes of a memory page
    static bool Exists(const char *cpPath);     ///< false for a dangling symbolic link

    bool IsOpen() const noexcept { return iFileH >= 0; } ///< until Close or Detach

    /** Gives up the descriptor without closing it, for use after a failed Close: Linux has closed
     * it even then, and a second close(2) could close another file. Mappings stay owned. */
    void Detach() noexcept { iFileH = -1; }

protected:
    /** A subclass assigns this to iUnlinkMark to make Close delete the file. */
    static constexpr int32_t UNLINK_ON_CLOSE = static_cast<int32_t>(0xDEADBEEF);

    int32_t iUnlinkMark = 0;                ///< UNLINK_ON_CLOSE or any other value
    int32_t iFileH = -1;                    ///< the descriptor; -1 when closed
    clString strFileName;                   ///< the path of the open file
    std::map<void *, uint64_t> mapMappings; ///< size of each mapping
};

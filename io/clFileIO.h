#pragma once

#include "base/clString.h"

#include <cstddef>
#include <cstdint>
#include <map>

#include <sys/types.h> // for off_t, ssize_t

/**
 * Owns one POSIX file descriptor and the memory mappings made of it.
 *
 * One thread at a time. Every failure is a clXFileIO; where a system call failed, the system's text
 * is part of the message. Closing is no point where a thread can be cancelled.
 */
class clFileIO
{
public:
    enum access_t : int { ACCESS_READ = 0, ACCESS_WRITE = 1, ACCESS_READWRITE = 2 };

    enum seekpoint_t : int { SEEK_POINT_START = 0, SEEK_POINT_CURRENT = 1, SEEK_POINT_END = 2 };

    // Bits of Open.
    static constexpr int OPEN_EXCLUSIVE = 1;
    /** Synchronous writes, data and metadata. */
    static constexpr int OPEN_SYNC = 2;
    /** Creates a missing file with permissions 0666, less the umask. */
    static constexpr int OPEN_CREATE = 4;
    static constexpr int OPEN_TRUNCATE = 8;
    /** Advises the system of the access to come; random wins over sequential. */
    static constexpr int OPEN_ADVISE_RANDOM = 16;
    static constexpr int OPEN_ADVISE_SEQUENTIAL = 32;

    // Bits of Map.
    static constexpr int MAP_OPT_LOCK = 1;
    static constexpr int MAP_OPT_POPULATE = 2;

    clFileIO() noexcept(false);

    /** As Open on a closed object; when it throws nothing stays open. */
    clFileIO(const char *cpPath, access_t access, int iOptions);

    clFileIO(const clFileIO &) = delete;
    clFileIO &operator=(const clFileIO &) = delete;

    /**
     * Closes the file and lets an error of that through, since for a file that was written it is
     * the last word on whether the bytes arrived; silent while another exception is on its way. A
     * holder that must not throw calls Close itself and, when that failed, Detach.
     */
    // NOLINTNEXTLINE(bugprone-exception-escape): it may throw, as noexcept(false) says.
    virtual ~clFileIO() noexcept(false);

    /**
     * Closes what was open and opens the path.
     *
     * @param iOptions OPEN_ bits; others are ignored
     * @throws clXFileIO; after a failed advice the file is open all the same, but without a name
     */
    virtual void Open(const char *cpPath, access_t access, int iOptions);

    /**
     * Releases all mappings and closes the file; nothing happens when there is neither.
     * @throws clXFileIO when close(2) reports an error: the descriptor then stays held; or when a
     * file marked for deletion cannot be deleted: it is closed by then
     */
    virtual void Close();

    /** Size in bytes. */
    virtual int64_t Size();

    /** Cuts or extends the file to lLength bytes. */
    virtual void SetSize(off_t lLength);

    /**
     * Maps a part of the file, shared. The mapping ends with Unmap or Close.
     *
     * @param lOffset  a multiple of GetPageSize()
     * @param sizeMap  bytes
     * @param iOptions MAP_OPT_ bits
     */
    virtual void *Map(off_t lOffset, size_t sizeMap, access_t access, int iOptions);

    /** Ends a mapping, given exactly as Map returned and was asked for it. */
    virtual void Unmap(void *pMapping, size_t sizeMap);

    /** One read(2), short counts and all: only the caller knows whether less is the end or a fault.
     */
    virtual ssize_t Read(void *pBuffer, size_t sizeBuffer);

    /**
     * One write(2).
     *
     * @throws clXFileIO also when only a part was written, so that callers need not look for that.
     * The rest is then written once to learn the cause, "No space left on device" when the system
     * names none; the file and its position have moved by an unknown part of the bytes.
     */
    virtual ssize_t Write(const void *pBuffer, size_t sizeBuffer);

    /** @return the new position from the start of the file */
    virtual off_t Seek(seekpoint_t whence, off_t lOffset);

    /** Size of the file at a path, in bytes. */
    static int64_t GetSize(const char *cpPath);
    static unsigned GetPageSize();
    /** False for a dangling symbolic link. */
    static bool Exists(const char *cpPath);

    bool IsOpen() const noexcept { return iFileH >= 0; }

    /**
     * Lets go of the descriptor without closing it, for destructors whose Close has failed: on
     * Linux the descriptor is gone by then, and a second close(2) could hit another file. Mappings
     * stay valid and owned: Unmap, Close or the destructor ends them.
     */
    void Detach() noexcept { iFileH = -1; }

protected:
    // A subclass that sets this makes Close delete the file.
    static constexpr int32_t UNLINK_ON_CLOSE = static_cast<int32_t>(0xDEADBEEF);

    int32_t iUnlinkMark = 0;
    int32_t iFileH = -1;
    clString strFileName;
    std::map<void *, uint64_t> mapMappings;
};

#pragma once

#include "base/Export.h"
#include "io/clFileIO.h"
#include "io/clStreamReader.h"

/** A local file as a stream; operations call those of clFileIO and throw the same. */
class VANTREL_API clStreamReaderFile : public clStreamReader
{
public:
    /** Opens a file. @param strFile a path, also after "file:" or "file://"
     * @throws clXStreamReader when the file cannot be opened */
    explicit clStreamReaderFile(const clString &strFile);
    ~clStreamReaderFile() noexcept(false) override;

    void Close() override;
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;
    off_t Seek(off_t lPosition) override;
    off_t Skip(off_t lCount) override; ///< backward, too
    off_t Tell() override;
    int64_t GetSize() override;
    /** True also after the end, where Seek and Skip may go. */
    bool IsEOF() override;
    bool IsRemote() override;
    bool IsSeekable() override;

    /** The name without "file://" or "file:". Host and %-escapes are not parsed: "file://a/b" is
     * the relative path a/b. */
    static clString PathOf(const clString &strFile);

protected:
    clFileIO fileInput; ///< the file
};

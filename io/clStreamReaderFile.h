#pragma once

#include "io/clFileIO.h"
#include "io/clStreamReader.h"

/**
 * A local file as a stream. Its operations are those of clFileIO and throw clXFileIO as they do.
 */
class clStreamReaderFile : public clStreamReader
{
public:
    /**
     * Opens the file for reading, with the advice that it will be read from front to back.
     *
     * @param strFile a path, or a path behind "file:" or "file://"
     * @throws clXStreamReader when the file cannot be opened
     */
    explicit clStreamReaderFile(const clString &strFile);
    ~clStreamReaderFile() noexcept(false) override;

    void Close() override;
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;
    off_t Seek(off_t lPosition) override;
    off_t Skip(off_t lCount) override;
    off_t Tell() override;
    int64_t GetSize() override;
    /** Also true past the end, where Seek and Skip may go. */
    bool IsEOF() override;
    bool IsRemote() override;
    bool IsSeekable() override;

    /**
     * The path that a name stands for: what follows "file://" or "file:", or the name itself. There
     * is no more of a URL in it: neither host nor %-escapes, so "file://a/b" is the relative a/b.
     */
    static clString PathOf(const clString &strFile);

protected:
    clFileIO fileInput;
};

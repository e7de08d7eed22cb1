#pragma once

#include "kit/clDownload.h"
#include "kit/clInputStream.h"
#include "kit/clSpoolFile.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/**
 * A file on a web server as a stream that seeks like a file on a disk.
 *
 * A server that sends parts of a file, and by which version of it, is asked for one long part, of
 * which up to 1 MiB is kept in memory; a seek out of that begins another part. Of any other server
 * the file is received once, from front to back, into a temporary file, as far as it is read.
 *
 * A connection that breaks is made again, after pauses that grow, up to five times without a new
 * byte. All parts are of one version of the file: if it changes, reading fails.
 */
class clStreamReaderURL : public clInputStream
{
public:
    /** Requests the file and waits for the answer.
     * @param uTimeoutSeconds how long the server may send nothing
     * @throws clXInput when there is no such file, or no server; clXStopped */
    clStreamReaderURL(const clURL &url, unsigned uTimeoutSeconds);
    ~clStreamReaderURL() noexcept(false) override;

    void Close() override;
    /** @throws clXInput when the file cannot be received or has changed; clXStopped */
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;
    /** Receives the whole file if the server does not announce its size. @throws as Read */
    int64_t GetSize() override;

    /** What the server said when the file was opened. */
    std::optional<timespec> GetTime() const noexcept override;
    /** Reading has noticed it. */
    void ThrowIfChanged() const override {}
    bool IsAt(const std::string &) const noexcept override { return false; }

private:
    void Begin();
    void Judge(const clDownload::answer_t &answer);
    void TakeVersion(const clDownload::answer_t &answer);
    void ThrowIfOther(const clDownload::answer_t &answer) const;
    size_t Receive(uint8_t *pBuffer, size_t sizeBuffer);
    void WaitBeforeTry(const clXBroken &caught);
    size_t ReadPart(uint8_t *pBuffer, size_t sizeBuffer);
    size_t ReadSpooled(uint8_t *pBuffer, size_t sizeBuffer);
    bool Spool();

    std::unique_ptr<clDownload> pDownload;

    // The version of the file, by the first answer.
    bool bKnown = false;
    std::string strETag;
    std::string strLastModified;
    std::string strValidator; ///< for requests of parts; empty: the server does not send them
    std::optional<uint64_t> uSize;
    std::optional<int64_t> lModified;

    // The request that runs.
    bool bRunning = false;
    uint64_t uBegun = 0; ///< its first byte
    uint64_t uNext = 0;  ///< the byte that arrives next
    unsigned uTries = 0; ///< without a new byte

    /** The bytes that arrived last, before uNext. */
    std::unique_ptr<uint8_t[]> aWindow;
    size_t sizeWindow = 0;
    std::unique_ptr<clSpoolFile> pSpool; ///< null where the server sends parts
};

#pragma once

#include "base/clString.h"
#include "io/clSocket.h"
#include "io/clStreamReader.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include <sys/types.h> // for off_t, ssize_t

class clSocketAddr;

/**
 * Reads a resource of a web server: one GET request over a connection of its own, and another one
 * from the new position for every Seek.
 *
 * Prints status and headers of every answer to standard output, with a question mark for each
 * control character but the tab. Redirections are not followed.
 * Failures of addresses and sockets pass through as clXSocketAddr and clXSocket. After a Seek that
 * failed the reader is closed and keeps its position; the next Seek may succeed again.
 */
class clStreamReaderHTTP : public clStreamReader
{
public:
    /**
     * Resolves the host and makes the first request.
     *
     * @param strUrl "http://host/path" or "http://host:port/path", sent as it is
     * @throws clXStreamReader for any other form and for what GetHead refuses
     */
    explicit clStreamReaderHTTP(const clString &strUrl);

    /** Closes the connection and swallows errors of that; the strings alone could throw. */
    ~clStreamReaderHTTP() noexcept(false) override;

    void Close() override;

    /**
     * Reads the whole count unless the body ends before it. Only its start is waited for with a
     * time-out, of one second.
     *
     * @return the count read; 0 when the server has closed the connection
     * @throws clXStreamReader after the time-out, and without a connection
     */
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;

    /** As MakeRequest. */
    off_t Seek(off_t lPosition) override;

    /**
     * Reads and drops. Takes a read that comes up short for an error, although a network may
     * deliver late; this is deliberate, and only a Seek helps then.
     *
     * @throws clXStreamReader for a short read or a negative count, and without a connection
     */
    off_t Skip(off_t lCount) override;

    off_t Tell() override;

    /** The announced length of the whole resource, 0 when the server gave none that is a size. */
    int64_t GetSize() override;
    bool IsEOF() override;
    bool IsRemote() override;
    bool IsSeekable() override;

    /** The last content type received, empty when there was none. */
    const char *GetMimeType() override;

    /**
     * Connects, sends one request and reads the answer up to its body.
     *
     * @param cpHeaderName, cpHeaderValue one more header; none when either is null
     * @return the status, 200 to 299
     * @throws clXStreamReader with the first word of the reason for any other status; when the
     *         server does not connect for a second, or is silent for 30 seconds; for a line of
     *         more than 65,536 bytes or more than 1,000 headers
     * @throws clXString for a status or an announced length that is no number
     */
    uint32_t GetHead(const char *cpMethod, const char *cpHeaderName, const char *cpHeaderValue);

    /**
     * Reconnects and requests the resource from a position in bytes.
     * @return the new position
     * @throws clXStreamReader also for a server that does not honour ranges, and for a negative
     *         position, which leaves everything as it is
     */
    off_t MakeRequest(off_t lPosition);

    /**
     * Names the client to the servers in place of the default, for all readers of the process;
     * null is the default. Set it before any other thread uses a reader; it must stay valid.
     */
    static const char *cpUserAgent;

protected:
    int64_t iPosition = 0;
    int64_t iSize = 0;
    /** host:port, always with the port. */
    clString strHost;
    clString strPath;
    clString strContentType;
    std::unique_ptr<clSocketAddr> pAddr;
    clSocket sockConn;
    /** The headers of the last answer; of a repeated one the last value. */
    std::map<clString, clString> mapHeaders;

private:
    // The steps of GetHead.
    void Connect();
    void SendRequest(const char *cpMethod, const char *cpHeaderName, const char *cpHeaderValue);
    uint32_t ReadStatus();
    void ReadHeaders();
    void StoreHeader(const clString &strHeader, const clString &strValue);
};

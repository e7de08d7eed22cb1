#pragma once

#include "base/Export.h"
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
 * Reads a resource of a web server. The constructor and each Seek make a new connection with one
 * GET request.
 *
 * Prints the status and headers of each answer to standard output, with a question mark for each
 * control character except the tab. Does not follow redirections. Failures of addresses and sockets
 * are clXSocketAddr and clXSocket. A failed Seek closes the reader and keeps the position; the next
 * Seek may succeed.
 */
class VANTREL_API clStreamReaderHTTP : public clStreamReader
{
public:
    /** Requests the resource. @param strUrl "http://host/path" or "http://host:port/path"; the path
     * is sent unchanged
     * @throws clXStreamReader for any other form, and as GetHead; clXString as GetHead */
    explicit clStreamReaderHTTP(const clString &strUrl);

    ~clStreamReaderHTTP() noexcept(false) override;

    void Close() override;

    /** Reads sizeBuffer bytes, or fewer at the end of the body. The time-out of one second applies
     * only to the first byte. @return the bytes read; 0 when the server has closed the connection
     * @throws clXStreamReader after the time-out, and without a connection */
    ssize_t Read(void *pBuffer, size_t sizeBuffer) override;

    off_t Seek(off_t lPosition) override; ///< as MakeRequest

    /** Reads and discards lCount bytes. A short read is an error, even if more would follow later;
     * the stream is then usable only after a Seek. Compatibility: callers rely on it.
     * @throws clXStreamReader for a short read or a negative count, and without a connection */
    off_t Skip(off_t lCount) override;

    off_t Tell() override;

    /** The announced length of the whole resource; 0 without a valid one. */
    int64_t GetSize() override;
    bool IsEOF() override; ///< true also without a known size
    bool IsRemote() override;
    bool IsSeekable() override;

    const char *GetMimeType() override;

    /** Connects, sends one request and reads the answer up to its body. A header with a null name
     * or value is not sent. @return the status, 200 to 299
     * @throws clXStreamReader with the first word of the reason for any other status; after 1
     * second without a connection or 30 without a byte; for a line above 65,536 bytes or more than
     * 1,000 headers
     * @throws clXString for a status or an announced length that is no number */
    uint32_t GetHead(const char *cpMethod, const char *cpHeaderName, const char *cpHeaderValue);

    /** Reconnects and requests the resource from a position. @return the new position
     * @throws clXStreamReader as GetHead, for a server without ranges, and for a negative position,
     * which changes nothing */
    off_t MakeRequest(off_t lPosition);

    /** The name of the client in requests of the whole process; null is the default. Borrowed. Set
     * it before any other thread uses a reader. */
    static const char *cpUserAgent;

protected:
    int64_t iPosition = 0;               ///< of the next byte
    int64_t iSize = 0;                   ///< of the whole resource; 0 when unknown
    clString strHost;                    ///< host:port
    clString strPath;                    ///< begins with "/"
    clString strContentType;             ///< of the last answer that named one
    std::unique_ptr<clSocketAddr> pAddr; ///< of the server
    clSocket sockConn;                   ///< the connection
    /** The headers of the last answer, of a repeated one the last value. */
    std::map<clString, clString> mapHeaders;

private:
    // The steps of GetHead.
    void Connect();
    void SendRequest(const char *cpMethod, const char *cpHeaderName, const char *cpHeaderValue);
    uint32_t ReadStatus();
    void ReadHeaders();
    void StoreHeader(const clString &strHeader, const clString &strValue);
};

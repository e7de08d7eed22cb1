#pragma once

#include "kit/clURL.h"
#include "kit/clXInput.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/** A connection could not be made or broke: the same request may succeed later. */
class clXBroken : public clXInput
{
public:
    clXBroken(const std::string &strReason, bool bWasConnected)
        : clXInput(strReason),
          bConnected(bWasConnected)
    {
    }

    const bool bConnected; ///< whether the server was reached
};

/**
 * Requests a file from a web server and receives the answer as it is read, in the calling thread.
 * Certificates are verified. Redirects are followed to http and https only, ten at most. Proxies
 * and user names come from where libcurl looks for them: the environment and .netrc.
 *
 * What is not yet read waits on the network, with a few KiB in memory. One thread at a time.
 */
class clDownload
{
public:
    /** The head of an answer (RFC 9110); texts are empty when they were not sent. */
    struct answer_t {
        long lStatus = 0;
        std::string strReason; ///< for people, after the status
        std::string strETag;
        std::string strLastModified;
        std::optional<int64_t> lModified; ///< strLastModified in seconds since 1970
        std::string strEncoding;          ///< compression of the content
        std::optional<uint64_t> uLength;  ///< of the body
        // Of a part.
        std::optional<uint64_t> uFirst; ///< offset of its first byte in the file
        std::optional<uint64_t> uTotal; ///< size of the file
    };

    /** A Read into fewer bytes than this is not possible. */
    static constexpr size_t SMALLEST_READ = 16384;

    /** @param uTimeoutSeconds how long a server may send nothing */
    clDownload(const clURL &url, unsigned uTimeoutSeconds);
    clDownload(const clDownload &) = delete;
    clDownload &operator=(const clDownload &) = delete;
    ~clDownload();

    /** Requests the file from a byte on, and waits for the head of the answer, whatever it is. An
     * earlier request is abandoned.
     * @param strIfRange of which version of the file a part may be sent, as a validator; the whole
     * file is sent if it is another one. Empty: of any
     * @throws clXBroken; clXInput when there can be no answer; clXStopped */
    const answer_t &Request(uint64_t uFrom, const std::string &strIfRange);

    /** Waits for bytes of the body. @param sizeBuffer at least SMALLEST_READ
     * @return the bytes received, 0 at the end
     * @throws clXBroken also for a body that is shorter than announced; clXInput; clXStopped */
    size_t Read(void *pBuffer, size_t sizeBuffer);

private:
    struct connection_t;
    std::unique_ptr<connection_t> pConnection;
};

#pragma once

#include "tests/support/ScriptedServer.h"

#include <algorithm>
#include <string>

/** What a server sends for requests of one file. */
struct WebFile {
    std::string strBytes;
    /** Headers that tell its version. */
    std::string strVersion = "ETag: \"1\"\r\nLast-Modified: Sat, 01 Jan 2022 10:00:00 GMT\r\n";
    bool bParts = true;            ///< whether it sends parts of the file
    size_t sizeLongest = SIZE_MAX; ///< of a part
    std::string strMore = {};      ///< further headers

    /** The first byte that is requested. */
    static size_t GetStart(const std::string &strRequest)
    {
        const std::string strRange = "\r\nRange: bytes=";
        const size_t uAt = strRequest.find(strRange);
        return uAt == std::string::npos ? 0 : std::stoul(strRequest.substr(uAt + strRange.size()));
    }

    /** The value of If-Range, or nothing. */
    static std::string GetIfRange(const std::string &strRequest)
    {
        const std::string strName = "\r\nIf-Range: ";
        const size_t uAt = strRequest.find(strName);
        const size_t uStart = uAt + strName.size();
        return uAt == std::string::npos
                   ? ""
                   : strRequest.substr(uStart, strRequest.find("\r\n", uStart) - uStart);
    }

    /** @param sizeMost bytes of the body after which the connection breaks */
    ServerAnswer Answer(const std::string &strRequest, size_t sizeMost = SIZE_MAX) const
    {
        const size_t uStart = GetStart(strRequest);
        const bool bSame = strVersion.find(GetIfRange(strRequest)) != std::string::npos;
        const bool bPart = bParts && bSame;
        const std::string strBody =
            bPart ? strBytes.substr(std::min(uStart, strBytes.size()), sizeLongest) : strBytes;
        const std::string strTotal = std::to_string(strBytes.size());
        return {(bPart ? "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " +
                             std::to_string(uStart) + "-" +
                             std::to_string(uStart + strBody.size() - 1) + "/" + strTotal + "\r\n"
                       : std::string("HTTP/1.1 200 OK\r\n")) +
                "Content-Length: " + std::to_string(strBody.size()) + "\r\n" + strVersion +
                strMore + "\r\n" + strBody.substr(0, sizeMost)};
    }
};

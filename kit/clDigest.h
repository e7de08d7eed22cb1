#pragma once

#include <cstddef>
#include <memory>
#include <string>

/** A digest of bytes that arrive in pieces. One thread at a time. */
class clDigest
{
public:
    enum algorithm_t {
        MD5,
        CHECKSUM ///< fast; only for comparisons within this process: its key is random
    };

    /** @throws std::runtime_error when the system's policy forbids the algorithm */
    explicit clDigest(algorithm_t algorithm);
    clDigest(const clDigest &) = delete;
    clDigest &operator=(const clDigest &) = delete;
    ~clDigest();

    void Add(const void *pBytes, size_t sizeBytes);

    /** The digest in lower-case hexadecimal digits. To be called once, after the last Add. */
    std::string Finish();

private:
    struct context_t;
    std::unique_ptr<context_t> pContext;
};

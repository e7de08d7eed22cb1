#include "kit/clDigest.h"

#include <array>
#include <stdexcept>

#include <openssl/evp.h>
#include <openssl/rand.h>

namespace
{

void Check(int iResult, const char *cpOperation)
{
    if (iResult != 1) {
        throw std::runtime_error(std::string("clDigest::") + cpOperation);
    }
}

// Sums with one random key are as good as digests to tell apart what is not made to deceive.
const std::array<unsigned char, 32> &GetKey()
{
    static const auto aKey = [] {
        std::array<unsigned char, 32> aBytes;
        Check(RAND_bytes(aBytes.data(), aBytes.size()), "clDigest(): no random key");
        return aBytes;
    }();
    return aKey;
}

} // namespace

struct clDigest::context_t {
    explicit context_t(algorithm_t algorithm);

    struct free_t {
        void operator()(EVP_MD_CTX *pFreed) const noexcept { EVP_MD_CTX_free(pFreed); }
        void operator()(EVP_MAC *pFreed) const noexcept { EVP_MAC_free(pFreed); }
        void operator()(EVP_MAC_CTX *pFreed) const noexcept { EVP_MAC_CTX_free(pFreed); }
    };
    // One of them.
    std::unique_ptr<EVP_MD_CTX, free_t> pMD5;
    std::unique_ptr<EVP_MAC_CTX, free_t> pChecksum;
};

clDigest::context_t::context_t(algorithm_t algorithm)
{
    constexpr char MISSING[] = "clDigest(): the system does not offer this algorithm";

    if (algorithm == MD5) {
        pMD5.reset(EVP_MD_CTX_new());
        if (!pMD5) {
            throw std::bad_alloc();
        }
        Check(EVP_DigestInit_ex(pMD5.get(), EVP_md5(), nullptr), MISSING);
        return;
    }
    const std::unique_ptr<EVP_MAC, free_t> pAlgorithm(EVP_MAC_fetch(nullptr, "POLY1305", nullptr));
    Check(pAlgorithm ? 1 : 0, MISSING);
    pChecksum.reset(EVP_MAC_CTX_new(pAlgorithm.get()));
    if (!pChecksum) {
        throw std::bad_alloc();
    }
    Check(EVP_MAC_init(pChecksum.get(), GetKey().data(), GetKey().size(), nullptr), MISSING);
}

clDigest::clDigest(algorithm_t algorithm) : pContext(std::make_unique<context_t>(algorithm)) {}

clDigest::~clDigest() = default;

void clDigest::Add(const void *pBytes, size_t sizeBytes)
{
    Check(pContext->pMD5 ? EVP_DigestUpdate(pContext->pMD5.get(), pBytes, sizeBytes)
                         : EVP_MAC_update(pContext->pChecksum.get(),
                                          static_cast<const unsigned char *>(pBytes), sizeBytes),
          "Add(): failed");
}

std::string clDigest::Finish()
{
    static constexpr char HEX[] = "0123456789abcdef";

    unsigned char aDigest[EVP_MAX_MD_SIZE];
    size_t sizeDigest = 0;
    unsigned uSize = 0;
    if (pContext->pMD5) {
        Check(EVP_DigestFinal_ex(pContext->pMD5.get(), aDigest, &uSize), "Finish(): failed");
        sizeDigest = uSize;
    } else {
        Check(EVP_MAC_final(pContext->pChecksum.get(), aDigest, &sizeDigest, sizeof(aDigest)),
              "Finish(): failed");
    }
    std::string strHex;
    for (size_t i = 0; i < sizeDigest; ++i) {
        strHex += HEX[aDigest[i] >> 4];
        strHex += HEX[aDigest[i] & 15];
    }
    return strHex;
}

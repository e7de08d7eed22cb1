#include "kit/clDigest.h"

#include <stdexcept>

#include <openssl/evp.h>

namespace
{

void Check(int iResult, const char *cpOperation)
{
    if (iResult != 1) {
        throw std::runtime_error(std::string("clDigest::") + cpOperation);
    }
}

} // namespace

struct clDigest::context_t {
    struct free_t {
        void operator()(EVP_MD_CTX *pFreed) const noexcept { EVP_MD_CTX_free(pFreed); }
    };
    std::unique_ptr<EVP_MD_CTX, free_t> pDigest{EVP_MD_CTX_new()};
};

clDigest::clDigest(algorithm_t algorithm) : pContext(std::make_unique<context_t>())
{
    if (!pContext->pDigest) {
        throw std::bad_alloc();
    }
    const EVP_MD *const pAlgorithm = algorithm == MD5 ? EVP_md5() : EVP_sha256();
    Check(EVP_DigestInit_ex(pContext->pDigest.get(), pAlgorithm, nullptr),
          "clDigest(): the system does not offer this algorithm");
}

clDigest::~clDigest() = default;

void clDigest::Add(const void *pBytes, size_t sizeBytes)
{
    Check(EVP_DigestUpdate(pContext->pDigest.get(), pBytes, sizeBytes), "Add(): failed");
}

std::string clDigest::Finish()
{
    static constexpr char HEX[] = "0123456789abcdef";

    unsigned char aDigest[EVP_MAX_MD_SIZE];
    unsigned uSize = 0;
    Check(EVP_DigestFinal_ex(pContext->pDigest.get(), aDigest, &uSize), "Finish(): failed");
    std::string strHex;
    for (unsigned i = 0; i < uSize; ++i) {
        strHex += HEX[aDigest[i] >> 4];
        strHex += HEX[aDigest[i] & 15];
    }
    return strHex;
}

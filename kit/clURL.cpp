#include "kit/clURL.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include <strings.h> // for strncasecmp()

namespace
{

constexpr char NAME_OF_NAMELESS[] = "download";

/** A part of a text. */
struct span_t {
    size_t sizeStart;
    size_t sizeCount;
};

size_t FindHost(std::string_view strURL)
{
    return strURL.find("//") + 2;
}

// User name and password, up to the "@" that ends them; empty when there are none.
span_t FindLogin(std::string_view strURL)
{
    const size_t sizeHost = FindHost(strURL);
    const std::string_view strAuthority = strURL.substr(
        sizeHost, std::min(strURL.find_first_of("/?#", sizeHost), strURL.size()) - sizeHost);
    const size_t sizeAt = strAuthority.rfind('@');
    return {sizeHost, sizeAt == std::string_view::npos ? 0 : sizeAt};
}

// Whether the value of this key of a query grants access, as far as common names tell.
bool IsSecret(std::string_view strKey)
{
    static constexpr std::array<std::string_view, 8> aWords = {"token", "sig",    "key",  "pass",
                                                               "pwd",   "secret", "auth", "cred"};

    std::string strLower(strKey);
    std::transform(strLower.begin(), strLower.end(), strLower.begin(), [](unsigned char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : static_cast<char>(c);
    });
    return std::any_of(aWords.begin(), aWords.end(), [&](std::string_view strWord) {
        return strLower.find(strWord) != std::string::npos;
    });
}

// The values of the query that may be secret, in their order.
std::vector<span_t> FindSecretValues(std::string_view strURL)
{
    std::vector<span_t> aValues;
    size_t sizeAt = strURL.find('?');
    while (sizeAt < strURL.size()) {
        const size_t sizeStart = sizeAt + 1;
        const size_t sizeEnd = std::min(strURL.find_first_of("&;#", sizeStart), strURL.size());
        const std::string_view strPair = strURL.substr(sizeStart, sizeEnd - sizeStart);
        const size_t sizeKey = std::min(strPair.find('='), strPair.size());
        if (sizeKey < strPair.size() && IsSecret(strPair.substr(0, sizeKey))) {
            aValues.push_back({sizeStart + sizeKey + 1, strPair.size() - sizeKey - 1});
        }
        sizeAt = sizeEnd;
    }
    return aValues;
}

int GetHexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char cLower = static_cast<char>(c | 0x20);
    return cLower >= 'a' && cLower <= 'f' ? cLower - 'a' + 10 : -1;
}

std::string Decode(std::string_view strText)
{
    std::string strDecoded;
    for (size_t i = 0; i < strText.size(); ++i) {
        char c = strText[i];
        if (c == '%' && i + 2 < strText.size()) {
            const int iHigh = GetHexDigit(strText[i + 1]);
            const int iLow = GetHexDigit(strText[i + 2]);
            if (iHigh >= 0 && iLow >= 0) {
                c = static_cast<char>(iHigh * 16 + iLow);
                i += 2;
            }
        }
        strDecoded += c;
    }
    return strDecoded;
}

std::string GetLogin(const std::string &strURL)
{
    const span_t login = FindLogin(strURL);
    return strURL.substr(login.sizeStart, login.sizeCount);
}

std::string DecodeUser(const std::string &strLogin)
{
    return Decode(strLogin.substr(0, strLogin.find(':')));
}

std::string DecodePassword(const std::string &strLogin)
{
    const size_t sizeColon = strLogin.find(':');
    return sizeColon == std::string::npos ? "" : Decode(strLogin.substr(sizeColon + 1));
}

std::string RemoveLogin(std::string strURL)
{
    const span_t login = FindLogin(strURL);
    const bool bAt = strURL.compare(login.sizeStart + login.sizeCount, 1, "@") == 0;
    return strURL.erase(login.sizeStart, login.sizeCount + (bAt ? 1 : 0));
}

std::string ShortenValues(std::string strURL)
{
    std::vector<span_t> aValues = FindSecretValues(strURL);
    std::for_each(aValues.rbegin(), aValues.rend(), [&strURL](const span_t &value) {
        strURL.replace(value.sizeStart, value.sizeCount, "...");
    });
    return strURL;
}

} // namespace

clURL::clURL(const std::string &strText)
    : strUser(DecodeUser(GetLogin(strText))),
      strPassword(DecodePassword(GetLogin(strText))),
      strAddress(RemoveLogin(strText)),
      strShown(ShortenValues(strAddress))
{
}

bool clURL::IsURL(const std::string &strName)
{
    return strncasecmp(strName.c_str(), "http://", 7) == 0 ||
           strncasecmp(strName.c_str(), "https://", 8) == 0;
}

void clURL::Hide(char *cpText)
{
    if (!IsURL(cpText)) {
        return;
    }
    std::vector<span_t> aSecrets = FindSecretValues(cpText);
    aSecrets.push_back(FindLogin(cpText));
    for (const span_t &secret : aSecrets) {
        std::fill_n(cpText + secret.sizeStart, secret.sizeCount, '*');
    }
}

std::string clURL::GetFileName() const
{
    const size_t sizeHost = FindHost(strAddress);
    const std::string strPath = strAddress.substr(0, strAddress.find_first_of("?#", sizeHost));
    const size_t sizeSlash = strPath.rfind('/');
    std::string strName =
        sizeSlash < sizeHost ? std::string() : Decode(strPath.substr(sizeSlash + 1));
    std::replace_if(
        strName.begin(), strName.end(),
        [](char c) { return c == '/' || static_cast<uint8_t>(c) < 0x20 || c == 0x7F; }, '_');
    return strName.empty() ? NAME_OF_NAMELESS : strName;
}

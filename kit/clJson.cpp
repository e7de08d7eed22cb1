#include "kit/clJson.h"

#include "kit/Printable.h"

#include <cmath>
#include <utility>

#include <nlohmann/json.hpp>

struct clJson::object_t {
    nlohmann::ordered_json members = nlohmann::ordered_json::object();
};

namespace
{

// Not the replacement that the library offers: that makes one mark of several bad bytes.
std::string ReplaceBadBytes(const std::string &strText)
{
    std::string strResult;
    strResult.reserve(strText.size());
    for (size_t i = 0; i < strText.size();) {
        const character_t next = NextCharacter(strText, i);
        if (next.bValid) {
            strResult.append(strText, i, next.sizeBytes);
        } else {
            strResult += "\xEF\xBF\xBD"; // U+FFFD
        }
        i += next.sizeBytes;
    }
    return strResult;
}

} // namespace

clJson::clJson() : pObject(std::make_unique<object_t>()) {}

clJson::clJson(clJson &&other) noexcept = default;
clJson &clJson::operator=(clJson &&other) noexcept = default;
clJson::~clJson() = default;

clJson &clJson::SetNull(const char *cpKey)
{
    pObject->members[cpKey] = nullptr;
    return *this;
}

clJson &clJson::SetBool(const char *cpKey, bool bValue)
{
    pObject->members[cpKey] = bValue;
    return *this;
}

clJson &clJson::SetText(const char *cpKey, const std::string &strValue)
{
    pObject->members[cpKey] = ReplaceBadBytes(strValue);
    return *this;
}

clJson &clJson::SetTextOrNull(const char *cpKey, const std::string &strValue)
{
    return strValue.empty() ? SetNull(cpKey) : SetText(cpKey, strValue);
}

clJson &clJson::SetNumber(const char *cpKey, uint64_t uValue)
{
    pObject->members[cpKey] = uValue;
    return *this;
}

clJson &clJson::SetNumberOrNull(const char *cpKey, const std::optional<uint64_t> &uValue)
{
    return uValue ? SetNumber(cpKey, *uValue) : SetNull(cpKey);
}

clJson &clJson::SetSigned(const char *cpKey, int64_t lValue)
{
    pObject->members[cpKey] = lValue;
    return *this;
}

clJson &clJson::SetReal(const char *cpKey, double dValue)
{
    if (!std::isfinite(dValue)) {
        return SetNull(cpKey);
    }
    pObject->members[cpKey] = dValue;
    return *this;
}

clJson &clJson::SetTexts(const char *cpKey, const std::vector<std::string> &aValues)
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const std::string &strValue : aValues) {
        list.push_back(ReplaceBadBytes(strValue));
    }
    pObject->members[cpKey] = std::move(list);
    return *this;
}

clJson &clJson::SetObject(const char *cpKey, const clJson &value)
{
    pObject->members[cpKey] = value.pObject->members;
    return *this;
}

clJson &clJson::SetObjects(const char *cpKey, std::vector<clJson> aValues)
{
    nlohmann::ordered_json::array_t list;
    list.reserve(aValues.size());
    for (clJson &value : aValues) {
        list.push_back(std::move(value.pObject->members));
        value.pObject.reset(); // a long list is never in memory twice
    }
    pObject->members[cpKey] = std::move(list);
    return *this;
}

std::string clJson::GetLine() const
{
    return pObject->members.dump();
}

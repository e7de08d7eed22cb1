#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/**
 * One JSON object of one line; its members are printed in the order in which they were set. In
 * texts, each byte that is not UTF-8 becomes U+FFFD. One thread at a time.
 */
class clJson
{
public:
    clJson();
    clJson(clJson &&other) noexcept;
    clJson &operator=(clJson &&other) noexcept;
    clJson(const clJson &) = delete;
    clJson &operator=(const clJson &) = delete;
    ~clJson();

    // Setting a member again replaces its value. Each returns this object.
    clJson &SetNull(const char *cpKey);
    clJson &SetBool(const char *cpKey, bool bValue);
    clJson &SetText(const char *cpKey, const std::string &strValue);
    /** Null for an empty text. */
    clJson &SetTextOrNull(const char *cpKey, const std::string &strValue);
    clJson &SetNumber(const char *cpKey, uint64_t uValue);
    clJson &SetNumberOrNull(const char *cpKey, const std::optional<uint64_t> &uValue);
    clJson &SetSigned(const char *cpKey, int64_t lValue);
    /** The shortest form that reads back as the same value; null unless finite. */
    clJson &SetReal(const char *cpKey, double dValue);
    clJson &SetTexts(const char *cpKey, const std::vector<std::string> &aValues);
    clJson &SetObject(const char *cpKey, const clJson &value);
    clJson &SetObjects(const char *cpKey, std::vector<clJson> aValues);

    /** The object without a line end. */
    std::string GetLine() const;

private:
    struct object_t;
    std::unique_ptr<object_t> pObject;
};

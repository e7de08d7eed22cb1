#pragma once

#include <string>

/** An http:// or https:// URL, taken apart so that what is secret in it is never shown. Constant.
 */
class clURL
{
public:
    explicit clURL(const std::string &strText);

    /** Whether a name begins with http:// or https://, in any case of letters. */
    static bool IsURL(const std::string &strName);

    /** Replaces the characters of what is secret by asterisks if a text is a URL. */
    static void Hide(char *cpText);

    /** The file name that it suggests: its last segment, decoded, without slashes. */
    std::string GetFileName() const;

    const std::string strUser;     ///< decoded; empty when there is none
    const std::string strPassword; ///< as the user name
    /** Without user name and password. */
    const std::string strAddress;
    /** For messages: the address, with "..." for values of its query that may be secret. */
    const std::string strShown;
};

#include "base/clException.h"

#include <cstring>

clException::clException(const char *cpMessage) noexcept : iErrno(0), strMessage(cpMessage) {}

clException::clException(const char *cpMessage, int iErrorNumber) noexcept
    : iErrno(iErrorNumber),
      strMessage(cpMessage)
{
    clException::AppendErrorText();
}

clException::~clException() noexcept = default;

const char *clException::what() const noexcept
{
    return strMessage.c_str();
}

void clException::AppendErrorText()
{
    strMessage += ": ";
    strMessage += std::strerror(iErrno);
}

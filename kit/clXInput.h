#pragma once

#include "base/clException.h"

#include <string>

/** One input cannot be processed; the text is the reason for the user. */
class clXInput : public clException
{
public:
    explicit clXInput(const std::string &strReason) : clException(strReason.c_str()) {}
};

/** A compressed frame cannot be decoded. */
class clXFrame : public clXInput
{
public:
    using clXInput::clXInput;
};

#pragma once

#include "base/Export.h"

#include <exception>
#include <string>

/**
 * Base of all exceptions of the library. The text is "class::operation(): detail"; a layer that
 * passes an exception on prepends its own prefix (see WrapException). Constructors, destructor and
 * what() do not throw: a shortage of memory while a message is copied ends the process.
 */
class VANTREL_API clException : public std::exception
{
public:
    /** Copies the text; the error number is 0. */
    explicit clException(const char *cpMessage) noexcept;

    /** Appends ": " and the system's text for the error number, also for number 0. */
    clException(const char *cpMessage, int iErrorNumber) noexcept;

    clException(const clException &) noexcept = default;   ///< copies text and error number
    clException &operator=(const clException &) = default; ///< copies text and error number
    ~clException() noexcept override;

    /** Valid until this object changes or ends. */
    const char *what() const noexcept override;

    virtual void AppendErrorText(); ///< appends ": " and the system's text for iErrno

    int iErrno; ///< the error number; 0 without one

protected:
    std::string strMessage; ///< what() returns this
};

// Each subclass adds only its type, so that callers can catch by module.

/** Base of the failures of both DSD formats. */
class VANTREL_API clXDSD : public clException
{
public:
    using clException::clException;
};

/** A DSDIFF file or its sound that cannot be read. */
class VANTREL_API clXDSDIFF : public clXDSD
{
public:
    using clXDSD::clXDSD;
};

/** A DSF file that cannot be read or written. */
class VANTREL_API clXDSF : public clXDSD
{
public:
    using clXDSD::clXDSD;
};

/** A compressed frame of one-bit audio that cannot be decoded. */
class VANTREL_API clXDST : public clException
{
public:
    using clException::clException;
};

/** An ID3v2 tag that cannot be parsed. */
class VANTREL_API clXID3tag : public clException
{
public:
    using clException::clException;
};

/** A stream that cannot be opened, read or moved. */
class VANTREL_API clXStreamReader : public clException
{
public:
    using clException::clException;
};

/** A failed operation on a local file. */
class VANTREL_API clXFileIO : public clException
{
public:
    using clException::clException;
};

/** An address that is invalid or cannot be resolved. */
class VANTREL_API clXSocketAddr : public clException
{
public:
    using clException::clException;
};

/** A socket call that failed. */
class VANTREL_API clXSocket : public clException
{
public:
    using clException::clException;
};

/** An exceptional condition of a socket during a wait. */
class VANTREL_API clXSocketError : public clXSocket
{
public:
    using clXSocket::clXSocket;
};

/** Misuse of a clString, text that cannot be converted, or short memory. */
class VANTREL_API clXString : public clException
{
public:
    using clException::clException;
};

/** A failed operation of a clThread. */
class VANTREL_API clXThread : public clException
{
public:
    using clException::clException;
};

/** A failed operation of a clThreadsBase. */
class VANTREL_API clXThreads : public clException
{
public:
    using clException::clException;
};

/** A failed operation of a clThreadPool. */
class VANTREL_API clXThreadPool : public clException
{
public:
    using clException::clException;
};

/** Throws an X with a prefix, such as "class::operation(): ", and the text of the caught exception.
 * The error number is not copied, because the text already contains its message. */
template <class X>
[[noreturn]] void WrapException(const char *cpPrefix, const std::exception &caught)
{
    throw X((std::string(cpPrefix) + caught.what()).c_str());
}

/** Whether a destructor may throw: not during the unwinding of another exception, where a second
 * one would end the process. */
inline bool DestructorMayThrow() noexcept
{
    return std::uncaught_exceptions() == 0;
}

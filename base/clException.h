#pragma once

#include <exception>
#include <string>

/**
 * Root of every failure the library reports; never thrown itself.
 *
 * The text is "class::operation(): detail". A layer that passes a failure on puts its own prefix in
 * front (see WrapException), so the prefixes read from the outermost call inwards.
 *
 * Constructors, also the copying one, destructor and what() do not throw: running out of memory
 * while a message is copied ends the process.
 */
class clException : public std::exception
{
public:
    /** Keeps the text exactly as given; the error number is 0. */
    explicit clException(const char *cpMessage) noexcept;

    /** The text, ": " and the system's text for the error number, also for number 0. */
    clException(const char *cpMessage, int iErrorNumber) noexcept;

    clException(const clException &) noexcept = default;
    clException &operator=(const clException &) = default;
    ~clException() noexcept override;

    /** The whole message, NUL-terminated; valid as long as this object lives. */
    const char *what() const noexcept override;

    /** Appends ": " and strerror() of the error number to the message. */
    virtual void AppendErrorText();

    /** The error number given to the constructor, 0 when none was. */
    int iErrno;

protected:
    std::string strMessage;
};

// The family. A class adds nothing but its type, so that callers can catch by module.

/** Anything wrong with a DSD file, of either format. */
class clXDSD : public clException
{
public:
    using clException::clException;
};

/** DSDIFF chunks and reader. */
class clXDSDIFF : public clXDSD
{
public:
    using clXDSD::clXDSD;
};

/** DSF reader and writer. */
class clXDSF : public clXDSD
{
public:
    using clXDSD::clXDSD;
};

/** ID3v2 cursor, frames and tag. */
class clXID3tag : public clException
{
public:
    using clException::clException;
};

/** Stream factory and stream readers. */
class clXStreamReader : public clException
{
public:
    using clException::clException;
};

/** Files. */
class clXFileIO : public clException
{
public:
    using clException::clException;
};

/** Socket addresses. */
class clXSocketAddr : public clException
{
public:
    using clException::clException;
};

/** A socket call that failed. */
class clXSocket : public clException
{
public:
    using clException::clException;
};

/** An exceptional condition that a wait saw on a socket, unlike a call that failed. */
class clXSocketError : public clXSocket
{
public:
    using clXSocket::clXSocket;
};

/** String class and its conversions. */
class clXString : public clException
{
public:
    using clException::clException;
};

/** Single threads. */
class clXThread : public clException
{
public:
    using clException::clException;
};

/** Thread groups. */
class clXThreads : public clException
{
public:
    using clException::clException;
};

/** Thread pool. */
class clXThreadPool : public clException
{
public:
    using clException::clException;
};

/**
 * Throws an X whose text is the prefix followed by the text of the caught exception. The error
 * number is not carried over, since its text is part of the caught message already.
 *
 * @param cpPrefix "class::operation(): ", with its trailing blank
 */
template <class X>
[[noreturn]] void WrapException(const char *cpPrefix, const std::exception &caught)
{
    throw X((std::string(cpPrefix) + caught.what()).c_str());
}

/**
 * Whether a destructor that reports failures by throwing may do so: not while another exception is
 * on its way, since a second one would end the process.
 */
inline bool DestructorMayThrow() noexcept
{
    return std::uncaught_exceptions() == 0;
}

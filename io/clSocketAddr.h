#pragma once

#include "base/Export.h"
#include "base/clString.h"

#include <cstdint>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

/**
 * The address of a socket: a value type, with one subclass for each address family. This base has
 * no family. Invalid arguments and failures of the resolver throw clXSocketAddr.
 */
class VANTREL_API clSocketAddr
{
public:
    clSocketAddr() = default;
    clSocketAddr(const clSocketAddr &) = default;            ///< copies nothing
    clSocketAddr &operator=(const clSocketAddr &) = default; ///< copies nothing
    virtual ~clSocketAddr();

    virtual const char *GetFamilyName() const; ///< "null", "local", "ipv4" or "ipv6"
    virtual int GetFamily() const;             ///< AF_LOCAL, AF_INET or AF_INET6; 0 in this base

    /** Owned by this object, valid as long as it; null in this base. */
    virtual const sockaddr *GetSockAddr() const;

    virtual socklen_t GetSize() const; ///< bytes of the structure; 0 in this base

    /** Copies a raw structure; this base ignores it.
     * @throws clXSocketAddr for null and for any size but GetSize() */
    virtual void Set(const sockaddr *spNewAddr, socklen_t size);

    virtual clString AsString() const; ///< the numeric address, or the path of a local socket

    /** AsString(), ":" and the port for families with ports; without brackets. */
    virtual clString AsStringPort() const;

    /** The resolver's name, or the numeric address; empty for families without names. */
    virtual clString AsHostName() const;
};

/** The path of a socket in the file system. */
class VANTREL_API clSocketAddrLocal : public clSocketAddr
{
public:
    const char *GetFamilyName() const override;
    int GetFamily() const override;
    const sockaddr *GetSockAddr() const override;
    socklen_t GetSize() const override;
    void Set(const sockaddr *spNewAddr, socklen_t size) override;
    clString AsString() const override;

    virtual void Copy(const clSocketAddrLocal &source); ///< as the assignment

    /** Cuts the path after 107 bytes; null makes it empty. */
    void Set(const char *cpPath);

private:
    sockaddr_un addrLocal = {AF_LOCAL, {}};
};

/** An IPv4 address and a port; the wildcard address and port 0 from the start. */
class VANTREL_API clSocketAddrIPv4 : public clSocketAddr
{
public:
    const char *GetFamilyName() const override;
    int GetFamily() const override;
    const sockaddr *GetSockAddr() const override;
    socklen_t GetSize() const override;
    void Set(const sockaddr *spNewAddr, socklen_t size) override;
    clString AsString() const override;
    clString AsStringPort() const override;
    clString AsHostName() const override;

    virtual clString AsHostNamePort() const;           ///< AsHostName(), ":" and the port
    virtual uint16_t GetPort() const;                  ///< in host byte order
    virtual void Copy(const clSocketAddrIPv4 &source); ///< as the assignment

    /** Sets a numeric address or the first answer of the resolver; uPort is in host byte order.
     * @param cpHost null is the wildcard address; pass static_cast<const char *>(nullptr), because
     * a plain nullptr is ambiguous
     * @throws clXSocketAddr for a name that the resolver does not find; the address is unchanged */
    void Set(const char *cpHost, uint16_t uPort);

private:
    sockaddr_in addrIPv4 = {AF_INET, 0, {}, {}};
};

/** An IPv6 address and a port; the wildcard address and port 0 from the start. */
class VANTREL_API clSocketAddrIPv6 : public clSocketAddr
{
public:
    const char *GetFamilyName() const override;
    int GetFamily() const override;
    const sockaddr *GetSockAddr() const override;
    socklen_t GetSize() const override;
    void Set(const sockaddr *spNewAddr, socklen_t size) override;
    clString AsString() const override;
    clString AsStringPort() const override;
    clString AsHostName() const override;

    virtual clString AsHostNamePort() const;           ///< AsHostName(), ":" and the port
    virtual uint16_t GetPort() const;                  ///< in host byte order
    virtual void Copy(const clSocketAddrIPv6 &source); ///< as the assignment

    /** As clSocketAddrIPv4::Set. */
    void Set(const char *cpHost, uint16_t uPort);

private:
    sockaddr_in6 addrIPv6 = {AF_INET6, 0, 0, {}, 0};
};

/** Makes the address object of the matching class; the caller deletes it. */
class VANTREL_API clSocketAddrDetect
{
public:
    /** Chooses the family only by the size. @throws clXSocketAddr for any other size. Most local
     * sockets report one, because the system cuts their structure after the path */
    static clSocketAddr *GetAddr(const sockaddr *spAddr, socklen_t size);

    /** Resolves "host" or "host:service"; without a service the port is 0. Splits at the first
     * colon, so numeric IPv6 addresses are not possible.
     * @throws clXSocketAddr without a host, or when the resolver finds nothing */
    static clSocketAddr *GetAddr(const clString &strText);

    /** Returns the resolver's first answer. @throws clXSocketAddr with the resolver's code in
     * iErrno, when it finds nothing; for a family without a class here */
    static clSocketAddr *GetAddr(const char *cpNode, const char *cpService);
};

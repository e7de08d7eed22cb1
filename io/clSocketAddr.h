#pragma once

#include "base/clString.h"

#include <cstdint>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

/**
 * The address of a socket: one class per family, each around the sockaddr structure of the system.
 *
 * Plain values without a resource behind them. This base is the address of no family. What a family
 * refuses, and what the resolver does not find, throws clXSocketAddr.
 */
class clSocketAddr
{
public:
    clSocketAddr() = default;
    clSocketAddr(const clSocketAddr &) = default;
    clSocketAddr &operator=(const clSocketAddr &) = default;
    virtual ~clSocketAddr();

    /** "null", "local", "ipv4" or "ipv6". */
    virtual const char *GetFamilyName() const;
    virtual int GetFamily() const;

    /** The structure held, null in this base; valid as long as this object lives. */
    virtual const sockaddr *GetSockAddr() const;

    /** Bytes of the structure held. */
    virtual socklen_t GetSize() const;

    /**
     * Copies a raw structure.
     * @throws clXSocketAddr for null, then for any size but GetSize(); this base ignores the call
     */
    virtual void Set(const sockaddr *spNewAddr, socklen_t size);

    /** The numeric address, or the path of a local socket. */
    virtual clString AsString() const;

    /** AsString() and, for families that have one, ":" and the port; never any brackets. */
    virtual clString AsStringPort() const;

    /** The name the resolver knows the address by, or the numeric address; empty without a
     * resolver. */
    virtual clString AsHostName() const;
};

/** The path of a socket in the file system. */
class clSocketAddrLocal : public clSocketAddr
{
public:
    const char *GetFamilyName() const override;
    int GetFamily() const override;
    const sockaddr *GetSockAddr() const override;
    socklen_t GetSize() const override;
    void Set(const sockaddr *spNewAddr, socklen_t size) override;
    clString AsString() const override;

    virtual void Copy(const clSocketAddrLocal &source);

    /** Keeps at most 107 bytes of the path; null makes it empty. */
    void Set(const char *cpPath);

private:
    sockaddr_un addrLocal = {AF_LOCAL, {}};
};

/** An IPv4 address and a port; the wildcard address and port 0 from the start. */
class clSocketAddrIPv4 : public clSocketAddr
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

    virtual clString AsHostNamePort() const;
    /** In host byte order. */
    virtual uint16_t GetPort() const;
    virtual void Copy(const clSocketAddrIPv4 &source);

    /**
     * Takes a numeric address or else asks the resolver, whose first answer counts.
     *
     * @param cpHost null is the wildcard address; written as static_cast<const char *>(nullptr),
     *               since a bare nullptr fits the raw structure of the other Set as well
     * @param uPort  in host byte order
     * @throws clXSocketAddr for a name the resolver does not know; the address stays as it was
     */
    void Set(const char *cpHost, uint16_t uPort);

private:
    sockaddr_in addrIPv4 = {AF_INET, 0, {}, {}};
};

/** An IPv6 address and a port; the wildcard address and port 0 from the start. */
class clSocketAddrIPv6 : public clSocketAddr
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

    virtual clString AsHostNamePort() const;
    /** In host byte order. */
    virtual uint16_t GetPort() const;
    virtual void Copy(const clSocketAddrIPv6 &source);

    /** As clSocketAddrIPv4::Set. */
    void Set(const char *cpHost, uint16_t uPort);

private:
    sockaddr_in6 addrIPv6 = {AF_INET6, 0, 0, {}, 0};
};

/** Makes the address object that fits; the caller owns and deletes what is returned. */
class clSocketAddrDetect
{
public:
    /**
     * Chooses the family by the size alone.
     * @throws clXSocketAddr for a size of no family, which most local sockets report: the system
     * cuts their structure behind the path
     */
    static clSocketAddr *GetAddr(const sockaddr *spAddr, socklen_t size);

    /**
     * Resolves "host" or "host:service", split at the first colon, so that a numeric IPv6 address
     * cannot be given; port 0 without a service.
     *
     * @throws clXSocketAddr without a host, or when the resolver finds nothing
     */
    static clSocketAddr *GetAddr(const clString &strText);

    /**
     * The resolver's first answer; the resolver's own code is the error number of the exception.
     * @throws clXSocketAddr when the resolver finds nothing, or a family without a class here
     */
    static clSocketAddr *GetAddr(const char *cpNode, const char *cpService);
};

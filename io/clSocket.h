#pragma once

#include "base/Export.h"
#include "base/clAlloc.h"

#include <cstddef>
#include <cstdint>

#include <sys/socket.h>
#include <sys/types.h> // for ssize_t

class clSocketAddr;
class clString;

/** Bytes of the line buffer of clSocket. */
inline constexpr size_t SOCKETOP_READBUF_SIZE = 4096;

/**
 * Owns one socket descriptor: system calls that throw, waits and a connect with time-outs, and
 * lines for text protocols.
 *
 * One thread at a time. A system call that fails throws clXSocket, with the system's text unless a
 * member says otherwise; a closed peer never raises a signal. Byte counts may be short. The sizes
 * of raw structures and options are not checked. Closing is no cancellation point. Waits use
 * select(2): time-outs are in milliseconds, a signal counts as a time-out, and a closed descriptor
 * or one of FD_SETSIZE or more throws clXSocket.
 */
class VANTREL_API clSocket
{
public:
    clSocket();
    clSocket(const clSocket &) = delete;

    /** Duplicates the source's descriptor; iSockH is -1 if that fails. Does not close the current
     * descriptor: call Close first. Compatibility: callers rely on it. */
    clSocket &operator=(const clSocket &source);

    /** Closes the descriptor if bAutoClose is set; ignores errors. */
    virtual ~clSocket() noexcept;

    // ---- opening and closing ----

    /** Closes the current socket and makes a new one. */
    void Create(int iFamily, int iType, int iProtocol);

    /** socketpair(2); both sockets close their current descriptor first. */
    void CreatePair(int iFamily, int iType, int iProtocol, clSocket &other);

    void Bind(const clSocketAddr &addr);    ///< bind(2)
    void Listen(int iBacklog);              ///< listen(2)
    void Connect(const clSocketAddr &addr); ///< connect(2)

    /** Connects with a time-out, below 0 as 0; the socket is blocking afterwards. A refusal during
     * the wait counts as connected and makes the first transfer fail.
     * @return false after the time-out */
    bool Connect(const clSocketAddr &addr, int iTimeoutMs);

    /** Waits for a connection, for ever if uTimeoutMs is 0.
     * @param ppPeer receives the peer's address, which the caller deletes, or null after a time-out
     * or failure; may be null
     * @return the connection's descriptor, owned by the caller; -1 after the time-out
     * @throws clXSocketAddr after closing the connection, for a requested address without a class,
     * such as that of most local peers */
    int Accept(clSocketAddr **ppPeer = nullptr, unsigned uTimeoutMs = 0);
    int Accept(std::nullptr_t, unsigned uTimeoutMs = 0); ///< as above

    /** As above; *pSize is the room at spPeer and receives the size of the address. */
    int Accept(sockaddr *spPeer, socklen_t *pSize, unsigned uTimeoutMs = 0);

    void Shutdown(int iHow); ///< shutdown(2)

    /** Does nothing on a closed socket. The socket is closed also after a failure. */
    void Close();

    // ---- transfer ----

    ssize_t Read(void *pBuffer, size_t sizeBuffer); ///< read(2); iSockH may be a pipe or a file
    ssize_t Write(const void *pBuffer, size_t sizeBuffer);            ///< write(2); as Read
    ssize_t Recv(void *pBuffer, size_t sizeBuffer, int iFlags);       ///< recv(2)
    ssize_t Send(const void *pBuffer, size_t sizeBuffer, int iFlags); ///< send(2)
    /** recvfrom(2) */
    ssize_t RecvFrom(void *pBuffer, size_t sizeBuffer, int iFlags, sockaddr *spFrom,
                     socklen_t *pSize);
    /** sendto(2) */
    ssize_t SendTo(const void *pBuffer, size_t sizeBuffer, int iFlags, const sockaddr *spTo,
                   socklen_t size);
    ssize_t RecvMsg(msghdr *pMessage, int iFlags);       ///< recvmsg(2)
    ssize_t SendMsg(const msghdr *pMessage, int iFlags); ///< sendmsg(2)

    /** Reads one line up to a line feed or a zero byte. Drops a carriage return and what follows it
     * in the line, or in the piece that was read. Compatibility: callers rely on it.
     * @param strLine receives the line without its end, or the part before a failure
     * @param uTimeoutMs time-out of each wait for bytes; 0 waits for ever
     * @return the length; 0 also when the peer has closed; -1 after a time-out */
    ssize_t GetLine(clString &strLine, unsigned uTimeoutMs = 0);

    /** As GetLine, but appends only the part of a line that has arrived; bComplete receives whether
     * the line ends with it. Blocks until a byte arrives.
     * @return the bytes received, not all of them appended; 0 when the peer has closed */
    ssize_t GetLinePiece(clString &strLine, bool &bComplete);

    /** Sends a text and, if it contains no line feed, one after it.
     * @return the bytes sent
     * @throws clXSocket also when only a part was sent */
    ssize_t SendLine(const char *cpText);
    ssize_t SendLine(const clString &strText); ///< as above

    // ---- waiting ----

    /** Waits until the socket can be read. @return false after the time-out
     * @throws clXSocketError for an exceptional condition of the socket, such as urgent data */
    bool WaitRead(unsigned uTimeoutMs);
    /** Waits for ever; a signal may end the wait early. */
    void WaitRead();
    bool WaitWrite(unsigned uTimeoutMs);     ///< as WaitRead, until it can send
    bool WaitReadWrite(unsigned uTimeoutMs); ///< as WaitRead, until it can be read or can send

    /** Whether the peer can still send; receives nothing. False if a call fails. */
    bool IsConnected();

    // ---- options and addresses ----

    void SetOption(int iLevel, int iName, const void *pValue, socklen_t size); ///< setsockopt(2)
    /** getsockopt(2); *pSize is the room at pValue and receives the size of the value. */
    void GetOption(int iLevel, int iName, void *pValue, socklen_t *pSize);
    void SetBlocking(bool bBlocking); ///< whether calls wait; failures lack the system's text
    /** Whether the system may delay small sends to combine them. */
    void SetNagle(bool bEnable);
    void SetReUse(bool bEnable); ///< whether Bind takes an address still in use (SO_REUSEADDR)

    /** The local address; *pSize is the room at spAddr and receives the size of the address. */
    void GetSockName(sockaddr *spAddr, socklen_t *pSize);
    void GetPeerName(sockaddr *spAddr, socklen_t *pSize); ///< as GetSockName, of the peer
    /** As above; the caller deletes the object.
     * @throws clXSocketAddr for an address without a class */
    clSocketAddr *GetSockName();
    clSocketAddr *GetPeerName(); ///< as GetSockName, of the peer

    // ---- multicast ----

    /** Joins a multicast group. As all members for groups, ignores other families than IPv4 and
     * IPv6, and uses the option numbers of IPv4 for both. Compatibility: callers rely on it.
     * @param pInterface the interface's address (IPv4) or its index as scope (IPv6); null lets the
     * system choose
     * @throws clXSocket also when the families differ */
    void JoinGroup(const clSocketAddr &group, const clSocketAddr *pInterface = nullptr);
    /** Leaves a group; otherwise as JoinGroup. */
    void LeaveGroup(const clSocketAddr &group, const clSocketAddr *pInterface = nullptr);
    void SetMulticastIf(const clSocketAddr &addr); ///< of packets to groups
    /** The time to live of packets to groups. */
    void SetMulticastTTL(const clSocketAddr &addr, uint8_t uHops);
    /** Whether this host receives its own packets to groups. */
    void SetMulticastLoop(const clSocketAddr &addr, bool bLoop);

    // Callers may read and write these.
    uint64_t sizeRecvCount = 0; ///< bytes that the last GetLine found in the socket
    clAlloc allocReadBuf;       ///< the line buffer of GetLine
    bool bAutoClose = true;     ///< whether the destructor closes the descriptor
    int32_t iSockH = -1;        ///< the descriptor; -1 when closed
};

/** Waits on several sockets at once, with the semantics of clSocket's waits. */
class VANTREL_API clSocketOp
{
public:
    /** Waits until one can be read.
     * @return bit i modulo 32 is set when descriptor i of uCount is ready; 0 after the time-out
     * @throws clXSocket for null and for a descriptor out of the range of select(2); clXSocketError
     * for an exceptional condition of one of them */
    static uint32_t WaitRead(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
    /** As WaitRead. */
    static uint32_t WaitWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
    /** As WaitRead. */
    static uint32_t WaitReadWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
};

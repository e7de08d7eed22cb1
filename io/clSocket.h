#pragma once

#include "base/clAlloc.h"

#include <cstddef>
#include <cstdint>

#include <sys/socket.h>
#include <sys/types.h> // for ssize_t

class clSocketAddr;
class clString;

/** Bytes of the line buffer of clSocket::GetLine. */
inline constexpr size_t SOCKETOP_READBUF_SIZE = 4096;

/**
 * Owns one socket descriptor: the system's calls with exceptions instead of results, waits and a
 * connect with time-outs, and lines for text protocols.
 *
 * One thread at a time. A call that fails throws clXSocket with the system's text. A peer that has
 * gone is such a failure too and never a signal. Counts of bytes may be short, as the system
 * returns them. Raw structures and options are passed on as they are; their sizes are not checked.
 * Closing is no point where a thread can be cancelled.
 *
 * Waits are made with select(2): time-outs are milliseconds, a signal counts as a time-out, and a
 * closed descriptor or one from FD_SETSIZE on is refused with clXSocket.
 */
class clSocket
{
public:
    clSocket();
    clSocket(const clSocket &) = delete;

    /**
     * Takes a duplicate of the source's descriptor, -1 when there is none to be had. Deliberately
     * minimal: the descriptor held before is not closed, call Close first.
     */
    clSocket &operator=(const clSocket &source);

    /** Closes the descriptor if bAutoClose is set; errors of that are swallowed. */
    virtual ~clSocket() noexcept;

    // ---- opening and closing ----

    /** Closes what was open and makes a new socket. */
    void Create(int iFamily, int iType, int iProtocol);

    /** Makes two connected sockets, this one and the other, which both close what they held. */
    void CreatePair(int iFamily, int iType, int iProtocol, clSocket &other);

    void Bind(const clSocketAddr &addr);
    void Listen(int iBacklog);
    void Connect(const clSocketAddr &addr);

    /**
     * Connects without blocking for longer than the time-out; the socket is blocking afterwards.
     * A refusal that arrives during the wait counts as connected and shows in the first transfer.
     *
     * @param iTimeoutMs below 0 as 0
     * @return false when the peer has not answered in time
     */
    bool Connect(const clSocketAddr &addr, int iTimeoutMs);

    /**
     * Waits for a connection.
     *
     * @param ppPeer     receives a new object with the peer's address, which the caller deletes;
     *                   null after a time-out or a failure. Null: the address is not wanted
     * @param uTimeoutMs 0 waits without limit
     * @return the connection's descriptor, owned by the caller; -1 after a time-out
     * @throws clXSocketAddr as clSocketAddrDetect when an address is wanted that has no class, that
     *         of most local peers for example; the connection is closed then
     */
    int Accept(clSocketAddr **ppPeer = nullptr, unsigned uTimeoutMs = 0);
    int Accept(std::nullptr_t, unsigned uTimeoutMs = 0);

    /** As above, with a raw structure: *pSize is its room and receives the size of the address. */
    int Accept(sockaddr *spPeer, socklen_t *pSize, unsigned uTimeoutMs = 0);

    /** iHow is SHUT_RD, SHUT_WR or SHUT_RDWR. */
    void Shutdown(int iHow);

    /** Nothing happens on a closed socket. After a failure the socket counts as closed as well. */
    void Close();

    // ---- transfer ----

    // Read and Write also take the descriptor of a pipe or a file in iSockH.
    ssize_t Read(void *pBuffer, size_t sizeBuffer);
    ssize_t Write(const void *pBuffer, size_t sizeBuffer);
    ssize_t Recv(void *pBuffer, size_t sizeBuffer, int iFlags);
    ssize_t Send(const void *pBuffer, size_t sizeBuffer, int iFlags);
    ssize_t RecvFrom(void *pBuffer, size_t sizeBuffer, int iFlags, sockaddr *spFrom,
                     socklen_t *pSize);
    ssize_t SendTo(const void *pBuffer, size_t sizeBuffer, int iFlags, const sockaddr *spTo,
                   socklen_t size);
    ssize_t RecvMsg(msghdr *pMessage, int iFlags);
    ssize_t SendMsg(const msghdr *pMessage, int iFlags);

    /**
     * Reads one line, which a line feed or a zero byte ends. What stands between a carriage return
     * and the end of the line, or of the piece that was read, is dropped; this is deliberate.
     *
     * @param strLine    receives the line without its end; also the part that came before a failure
     * @param uTimeoutMs longest silence of the peer, 0 without limit
     * @return the length; 0 also when the peer has closed; -1 when it was silent for too long
     */
    ssize_t GetLine(clString &strLine, unsigned uTimeoutMs = 0);

    /**
     * Appends the part of a line that has arrived, for callers that wait or limit the length
     * themselves. Blocks when nothing has.
     *
     * @param strLine   receives what GetLine would keep of it
     * @param bComplete whether the line ends with this part
     * @return the bytes taken from the socket, which may be more than were appended; 0 when the
     *         peer has closed
     */
    ssize_t GetLinePiece(clString &strLine, bool &bComplete);

    /**
     * Sends a text, and a line feed behind it if there is none anywhere in it.
     * @return the bytes sent
     * @throws clXSocket also when not all of them were sent
     */
    ssize_t SendLine(const char *cpText);
    ssize_t SendLine(const clString &strText);

    // ---- waiting ----

    /**
     * @return false after the time-out
     * @throws clXSocketError for an exceptional condition of the socket, as urgent data
     */
    bool WaitRead(unsigned uTimeoutMs);
    /** Waits without limit; a signal may end the wait early. */
    void WaitRead();
    bool WaitWrite(unsigned uTimeoutMs);
    bool WaitReadWrite(unsigned uTimeoutMs);

    /** Whether the peer can still send, found without taking any byte; false in doubt. */
    bool IsConnected();

    // ---- options and addresses ----

    void SetOption(int iLevel, int iName, const void *pValue, socklen_t size);
    /** *pSize is the room at pValue and receives the size of the value. */
    void GetOption(int iLevel, int iName, void *pValue, socklen_t *pSize);
    void SetBlocking(bool bBlocking);
    /** Whether small sends may wait for each other. */
    void SetNagle(bool bEnable);
    void SetReUse(bool bEnable);

    /** *pSize is the room at spAddr and receives the size of the address. */
    void GetSockName(sockaddr *spAddr, socklen_t *pSize);
    void GetPeerName(sockaddr *spAddr, socklen_t *pSize);
    /** A new object, which the caller deletes. @throws clXSocketAddr as clSocketAddrDetect */
    clSocketAddr *GetSockName();
    clSocketAddr *GetPeerName();

    // ---- multicast: the group's family decides, families other than IP are ignored. The option
    // numbers are those of IPv4 for both families; this is deliberate. ----

    /**
     * @param pInterface address of the interface (IPv4) or its index as the scope (IPv6); null
     *                   leaves the choice to the system
     * @throws clXSocket also for an interface of another family than the group
     */
    void JoinGroup(const clSocketAddr &group, const clSocketAddr *pInterface = nullptr);
    void LeaveGroup(const clSocketAddr &group, const clSocketAddr *pInterface = nullptr);
    void SetMulticastIf(const clSocketAddr &addr);
    void SetMulticastTTL(const clSocketAddr &addr, uint8_t uHops);
    void SetMulticastLoop(const clSocketAddr &addr, bool bLoop);

    // Readable and writable by callers that work with the descriptor itself.

    /** Bytes that the last GetLine found waiting. */
    uint64_t sizeRecvCount = 0;
    /** The line buffer of GetLine. */
    clAlloc allocReadBuf;
    /** Whether the destructor closes the descriptor. */
    bool bAutoClose = true;
    /** The descriptor, -1 when closed. */
    int32_t iSockH = -1;
};

/** Waits on several sockets at once, otherwise as those of clSocket. */
class clSocketOp
{
public:
    /**
     * @param ipSockH descriptors, uCount of them
     * @return bit i modulo 32 is set when descriptor i is ready; 0 after the time-out
     * @throws clXSocket for null and for descriptors that select(2) cannot take; clXSocketError for
     *         an exceptional condition of one of them
     */
    static uint32_t WaitRead(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
    static uint32_t WaitWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
    static uint32_t WaitReadWrite(const int *ipSockH, unsigned uCount, unsigned uTimeoutMs);
};

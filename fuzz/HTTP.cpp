// Answers of a web server. Every connect(2) of the reader gives one end of a socket pair whose
// other end contains the next answer of the input. It needs no ports and no threads, and never
// waits, since an answer always ends.

#include "base/clString.h"
#include "fuzz/Use.h"
#include "io/clStreamReaderHTTP.h"

#include <cerrno>
#include <deque>

#include <sys/socket.h>
#include <unistd.h>

namespace
{

constexpr size_t READ_SIZE = 5000;

constexpr size_t MAX_LINE_SIZE = 65536;
constexpr size_t MAX_HEADER_LINES = 1000;

struct clReader : clStreamReaderHTTP {
    using clStreamReaderHTTP::clStreamReaderHTTP;
    using clStreamReaderHTTP::mapHeaders;
};

// How a connection behaves, from the first byte of its answer.
enum manner_t : uint8_t { REFUSED = 1, PENDING = 2, GONE = 4, DRIBBLE = 8 };

std::deque<std::string> answers;
int iServerH = -1;
size_t sizeDribble = SIZE_MAX;

void CloseServer()
{
    if (iServerH >= 0) {
        close(iServerH);
        iServerH = -1;
    }
}

} // namespace

extern "C" int connect(int iSockH, const sockaddr * /*spAddr*/, socklen_t /*size*/)
{
    CloseServer();
    const std::string strAnswer = answers.empty() ? std::string(1, REFUSED) : answers.front();
    const auto uManner = static_cast<uint8_t>(strAnswer.empty() ? 0 : strAnswer[0]);
    if (!answers.empty()) {
        answers.pop_front();
    }
    if ((uManner & REFUSED) != 0) {
        errno = ECONNREFUSED;
        return -1;
    }
    int aSockH[2];
    Check(socketpair(AF_UNIX, SOCK_STREAM, 0, aSockH) == 0, "no socket pair");
    dup2(aSockH[0], iSockH);
    close(aSockH[0]);
    iServerH = aSockH[1];
    sizeDribble = (uManner & DRIBBLE) != 0 ? 1 + (uManner >> 4U) : SIZE_MAX;
    if (strAnswer.size() > 1) {
        send(iServerH, strAnswer.data() + 1, strAnswer.size() - 1, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
    shutdown(iServerH, SHUT_WR);
    if ((uManner & GONE) != 0) {
        CloseServer();
    }
    errno = EINPROGRESS;
    return (uManner & PENDING) != 0 ? -1 : 0;
}

// Delivers late, as a network does.
extern "C" ssize_t recv(int iSockH, void *pBuffer, size_t sizeBuffer, int iFlags)
{
    const size_t sizeMost = (iFlags & MSG_WAITALL) != 0 ? SIZE_MAX : sizeDribble;
    return recvfrom(iSockH, pBuffer, std::min(sizeBuffer, sizeMost), iFlags, nullptr, nullptr);
}

void Fuzz(const uint8_t *pData, size_t sizeData)
{
    // The reader prints the head of each answer.
    static const bool bQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    Check(bQuiet, "no /dev/null");

    clInput input(pData, sizeData);
    std::string strSteps;
    for (uint8_t uCount = input.LastByte() % 16; uCount != 0; --uCount) {
        strSteps += static_cast<char>(input.LastByte());
    }
    answers.assign(1, "");
    for (const char c : input.Text()) {
        // The separator of the answers.
        if (c == '\f') {
            answers.emplace_back();
        } else {
            answers.back() += c;
        }
    }
    Try([&] {
        clReader reader(clString("http://127.0.0.1:1/a.dff?x=1"));
        std::vector<uint8_t> out(READ_SIZE);
        for (const char c : strSteps) {
            const int iStep = static_cast<uint8_t>(c);
            Try([&] {
                switch (iStep % 8) {
                case 0:
                    CloseServer();
                    break;
                case 1:
                    reader.Close();
                    break;
                case 2:
                    reader.Skip(off_t{iStep / 8} * iStep);
                    break;
                case 3:
                case 4:
                    reader.Seek(iStep / 8);
                    Check(reader.Tell() == iStep / 8, "not where it was sought");
                    break;
                default:
                    Check(reader.Read(out.data(), out.size()) <= ssize_t{READ_SIZE},
                          "read more than was asked for");
                }
            });
            Touch(reader.GetMimeType(), std::strlen(reader.GetMimeType()));
            Check(reader.mapHeaders.size() <= MAX_HEADER_LINES, "too many headers");
            for (const auto &[strName, strValue] : reader.mapHeaders) {
                Check(strName.sizeStr + strValue.sizeStr < MAX_LINE_SIZE, "header too long");
            }
            Check(reader.GetSize() >= 0 && reader.Tell() >= 0, "negative size or position");
            Check(reader.IsEOF() == (reader.Tell() >= reader.GetSize()), "end in the middle");
        }
    });
    CloseServer();
}

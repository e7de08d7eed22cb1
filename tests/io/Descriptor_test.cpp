#include "io/clFileIO.h"
#include "io/clSocket.h"
#include "io/clStreamReaderFile.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TempFolder.h"

#include <string>

#include <pthread.h>

namespace
{

// Cancels the calling thread and enables cancellation: it ends at the next cancellation point.
void CancelSelf()
{
    pthread_cancel(pthread_self());
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

/** A function that calls CancelSelf() and then closes a descriptor. */
struct closing_t {
    const char *cpName;
    void (*fnClose)(const char *cpPath);

    const char *cpPath = nullptr;
    bool bReturned = false;
};

void *RunClosing(void *pArg)
{
    auto &closing = *static_cast<closing_t *>(pArg);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    closing.fnClose(closing.cpPath);
    closing.bReturned = true;
    pthread_testcancel();
    return nullptr;
}

constexpr auto READ = clFileIO::ACCESS_READ;

} // namespace

TEST(Descriptor, ClosingDefersAPendingCancellation)
{
    closing_t aRows[] = {
        {"~clFileIO",
         [](const char *cpPath) {
             const clFileIO file(cpPath, READ, 0);
             CancelSelf();
         }},
        {"clFileIO::Close()",
         [](const char *cpPath) {
             clFileIO file(cpPath, READ, 0);
             CancelSelf();
             file.Close();
         }},
        {"~clStreamReaderFile",
         [](const char *cpPath) {
             const clStreamReaderFile reader((clString(cpPath)));
             CancelSelf();
         }},
        {"~clSocket",
         [](const char *) {
             clSocket sock;
             sock.Create(AF_LOCAL, SOCK_STREAM, 0);
             CancelSelf();
         }},
        {"clSocket::Close()",
         [](const char *) {
             clSocket sock;
             sock.Create(AF_LOCAL, SOCK_STREAM, 0);
             CancelSelf();
             sock.Close();
         }},
    };
    const TempFolder folder;
    const std::string strPath = folder.Write("file", {1});
    for (closing_t &closing : aRows) {
        SCOPED_TRACE(closing.cpName);
        const DescriptorCheck check;
        closing.cpPath = strPath.c_str();
        pthread_t thread{};
        ASSERT_EQ(0, pthread_create(&thread, nullptr, RunClosing, &closing));
        void *pResult = nullptr;
        pthread_join(thread, &pResult);
        EXPECT_TRUE(closing.bReturned);
        EXPECT_EQ(PTHREAD_CANCELED, pResult) << "cancellation lost";
    }
}

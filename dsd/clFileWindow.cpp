#include "dsd/clFileWindow.h"

#include "io/clStreamReader.h"

#include <algorithm>
#include <cstring>

clFileWindow::clFileWindow(clStreamReader &streamFile)
    : stream(streamFile),
      uFileSize(static_cast<uint64_t>(std::max<int64_t>(streamFile.GetSize(), 0)))
{
}

void clFileWindow::Read(uint64_t uOffset, void *pBuffer, size_t sizeBuffer)
{
    auto *pDest = static_cast<uint8_t *>(pBuffer);
    while (sizeBuffer != 0) {
        if (uOffset < uStart || uOffset - uStart >= sizeHeld) {
            sizeHeld = 0;
            if (uOffset < uFileSize) {
                uStart = uOffset;
                stream.Seek(static_cast<off_t>(uOffset));
                sizeHeld = stream.ReadFully(
                    aBytes.data(),
                    static_cast<size_t>(std::min<uint64_t>(aBytes.size(), uFileSize - uOffset)));
                bShort = bShort || sizeHeld == 0;
            }
            if (sizeHeld == 0) {
                std::memset(pDest, 0, sizeBuffer);
                return;
            }
        }
        const auto sizeFrom = static_cast<size_t>(uOffset - uStart);
        const size_t sizeNow = std::min(sizeBuffer, sizeHeld - sizeFrom);
        std::memcpy(pDest, aBytes.data() + sizeFrom, sizeNow);
        pDest += sizeNow;
        uOffset += sizeNow;
        sizeBuffer -= sizeNow;
    }
}

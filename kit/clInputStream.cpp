#include "kit/clInputStream.h"

#include "base/clException.h"

off_t clInputStream::Seek(off_t lTo)
{
    if (lTo < 0) {
        throw clXStreamReader("clInputStream::Seek(): position out of range");
    }
    lPosition = lTo;
    return lPosition;
}

off_t clInputStream::Skip(off_t lCount)
{
    off_t lTo = 0;
    return Seek(__builtin_add_overflow(lPosition, lCount, &lTo) ? -1 : lTo);
}

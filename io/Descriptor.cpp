#include "io/Descriptor.h"

#include "base/clCancelDelay.h"

#include <cerrno>

#include <unistd.h>

int CloseDescriptor(int iDescriptorH) noexcept
{
    const clCancelDelay delay;
    return close(iDescriptorH) == 0 ? 0 : errno;
}

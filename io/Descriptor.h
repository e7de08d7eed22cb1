#pragma once

#include <cstddef>

#include <sys/types.h> // for ssize_t

/** close(2), but no cancellation point, which would leave it unknown whether the descriptor is
 * closed and would end the process in a destructor.
 * @return 0 or the error number; closed in both cases */
int CloseDescriptor(int iDescriptorH) noexcept;

/** write(2) without the SIGPIPE of EPIPE and the SIGXFSZ of EFBIG, which end the process by
 * default. Signals that are already pending stay pending. */
ssize_t WriteWithoutSignal(int iDescriptorH, const void *pBuffer, size_t sizeBuffer);

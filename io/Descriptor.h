#pragma once

#include <cstddef>

#include <sys/types.h> // for ssize_t

/**
 * close(2) that is no cancellation point. A cancellation that struck there would leave the
 * descriptor open or closed, with no way to tell which, and would end the process in a destructor.
 *
 * @return 0 or the error number; the descriptor is gone in both cases
 */
int CloseDescriptor(int iDescriptorH) noexcept;

/**
 * write(2) without the signal that comes with EPIPE or EFBIG and ends the process by default. A
 * SIGPIPE or SIGXFSZ that was pending before stays pending.
 */
ssize_t WriteWithoutSignal(int iDescriptorH, const void *pBuffer, size_t sizeBuffer);

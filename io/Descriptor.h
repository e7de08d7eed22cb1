#pragma once

/**
 * close(2) that is no cancellation point. A cancellation that struck there would leave the
 * descriptor open or closed, with no way to tell which, and would end the process in a destructor.
 *
 * @return 0 or the error number; the descriptor is gone in both cases
 */
int CloseDescriptor(int iDescriptorH) noexcept;

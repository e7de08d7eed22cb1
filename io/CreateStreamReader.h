#pragma once

#include "base/Export.h"

class clStreamReader;

/** Makes a clStreamReaderHTTP for a name that begins with "http:", in lower case only, and a
 * clStreamReaderFile for any other; throws what their constructors throw. The caller deletes it. */
VANTREL_API clStreamReader *CreateStreamReader(const char *cpName);

#include "io/CreateStreamReader.h"

#include "base/clException.h"
#include "io/clStreamReaderFile.h"

clStreamReader *CreateStreamReader(const char *cpName)
{
    const clString strName(cpName);
    if (strName.BeginsWith("http:")) {
        throw clXStreamReader("CreateStreamReader(): http input is not built in");
    }
    return new clStreamReaderFile(strName);
}

#include "io/CreateStreamReader.h"

#include "io/clStreamReaderFile.h"
#include "io/clStreamReaderHTTP.h"

clStreamReader *CreateStreamReader(const char *cpName)
{
    const clString strName(cpName);
    if (strName.BeginsWith("http:")) {
        return new clStreamReaderHTTP(strName);
    }
    return new clStreamReaderFile(strName);
}

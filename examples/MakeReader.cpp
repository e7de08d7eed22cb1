#include "examples/MakeReader.h"

#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "io/clStreamReader.h"

#include <stdexcept>
#include <string>

std::unique_ptr<clDSD> MakeReader(clStreamReader &stream)
{
    std::string strId(4, '\0');
    stream.ReadFully(strId.data(), strId.size());
    stream.Seek(0);
    if (strId == "FRM8") {
        return std::make_unique<clDSDIFF>();
    }
    if (strId == "DSD ") {
        return std::make_unique<clDSF>();
    }
    throw std::runtime_error("neither a DSDIFF nor a DSF file");
}

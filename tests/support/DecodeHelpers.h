#pragma once

#include "dsd/clDSD.h"
#include "dsd/clDSDIFF.h"
#include "dsd/clDSF.h"
#include "tests/support/DSDIFFBuilder.h"
#include "tests/support/DSFModel.h"

#include <memory>
#include <string>
#include <vector>

// Files in memory with given interleaved sound, for tests of the decoded reads.

enum format_t { FORMAT_DSDIFF, FORMAT_DSF };

/** The end of the name of a test that runs with each format. */
template <class Row>
std::string FormatName(const Row &row)
{
    return row.param == FORMAT_DSDIFF ? "DSDIFF" : "DSF";
}

inline std::unique_ptr<clDSD> MakeFile(format_t format)
{
    if (format == FORMAT_DSDIFF) {
        return std::make_unique<clDSDIFF>();
    }
    return std::make_unique<clDSF>();
}

/** The caller owns the stream. */
inline MemoryStream *MakeStream(format_t format, const bytes_t &sound, uint32_t uChannels)
{
    if (format == FORMAT_DSDIFF) {
        return DSDIFFBuilder().ChannelCount(uChannels).Sound(sound).Stream();
    }
    return new MemoryStream(ExpectedDSF(sound, uChannels, 2822400));
}

/** All samples from the position of an open file to its end, without Flush. */
inline samples_t ReadToEnd(clDSD &file, size_t sizeRead)
{
    samples_t all;
    samples_t turn(sizeRead);
    while (const uint64_t uRead = file.Read(turn.data(), turn.size())) {
        all.insert(all.end(), turn.begin(), turn.begin() + static_cast<ptrdiff_t>(uRead));
    }
    return all;
}

/** As ReadToEnd, followed by Flush. */
inline samples_t ReadAll(clDSD &file, size_t sizeRead)
{
    samples_t all = ReadToEnd(file, sizeRead);
    samples_t turn(sizeRead);
    while (const uint64_t uRead = file.Flush(turn.data(), turn.size())) {
        all.insert(all.end(), turn.begin(), turn.begin() + static_cast<ptrdiff_t>(uRead));
    }
    return all;
}

#pragma once

#include "dsd/ChunkText.h"
#include "dsd/clDSDIFFInspector.h"
#include "dsd/clFileWindow.h"

#include <string>

/**
 * The walk of clDSDIFFInspector over the chunks of a file: fills in the inspector's fields and
 * notes the faults of single chunks and of the form. The inspector judges the rest.
 */
class clDSDIFFWalk
{
public:
    static constexpr uint64_t HEADER_SIZE = 12;

    struct chunk_t {
        uint32_t uId = 0;
        uint64_t uOffset = 0; ///< of the header
        uint64_t uSize = 0;

        uint64_t GetData() const { return uOffset + HEADER_SIZE; }
        // Only for a chunk that ends inside the file.
        uint64_t GetEnd() const { return GetData() + uSize; }
        uint64_t GetNext() const { return GetEnd() + uSize % 2; }
        std::string GetText() const { return ChunkText(uId, uOffset); }
    };

    /** Both are borrowed and must outlive this object. */
    clDSDIFFWalk(clDSDIFFInspector &inspector, clStreamReader &streamFile);

    /** @return whether it is a DSDIFF file; otherwise that is the only finding */
    bool Run();

    /** Notes a finding, unless there are many of that severity. */
    void Add(severity_t eSeverity, const std::string &strText, bool bTag = false);

    /** The findings, and the number of those left out. */
    findings_t TakeFindings();

    chunk_t ReadHeader(uint64_t uOffset);

    clStreamReader &GetStream() const noexcept { return stream; }

    clFileWindow file;
    bool bProperty = false;
    // Sub-chunks of the last property chunk, including those of a wrong size.
    bool bRate = false;
    bool bChannels = false;
    bool bCompression = false;
    uint32_t uCompression = 0;
    clDSDIFFInspector::sound_t raw;
    clDSDIFFInspector::sound_t dst;

private:
    bool IsDSDIFF(uint64_t &uFormSize);
    void ReadForm(uint64_t uFormSize);
    bool IsWholeChunk(uint64_t uOffset);
    bool FindAppendedTag(uint64_t uOffset);
    void ReadChunk(const chunk_t &chunk);
    void ReadProperties(const chunk_t &property);
    void ReadProperty(const chunk_t &chunk);
    void ReadChannels(const chunk_t &chunk);
    void ReadMaster(const chunk_t &chunk, uint64_t &uBudget);
    void AddSound(const chunk_t &chunk);

    clDSDIFFInspector &to;
    clStreamReader &stream;
    findings_t findings;
    size_t aCounts[5] = {}; ///< by severity
    uint64_t uInformationBudget = clDSDIFFMaster::MAX_BYTES;
    uint64_t uCommentBudget = clDSDIFFMaster::MAX_BYTES;
};

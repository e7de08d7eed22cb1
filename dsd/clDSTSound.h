#pragma once

#include "dsd/Findings.h"
#include "dsd/clDSTFrames.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class clDSTBatch;
class clStreamReader;

/**
 * The sound of a "DST " chunk, decompressed: bytes as a "DSD " chunk would hold them.
 *
 * Decodes a number of frames at a time, on the calling thread and on workers that the first read
 * starts. What it delivers does not depend on their number. One thread at a time.
 */
class clDSTSound
{
public:
    struct source_t {
        /** The data of the chunk, as far as the file has them. */
        region_t data;
        /** The data of the "DSTI" chunk; of size 0 without one. */
        region_t index;
        /** 1 to 6. */
        uint32_t uChannels = 0;
        /** As clDSTDecoder takes it. */
        uint32_t uSampleRate = 0;
        /** Threads that decode, the calling one included; 0: one for each processor. */
        uint32_t uWorkers = 0;
        /** Frames to deliver; otherwise as many as the file announces. */
        std::optional<uint64_t> uFrames;
    };

    enum class check_t { NONE, GOOD, WRONG };

    /** What became of a frame. */
    struct frame_t {
        /** Counted from 0. */
        uint64_t uNumber = 0;
        /** Byte of the file at which the frame begins. */
        uint64_t uOffset = 0;
        /** Why the frame cannot be decoded; empty when it can. */
        std::string strFault;
        /** Of its check value. */
        check_t eCheck = check_t::NONE;
        /** It was decoded, but its end seems to be missing. */
        bool bLooksCut = false;
    };

    /** "DST frame 17 at byte 3000". */
    static std::string GetName(const frame_t &frame);

    /**
     * Is told of every frame before its first byte is delivered, on the thread that reads. For a
     * frame that cannot be decoded: true puts silence in its place, false ends the read.
     */
    using report_t = std::function<bool(const frame_t &)>;

    /**
     * Reads the number of frames.
     *
     * @param stream borrowed: must outlive this object
     * @throws clXDSDIFF when the chunk does not begin with that number, or the sound cannot be
     * compressed with these channels and this rate; what the stream throws
     */
    clDSTSound(clStreamReader &stream, const source_t &source);
    clDSTSound(const clDSTSound &) = delete;
    clDSTSound &operator=(const clDSTSound &) = delete;
    /** May throw because the destructor of the thread pool does. */
    ~clDSTSound() noexcept(false);

    /** Without a report, a frame that cannot be decoded ends the read. */
    void SetReport(const report_t &reportFrame) { report = reportFrame; }

    /** Bytes of sound over all channels, as announced; the file may hold less. */
    uint64_t GetSize() const noexcept;

    /**
     * Reads sound, the channels in rotation in the order of the file.
     *
     * @return bytes read, fewer than uBytes only where the frames end
     * @throws clXDSDIFF at a frame that cannot be decoded, with its number and place; what the
     * stream throws
     */
    uint64_t Read(void *pBuffer, uint64_t uBytes);

    /** @param uByte position in the sound, at most GetSize() */
    void Seek(uint64_t uByte);

private:
    const uint8_t *TakeFrame();
    void Report(size_t i);
    bool FillBatch();
    bool NextFrame(clDSTFrames::frame_t &frame, void *pBuffer, uint64_t uRoom);
    bool GoToFrame(uint64_t uFrame);
    bool GoByIndex(uint64_t uFrame);

    clDSTFrames frames;
    clStreamReader &stream;
    const region_t index;
    uint64_t uFrames = 0;
    std::unique_ptr<clDSTBatch> pBatch;
    report_t report;

    /** Position of the next read, in bytes. */
    uint64_t uPosition = 0;
    /** The frame that the walk finds next. */
    uint64_t uNextFrame = 0;
    /** Where the walk finds frames k * PLACE_STEP, as far as it has passed them. */
    std::vector<uint64_t> auPlaces;

    // The frames of the batch.

    uint64_t uFirst = 0;
    std::vector<clDSTFrames::frame_t> aBatch;
    std::vector<uint64_t> auSizes;
    std::vector<uint8_t> aChecks;
    std::vector<uint8_t> aReported;
};

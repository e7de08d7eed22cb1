#pragma once

#include "base/clAlignedAlloc.h"
#include "dsd/ChannelPlaces.h"
#include "kit/clInputFile.h"
#include "kit/clSoundReader.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class clFileProgress;
struct input_t;
struct options_t;

/** Compares the sound of two files. One thread at a time. */
class clSoundComparison
{
public:
    /** One of the two files. */
    class clSide
    {
    public:
        /** @throws clException when the file cannot be read, or converted as it is */
        void Open(const input_t &file, const options_t &options, clFileProgress &progress);

    private:
        friend class clSoundComparison;

        const uint8_t *Read(size_t sizeFrames, size_t &sizeRead);
        /** The channels in the standard order. */
        std::vector<ChannelPlaces::role_t> GetRoles() const;

        clInputFile input;
        clSoundReader sound;
        clAlignedAlloc allocFrames;
    };

    /** Finds the first difference; both sides are open.
     * @throws clException when a file cannot be read to its end or changes; clXStopped */
    void Compare(clFileProgress &progress);

    clSide a;
    clSide b;
    /** Whether an exception of Compare is about b. */
    bool bAtB = false;

    // What was found.

    /** Empty when the sound is the same. */
    std::string strDifference;
    /** The place of the difference if only samples differ: a name, and samples from 0 on. */
    std::string strChannel;
    std::optional<uint64_t> uSample;

    // Of both, when the sound is the same.

    uint32_t GetChannels() const noexcept { return a.sound.GetChannels(); }
    uint32_t GetSampleRate() const noexcept { return a.input.GetSampleRate(); }
    uint64_t GetSamples() const noexcept { return a.sound.GetSamples(); }

private:
    bool CompareHeaders();
    void CompareSamples(clFileProgress &progress);
    void TakePlace(const uint8_t *cpA, const uint8_t *cpB, uint64_t uFrame);
};

#include "kit/clSoundComparison.h"

#include "kit/OpenInput.h"
#include "kit/clFileProgress.h"
#include "kit/clXInput.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <stdexcept>

namespace
{

using roles_t = std::vector<ChannelPlaces::role_t>;

std::string NamesOf(const roles_t &aRoles)
{
    return std::accumulate(aRoles.begin(), aRoles.end(), std::string(),
                           [](const std::string &strNames, ChannelPlaces::role_t eRole) {
                               return strNames + (strNames.empty() ? "" : " ") +
                                      ChannelPlaces::GetName(eRole);
                           });
}

// The first sample of a byte that differs, from 0 on.
uint32_t FirstSample(uint8_t uDifference)
{
    uint32_t uSample = 0;
    for (unsigned uBits = uDifference; (uBits & 0x80) == 0; uBits <<= 1) {
        ++uSample;
    }
    return uSample;
}

} // namespace

void clSoundComparison::clSide::Open(const input_t &file, const options_t &options,
                                     clFileProgress &progress)
{
    OpenInput(file, options, progress, input);
    const std::string strFault = FindSoundFault(input, false);
    if (!strFault.empty()) {
        throw clXInput(strFault);
    }
    sound.Open(input);
}

const uint8_t *clSoundComparison::clSide::Read(size_t sizeFrames, size_t &sizeRead)
{
    auto *const pFrames = static_cast<uint8_t *>(
        allocFrames.SetSize(static_cast<int64_t>(sizeFrames * sound.GetChannels())));
    sizeRead = sound.Read(pFrames, sizeFrames);
    return pFrames;
}

std::vector<ChannelPlaces::role_t> clSoundComparison::clSide::GetRoles() const
{
    roles_t aRoles = input.GetLayout().aRoles;
    std::sort(aRoles.begin(), aRoles.end());
    return aRoles;
}

void clSoundComparison::Compare(clFileProgress &progress)
{
    if (CompareHeaders()) {
        CompareSamples(progress);
    }
    bAtB = false;
    a.input.GetStream().ThrowIfChanged();
    bAtB = true;
    b.input.GetStream().ThrowIfChanged();
}

// False when the samples need not be looked at.
bool clSoundComparison::CompareHeaders()
{
    const auto differ = [this](const char *cpWhat, const std::string &strA, const std::string &strB,
                               const char *cpUnit) {
        if (strA != strB) {
            strDifference = cpWhat + (": " + strA + " and ") + strB + cpUnit;
        }
        return strA != strB;
    };
    return !differ("sample rate", std::to_string(a.input.GetSampleRate()),
                   std::to_string(b.input.GetSampleRate()), " Hz") &&
           !differ("channels", NamesOf(a.GetRoles()), NamesOf(b.GetRoles()), "") &&
           !differ("length", std::to_string(a.sound.GetSamples()),
                   std::to_string(b.sound.GetSamples()), " samples per channel");
}

void clSoundComparison::CompareSamples(clFileProgress &progress)
{
    const size_t sizeFrames = a.sound.GetReadFrames();
    const uint32_t uChannels = a.sound.GetChannels();
    uint64_t uDone = 0;
    for (;;) {
        size_t sizeA = 0;
        size_t sizeB = 0;
        bAtB = false;
        const uint8_t *const cpA = a.Read(sizeFrames, sizeA);
        bAtB = true;
        const uint8_t *const cpB = b.Read(sizeFrames, sizeB);
        if (sizeA != sizeB) {
            throw std::runtime_error("clSoundComparison::Compare(): BUG: lengths differ");
        }
        if (sizeA == 0) {
            return;
        }
        const size_t sizeBytes = sizeA * uChannels;
        if (std::memcmp(cpA, cpB, sizeBytes) != 0) {
            const auto lAt = std::mismatch(cpA, cpA + sizeBytes, cpB).first - cpA;
            const size_t sizeFrame = static_cast<size_t>(lAt) / uChannels;
            TakePlace(cpA + sizeFrame * uChannels, cpB + sizeFrame * uChannels, uDone + sizeFrame);
            return;
        }
        uDone += sizeA;
        progress.Reach(uDone, a.sound.GetSize() / uChannels);
    }
}

// The earliest sample of a frame that differs, and of equals the first channel.
void clSoundComparison::TakePlace(const uint8_t *cpA, const uint8_t *cpB, uint64_t uFrame)
{
    const roles_t aRoles = a.GetRoles();
    uint32_t uFirst = 8;
    for (size_t i = 0; i < aRoles.size(); ++i) {
        const auto uDifference = static_cast<uint8_t>(cpA[i] ^ cpB[i]);
        const uint32_t uInByte = uDifference == 0 ? 8 : FirstSample(uDifference);
        if (uInByte < uFirst) {
            uFirst = uInByte;
            strChannel = ChannelPlaces::GetName(aRoles[i]);
        }
    }
    uSample = uFrame * 8 + uFirst;
    strDifference = "channel " + strChannel + ", sample " + std::to_string(*uSample);
}

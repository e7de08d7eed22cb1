#include "dsd/clDSD.h"

#include "dsd/clDSF.h"
#include "tests/support/Bytes.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>

namespace
{

// The slot of a virtual function. A pointer to a member has its offset, plus 1 on some processors.
template <class F>
size_t SlotOf(F pMember)
{
    uintptr_t uOffset = 0;
    static_assert(sizeof(pMember) == 2 * sizeof(uOffset));
    std::memcpy(&uOffset, &pMember, sizeof(uOffset));
    return uOffset / sizeof(void *);
}

template <class... F>
std::vector<size_t> SlotsOf(F... pMembers)
{
    return {SlotOf(pMembers)...};
}

} // namespace

TEST(clDSD, KeepsTheOrderOfItsVirtualFunctions)
{
    // Programs built with an older library call the functions by slot.
    struct hooks_t : clDSF {
        static std::vector<size_t> Slots()
        {
            return SlotsOf(&hooks_t::ThreadPoolJob, &hooks_t::ConfigureHook, &hooks_t::CloseHook,
                           &hooks_t::ReservedHook);
        }
    };
    const std::vector<size_t> slots =
        hooks_t::Slots() +
        SlotsOf(&clDSD::Open, &clDSD::OpenMeta, &clDSD::Close, &clDSD::Read, &clDSD::Read_5_1,
                &clDSD::ReadRaw, &clDSD::ReadRaw_5_1, &clDSD::GetBlockSamples, &clDSD::GetBlockSize,
                &clDSD::GetSampleRate, &clDSD::GetOutputRate, &clDSD::GetChannels,
                &clDSD::GetOutputSize, &clDSD::GetOutputLength, &clDSD::SeekSample,
                &clDSD::SeekFrame, &clDSD::GetPosition, &clDSD::GetDataSize, &clDSD::GetLength,
                &clDSD::IsCompressed, &clDSD::GetTag, &clDSF::Create, &clDSF::SetLength,
                &clDSF::WriteRaw, &clDSF::WriteMeta, &clDSF::SetSampleRate, &clDSF::SetChannels,
                &clDSF::SetChannelType);
    // The destructor takes the first two slots.
    for (size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(i + 2, slots[i]);
    }
}

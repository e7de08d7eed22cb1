#include "dsd/clDSD.h"

#include "dsd/clDSF.h"

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

} // namespace

TEST(clDSD, KeepsTheOrderOfItsVirtualFunctions)
{
    // Programs built with an older library call the functions by slot.
    struct hooks_t : clDSF {
        static std::vector<size_t> Slots()
        {
            return {SlotOf(&hooks_t::ThreadPoolJob), SlotOf(&hooks_t::ConfigureHook),
                    SlotOf(&hooks_t::CloseHook), SlotOf(&hooks_t::ReservedHook)};
        }
    };
    std::vector<size_t> slots = hooks_t::Slots();
    for (const size_t sizeSlot : {SlotOf(&clDSD::Open),          SlotOf(&clDSD::OpenMeta),
                                  SlotOf(&clDSD::Close),         SlotOf(&clDSD::Read),
                                  SlotOf(&clDSD::Read_5_1),      SlotOf(&clDSD::ReadRaw),
                                  SlotOf(&clDSD::ReadRaw_5_1),   SlotOf(&clDSD::GetBlockSamples),
                                  SlotOf(&clDSD::GetBlockSize),  SlotOf(&clDSD::GetSampleRate),
                                  SlotOf(&clDSD::GetOutputRate), SlotOf(&clDSD::GetChannels),
                                  SlotOf(&clDSD::GetOutputSize), SlotOf(&clDSD::GetOutputLength),
                                  SlotOf(&clDSD::SeekSample),    SlotOf(&clDSD::SeekFrame),
                                  SlotOf(&clDSD::GetPosition),   SlotOf(&clDSD::GetDataSize),
                                  SlotOf(&clDSD::GetLength),     SlotOf(&clDSD::IsCompressed),
                                  SlotOf(&clDSD::GetTag),        SlotOf(&clDSF::Create),
                                  SlotOf(&clDSF::SetLength),     SlotOf(&clDSF::WriteRaw),
                                  SlotOf(&clDSF::WriteMeta),     SlotOf(&clDSF::SetSampleRate),
                                  SlotOf(&clDSF::SetChannels),   SlotOf(&clDSF::SetChannelType)}) {
        slots.push_back(sizeSlot);
    }
    // The destructor takes the first two slots.
    for (size_t i = 0; i < slots.size(); ++i) {
        EXPECT_EQ(i + 2, slots[i]);
    }
}

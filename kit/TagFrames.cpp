#include "kit/TagFrames.h"

#include <algorithm>
#include <cstring>

namespace
{

using bytes_t = std::vector<uint8_t>;

constexpr size_t HEADER_SIZE = 10;

// Flags of the header.
constexpr uint8_t UNSYNCHRONISED = 0x80;
constexpr uint8_t EXTENDED = 0x40;
constexpr uint8_t COMPRESSED_22 = 0x40;

// Flags of a frame, second byte: compressed or encrypted.
constexpr uint8_t UNREADABLE_23 = 0x80 | 0x40;
constexpr uint8_t UNREADABLE_24 = 0x08 | 0x04;

// A number, highest byte first, with iBits bits to the byte.
uint32_t Number(const uint8_t *cpBytes, size_t sizeBytes, int iBits)
{
    uint32_t uValue = 0;
    for (size_t i = 0; i < sizeBytes; ++i) {
        uValue = uValue << iBits | (cpBytes[i] & ((1U << iBits) - 1));
    }
    return uValue;
}

void PutSynchsafe(uint8_t *pBytes, size_t sizeValue)
{
    for (int i = 0; i < 4; ++i) {
        pBytes[i] = static_cast<uint8_t>(sizeValue >> (7 * (3 - i)) & 0x7F);
    }
}

// Undoes unsynchronisation: a zero byte after 0xFF was inserted.
void Resynchronise(bytes_t &bytes)
{
    size_t sizeKept = 0;
    bool bAfterFF = false;
    for (const uint8_t uByte : bytes) {
        if (!bAfterFF || uByte != 0) {
            bytes[sizeKept++] = uByte;
        }
        bAfterFF = uByte == 0xFF;
    }
    bytes.resize(sizeKept);
}

bool IsIdChar(uint8_t uByte)
{
    return (uByte >= 'A' && uByte <= 'Z') || (uByte >= '0' && uByte <= '9');
}

// Whether the frames may go on at a place: with a frame, with padding, or not at all.
bool CanContinue(const bytes_t &body, size_t sizeAt, size_t sizeId)
{
    if (sizeAt >= body.size()) {
        return sizeAt == body.size();
    }
    const auto at = body.begin() + static_cast<ptrdiff_t>(sizeAt);
    return *at == 0 ||
           (body.size() - sizeAt >= sizeId && std::all_of(at, at + static_cast<ptrdiff_t>(sizeId),
                                                          [](uint8_t u) { return IsIdChar(u); }));
}

// Bytes of the extended header at the start of the body.
size_t ExtendedSize(const bytes_t &body, uint8_t uMajor)
{
    if (body.size() < 4) {
        return body.size();
    }
    return uMajor == 3 ? size_t{Number(body.data(), 4, 8)} + 4 : Number(body.data(), 4, 7);
}

} // namespace

bool TagFrames::IsTag(const uint8_t *cpBytes, size_t sizeBytes) noexcept
{
    return sizeBytes >= 3 && std::memcmp(cpBytes, "ID3", 3) == 0;
}

std::vector<uint8_t> TagFrames::Select(const uint8_t *cpTag, size_t sizeTag,
                                       std::initializer_list<const char *> ids)
{
    if (!IsTag(cpTag, sizeTag) || sizeTag < HEADER_SIZE) {
        return {};
    }
    const uint8_t uMajor = cpTag[3];
    const uint8_t uFlags = cpTag[5];
    if (uMajor < 2 || uMajor > 4 || (uMajor == 2 && (uFlags & COMPRESSED_22) != 0)) {
        return {};
    }
    const size_t sizeBody = std::min<size_t>(Number(cpTag + 6, 4, 7), sizeTag - HEADER_SIZE);
    bytes_t body(cpTag + HEADER_SIZE, cpTag + HEADER_SIZE + sizeBody);
    bytes_t selected = {'I', 'D', '3', uMajor, 0, 0, 0, 0, 0, 0};
    if (uMajor == 4) {
        // Frame by frame in this version; the sizes count the inserted bytes.
        selected[5] = uFlags & UNSYNCHRONISED;
    } else if ((uFlags & UNSYNCHRONISED) != 0) {
        Resynchronise(body);
    }
    const size_t sizeId = uMajor == 2 ? 3 : 4;
    const size_t sizeHeader = uMajor == 2 ? 6 : 10;
    size_t sizeAt = uMajor > 2 && (uFlags & EXTENDED) != 0 ? ExtendedSize(body, uMajor) : 0;
    while (sizeAt < body.size() && body.size() - sizeAt > sizeHeader && body[sizeAt] != 0 &&
           CanContinue(body, sizeAt, sizeId)) {
        uint8_t *const pFrame = &body[sizeAt];
        const size_t sizeRoom = body.size() - sizeAt - sizeHeader;
        size_t sizeFrame = Number(pFrame + sizeId, sizeId, uMajor == 4 ? 7 : 8);
        if (uMajor == 4 && !(sizeFrame <= sizeRoom &&
                             CanContinue(body, sizeAt + sizeHeader + sizeFrame, sizeId))) {
            // Some writers of version 2.4 put plain sizes.
            sizeFrame = Number(pFrame + sizeId, sizeId, 8);
            PutSynchsafe(pFrame + sizeId, sizeFrame);
        }
        if (sizeFrame > sizeRoom) {
            break;
        }
        const uint8_t uUnreadable = uMajor == 4 ? UNREADABLE_24 : UNREADABLE_23;
        const bool bReadable = uMajor == 2 || (pFrame[9] & uUnreadable) == 0;
        const bool bWanted = std::any_of(ids.begin(), ids.end(), [&](const char *cpId) {
            return std::strlen(cpId) == sizeId && std::memcmp(cpId, pFrame, sizeId) == 0;
        });
        sizeAt += sizeHeader + sizeFrame;
        if (bReadable && bWanted) {
            selected.insert(selected.end(), pFrame, pFrame + sizeHeader + sizeFrame);
        }
    }
    PutSynchsafe(&selected[6], selected.size() - HEADER_SIZE);
    return selected;
}

#pragma once

#include <array>
#include <cstdint>
#include <span>

// Apple's Mac OS code pages that ICU does not carry: Arabic, Hebrew, Thai and Icelandic as
// byte tables; Japanese, Chinese and Korean as the Windows code page they extend plus Apple's
// own assignments.
namespace MacCodePages {

// One character of Apple's table where a table is needed: the bytes (one or two), and one or
// two UTF-16 units (second 0 for one).
struct Override {
    std::uint16_t bytes;
    char16_t first;
    char16_t second;
};

// Bytes 0x80-0xFF of a single-byte code page (10004, 10005, 10021, 10079); null for others.
const std::array<char16_t, 128>* singleByte(int codePage);
// Bytes of a single-byte code page that stand for two units.
std::span<const Override> singleByteOverrides(int codePage);

struct DoubleByte {
    int baseCodePage;                       // the Windows code page it extends
    std::array<std::uint8_t, 4> leadRanges; // two ranges, first and last byte each
    // Single bytes above 0x7F that mean the same in both (Japanese half-width katakana); any
    // other such byte without an override is one Apple leaves undefined.
    std::array<std::uint8_t, 2> sharedSingles;
    std::span<const Override> overrides; // sorted by bytes

    bool isLead(unsigned char byte) const
    {
        return (byte >= leadRanges[0] && byte <= leadRanges[1]) ||
               (byte >= leadRanges[2] && byte <= leadRanges[3]);
    }
    const Override* find(std::uint16_t bytes) const;
};

// 10001 Japanese, 10002 traditional Chinese, 10003 Korean, 10008 simplified Chinese; null for
// others.
const DoubleByte* doubleByte(int codePage);

} // namespace MacCodePages

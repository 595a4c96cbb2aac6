#pragma once

#include <cstdint>

// Korean Johab (Windows code page 1361, RTF \fcharset130), which ICU does not carry. A Hangul
// code spells its syllable in bit fields; the symbols and Hanja are KS X 1001's, moved to other
// bytes by a fixed rule, so the EUC-KR code page decodes them once moved back.
namespace Johab {

constexpr int codePage = 1361;

bool isLeadByte(unsigned char byte);
// Whether `trail` may follow `lead` (a lead byte) as the second byte of a character.
bool isTrailByte(unsigned char lead, unsigned char trail);
// The character of a two-byte code in the Hangul area: a syllable, or a lone compatibility jamo
// when the other parts are fill values; 0 outside that area or where the fields name nothing.
char16_t hangul(unsigned char lead, unsigned char trail);
// The EUC-KR bytes (lead << 8 | trail) of a code in the symbol or Hanja area; 0 for others.
std::uint16_t eucKr(unsigned char lead, unsigned char trail);

} // namespace Johab

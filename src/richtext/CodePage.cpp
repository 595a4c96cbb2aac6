#include "richtext/CodePage.h"

#include "richtext/Johab.h"
#include "richtext/MacCodePages.h"

#include <array>
#include <string>
#include <unicode/ucnv.h>

namespace {

// cp1252 differs from Latin-1 only in 0x80-0x9F; it is by far the most common code page, so it
// needs no converter at all.
constexpr std::array<char16_t, 32> cp1252High = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

QString decodeCp1252(std::string_view bytes)
{
    QString out(static_cast<qsizetype>(bytes.size()), Qt::Uninitialized);
    QChar* data = out.data();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        data[i] =
            byte >= 0x80 && byte < 0xA0 ? QChar(cp1252High[byte - 0x80]) : QChar(char16_t(byte));
    }
    return out;
}

QString decodeSymbol(std::string_view bytes)
{
    QString out(static_cast<qsizetype>(bytes.size()), Qt::Uninitialized);
    QChar* data = out.data();
    for (std::size_t i = 0; i < bytes.size(); ++i)
        data[i] = QChar(char16_t(0xF000 | static_cast<unsigned char>(bytes[i])));
    return out;
}

QString decodeMacSingleByte(std::string_view bytes, int codePage)
{
    const std::array<char16_t, 128>& table = *MacCodePages::singleByte(codePage);
    const std::span<const MacCodePages::Override> pairs =
        MacCodePages::singleByteOverrides(codePage);
    QString out;
    out.reserve(static_cast<qsizetype>(bytes.size()));
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        out += QChar(byte < 0x80 ? char16_t(byte) : table[byte - 0x80]);
        for (const MacCodePages::Override& pair : pairs) {
            if (pair.bytes == byte)
                out += QChar(pair.second);
        }
    }
    return out;
}

// Lead bytes of the Windows double-byte code pages; none for the others.
bool isWindowsLeadByte(int codePage, unsigned char byte)
{
    switch (codePage) {
    case 932:
        return (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xFC);
    case 936:
    case 949:
    case 950:
        return byte >= 0x81 && byte <= 0xFE;
    default:
        return false;
    }
}

} // namespace

CodePageDecoder::CodePageDecoder() = default;
CodePageDecoder::~CodePageDecoder() = default;

void CodePageDecoder::Close::operator()(UConverter* converter) const
{
    ucnv_close(converter);
}

UConverter* CodePageDecoder::converter(int codePage)
{
    const auto found = m_converters.find(codePage);
    if (found != m_converters.end())
        return found->second.get();
    UConverter* opened = nullptr;
    const std::string number = std::to_string(codePage);
    // ICU knows Windows' two EUC-JP code pages by the encoding's name only.
    const bool eucJp = codePage == 20932 || codePage == 51932;
    const std::string names[] = {codePage == 10000 ? std::string("macintosh")
                                 : eucJp           ? std::string("EUC-JP")
                                                   : "windows-" + number,
                                 "cp" + number, "ibm-" + number};
    for (const std::string& name : names) {
        UErrorCode status = U_ZERO_ERROR;
        opened = ucnv_open(name.c_str(), &status);
        if (U_SUCCESS(status))
            break;
        opened = nullptr;
    }
    // A failed lookup is remembered too, so a document full of escapes asks ICU only once.
    m_converters.emplace(codePage, std::unique_ptr<UConverter, Close>(opened));
    return opened;
}

QString CodePageDecoder::decodeWith(UConverter* cnv, std::string_view bytes)
{
    // No code page turns one byte into more than two UTF-16 units.
    QString out(static_cast<qsizetype>(bytes.size()) * 2 + 2, Qt::Uninitialized);
    UErrorCode status = U_ZERO_ERROR;
    ucnv_reset(cnv);
    const int32_t length =
        ucnv_toUChars(cnv, reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                      bytes.data(), static_cast<int32_t>(bytes.size()), &status);
    if (U_FAILURE(status))
        return decodeCp1252(bytes);
    out.truncate(length);
    return out;
}

// Apple's characters where its table differs from the Windows code page, the Windows code page
// for the rest.
QString CodePageDecoder::decodeMacDoubleByte(std::string_view bytes, int codePage)
{
    const MacCodePages::DoubleByte& mac = *MacCodePages::doubleByte(codePage);
    UConverter* base = converter(mac.baseCodePage);
    QString out;
    std::size_t pending = 0; // start of the bytes that the Windows code page decodes
    const auto flush = [&](std::size_t end) {
        if (end > pending) {
            const std::string_view run = bytes.substr(pending, end - pending);
            out += base ? decodeWith(base, run) : decodeCp1252(run);
        }
    };
    for (std::size_t i = 0; i < bytes.size();) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x80) {
            ++i;
            continue;
        }
        const bool pair = mac.isLead(byte) && i + 1 < bytes.size();
        const auto key = static_cast<std::uint16_t>(
            pair ? byte << 8 | static_cast<unsigned char>(bytes[i + 1]) : byte);
        const std::size_t length = pair ? 2 : 1;
        const MacCodePages::Override* own = mac.find(key);
        const bool shared = pair || (byte >= mac.sharedSingles[0] && byte <= mac.sharedSingles[1]);
        if (own || !shared) {
            flush(i);
            if (own) {
                out += QChar(own->first);
                if (own->second)
                    out += QChar(own->second);
            } else {
                out += QChar::ReplacementCharacter;
            }
            pending = i + length;
        }
        i += length;
    }
    flush(bytes.size());
    return out;
}

// Hangul composed from its bits, symbols and Hanja through EUC-KR. Bytes below 0x80 are ASCII,
// 0x5C too: Korean fonts draw it as a won sign, but like code page 949 it is the backslash.
QString CodePageDecoder::decodeJohab(std::string_view bytes)
{
    UConverter* ksX1001 = converter(949);
    QString out;
    out.reserve(static_cast<qsizetype>(bytes.size()));
    std::string moved; // symbols and Hanja as EUC-KR, decoded together
    const auto flush = [&] {
        if (moved.empty())
            return;
        out += ksX1001
                   ? decodeWith(ksX1001, moved)
                   : QString(static_cast<qsizetype>(moved.size() / 2), QChar::ReplacementCharacter);
        moved.clear();
    };
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i]);
        const auto trail = i + 1 < bytes.size() ? static_cast<unsigned char>(bytes[i + 1]) : 0;
        if (Johab::isLeadByte(lead) && Johab::isTrailByte(lead, trail)) {
            i += 2;
            if (const std::uint16_t code = Johab::eucKr(lead, trail)) {
                moved += char(code >> 8);
                moved += char(code & 0xFF);
                continue;
            }
            flush();
            const char16_t syllable = Johab::hangul(lead, trail);
            out += syllable ? QChar(syllable) : QChar::ReplacementCharacter;
            continue;
        }
        // A byte that starts nothing, or a lead byte without its trail byte (which is read
        // again on its own).
        flush();
        out += lead < 0x80 ? QChar(char16_t(lead)) : QChar::ReplacementCharacter;
        ++i;
    }
    flush();
    return out;
}

QString CodePageDecoder::decode(std::string_view bytes, int codePage)
{
    if (bytes.empty())
        return QString();
    if (codePage == 65001)
        return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (codePage == 1252 || codePage <= 0)
        return decodeCp1252(bytes);
    if (codePage == symbolCodePage)
        return decodeSymbol(bytes);
    if (MacCodePages::singleByte(codePage))
        return decodeMacSingleByte(bytes, codePage);
    if (MacCodePages::doubleByte(codePage))
        return decodeMacDoubleByte(bytes, codePage);
    if (codePage == Johab::codePage)
        return decodeJohab(bytes);
    UConverter* cnv = converter(codePage);
    return cnv ? decodeWith(cnv, bytes) : decodeCp1252(bytes);
}

bool CodePageDecoder::isLeadByte(int codePage, unsigned char byte)
{
    if (const MacCodePages::DoubleByte* mac = MacCodePages::doubleByte(codePage))
        return mac->isLead(byte);
    if (codePage == Johab::codePage)
        return Johab::isLeadByte(byte);
    return isWindowsLeadByte(codePage, byte);
}

int CodePageDecoder::codePageOfCharset(int charset)
{
    switch (charset) {
    case 0:
        return 1252;
    case 2:
        return symbolCodePage;
    case 77: // the Mac charsets, as Word for Mac and early TextEdit write them
        return 10000;
    case 78:
        return 10001;
    case 79:
        return 10003;
    case 80:
        return 10008;
    case 81:
        return 10002;
    case 82: // the Mac's Johab
        return Johab::codePage;
    case 83:
        return 10005;
    case 84:
        return 10004;
    case 85:
        return 10006;
    case 86:
        return 10081;
    case 87:
        return 10021;
    case 88:
        return 10029;
    case 89:
        return 10007;
    case 128:
        return 932;
    case 129:
        return 949;
    case 130:
        return Johab::codePage;
    case 134:
        return 936;
    case 136:
        return 950;
    case 161:
        return 1253;
    case 162:
        return 1254;
    case 163:
        return 1258;
    case 177:
        return 1255;
    case 178:
        return 1256;
    case 186:
        return 1257;
    case 204:
        return 1251;
    case 222:
        return 874;
    case 238:
        return 1250;
    default:
        return 0;
    }
}

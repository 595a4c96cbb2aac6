#include "richtext/CodePage.h"

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
    const std::string names[] = {codePage == 10000 ? std::string("macintosh") : "windows-" + number,
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

QString CodePageDecoder::decode(std::string_view bytes, int codePage)
{
    if (bytes.empty())
        return QString();
    if (codePage == 65001)
        return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
    if (codePage == 1252 || codePage <= 0)
        return decodeCp1252(bytes);
    UConverter* cnv = converter(codePage);
    if (!cnv)
        return decodeCp1252(bytes);
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

int CodePageDecoder::codePageOfCharset(int charset)
{
    switch (charset) {
    case 0:
        return 1252;
    case 77:
        return 10000;
    case 128:
        return 932;
    case 129:
        return 949;
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

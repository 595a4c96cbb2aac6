#pragma once

#include <QString>
#include <map>
#include <memory>
#include <string_view>

struct UConverter;

// Decodes the bytes of \'hh escapes in the code page a document or font names. Converters are
// opened on first use and kept for the decoder's life; unknown code pages read as cp1252.
// Apple's Mac OS code pages that ICU lacks come from our own tables, Korean Johab (1361) from
// its own rules; code page 42 (the symbol character set) gives each byte as U+F000 plus the
// byte, as Windows does.
class CodePageDecoder {
public:
    CodePageDecoder();
    ~CodePageDecoder();
    CodePageDecoder(const CodePageDecoder&) = delete;
    CodePageDecoder& operator=(const CodePageDecoder&) = delete;

    QString decode(std::string_view bytes, int codePage);

    // Whether the byte starts a two-byte character in the code page: a writer may put the
    // second byte, when it is ASCII, as plain text after the escape.
    static bool isLeadByte(int codePage, unsigned char byte);

    // The code page of an RTF \fcharset value; 0 when the charset names none.
    static int codePageOfCharset(int charset);

    static constexpr int symbolCodePage = 42;

private:
    struct Close {
        void operator()(UConverter* converter) const;
    };
    UConverter* converter(int codePage);
    QString decodeWith(UConverter* converter, std::string_view bytes);
    QString decodeMacDoubleByte(std::string_view bytes, int codePage);
    QString decodeJohab(std::string_view bytes);

    std::map<int, std::unique_ptr<UConverter, Close>> m_converters;
};

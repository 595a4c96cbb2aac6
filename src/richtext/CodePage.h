#pragma once

#include <QString>
#include <map>
#include <memory>
#include <string_view>

struct UConverter;

// Decodes the bytes of \'hh escapes in the code page a document or font names. Converters are
// opened on first use and kept for the decoder's life; unknown code pages read as cp1252.
class CodePageDecoder {
public:
    CodePageDecoder();
    ~CodePageDecoder();
    CodePageDecoder(const CodePageDecoder&) = delete;
    CodePageDecoder& operator=(const CodePageDecoder&) = delete;

    QString decode(std::string_view bytes, int codePage);

    // The Windows code page of an RTF \fcharset value; 0 when the charset names none.
    static int codePageOfCharset(int charset);

private:
    struct Close {
        void operator()(UConverter* converter) const;
    };
    UConverter* converter(int codePage);

    std::map<int, std::unique_ptr<UConverter, Close>> m_converters;
};

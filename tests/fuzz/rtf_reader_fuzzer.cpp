// libFuzzer entry point: any bytes through the RTF reader, and whatever it reads through the
// writer and back, which must give the same bytes again.

#include "richtext/RtfReader.h"
#include "richtext/RtfWriter.h"

#include <QTextDocument>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::unique_ptr<QTextDocument> doc =
        RtfReader::read(QByteArrayView(data, static_cast<qsizetype>(size)));
    if (!doc)
        return 0;
    const std::optional<QByteArray> rtf = RtfWriter::write(*doc);
    if (!rtf)
        return 0;
    const std::unique_ptr<QTextDocument> back = RtfReader::read(*rtf);
    // What the writer produces the reader must take, and writing it again must be stable.
    if (!back || RtfWriter::write(*back) != rtf)
        std::abort();
    return 0;
}

#include "common/WavHeader.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

constexpr quint16 formatPcm = 1;
constexpr quint16 formatFloat = 3;
constexpr quint16 formatExtensible = 0xFFFE;
constexpr quint32 minRate = 8000;
constexpr quint32 maxRate = 192000;

quint32 le32(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}

quint16 le16(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<quint16>(bytes.constData() + at);
}

bool isRiffWave(const QByteArray& head)
{
    return head.size() >= 12 && head.startsWith("RIFF") && head.mid(8, 4) == "WAVE";
}

} // namespace

namespace WavHeader {

bool looksLikeWav(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && isRiffWave(file.read(12));
}

std::variant<Format, QString> read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    if (file.size() > maxFileBytes)
        return u"larger than %1 MB"_s.arg(maxFileBytes / (1024 * 1024));
    // The chunks before "data" are small; the first 64 KiB hold them in any sane file.
    const QByteArray head = file.read(64 * 1024);
    if (!isRiffWave(head))
        return u"not a WAV file"_s;
    std::optional<Format> format;
    quint16 blockAlign = 0;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArray id = head.mid(at, 4);
        const quint32 size = le32(head, at + 4);
        if (id == "fmt ") {
            if (size < 16 || at + 8 + 16 > head.size())
                return u"a damaged format chunk"_s;
            const quint16 tag = le16(head, at + 8);
            if (tag != formatPcm && tag != formatFloat && tag != formatExtensible)
                return u"compressed samples (only PCM and float WAV play)"_s;
            Format f;
            f.channels = le16(head, at + 10);
            f.sampleRate = le32(head, at + 12);
            const quint32 byteRate = le32(head, at + 16);
            blockAlign = le16(head, at + 20);
            f.bitsPerSample = le16(head, at + 22);
            if (f.channels < 1 || f.channels > 2)
                return u"%1 channels (one or two play)"_s.arg(f.channels);
            if (f.sampleRate < minRate || f.sampleRate > maxRate)
                return u"a sample rate of %1 Hz (%2 to %3 Hz play)"_s.arg(f.sampleRate)
                    .arg(minRate)
                    .arg(maxRate);
            if (f.bitsPerSample != 8 && f.bitsPerSample != 16 && f.bitsPerSample != 24 &&
                f.bitsPerSample != 32)
                return u"%1-bit samples"_s.arg(f.bitsPerSample);
            if (blockAlign != f.channels * f.bitsPerSample / 8 ||
                byteRate != f.sampleRate * blockAlign)
                return u"inconsistent format fields"_s;
            format = f;
        } else if (id == "data") {
            if (!format)
                return u"samples before their format"_s;
            // A header written before the length was known may claim more than there is.
            const qint64 bytes = std::min<qint64>(size, file.size() - (at + 8));
            if (bytes <= 0 || bytes < blockAlign)
                return u"no samples"_s;
            format->duration =
                std::chrono::milliseconds(bytes * 1000 / (qint64(format->sampleRate) * blockAlign));
            if (format->duration > maxDuration)
                return u"longer than %1 seconds"_s.arg(maxDuration.count() / 1000);
            return *format;
        }
        at += 8 + qsizetype(size) + (size & 1);
    }
    return u"no samples"_s;
}

} // namespace WavHeader

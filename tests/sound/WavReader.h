#pragma once

#include <QByteArray>
#include <QtEndian>
#include <optional>
#include <vector>

// Reads back a canonical 44-byte-header PCM WAV, field by field, as a player would see it.
struct WavContents {
    quint32 riffSize = 0;
    quint16 format = 0;
    quint16 channels = 0;
    quint32 sampleRate = 0;
    quint32 byteRate = 0;
    quint16 blockAlign = 0;
    quint16 bitsPerSample = 0;
    quint32 dataSize = 0;
    std::vector<qint16> samples;
};

inline std::optional<WavContents> readWav(const QByteArray& bytes)
{
    if (bytes.size() < 44 || !bytes.startsWith("RIFF") || bytes.mid(8, 8) != "WAVEfmt " ||
        bytes.mid(36, 4) != "data")
        return std::nullopt;
    const char* p = bytes.constData();
    WavContents wav;
    wav.riffSize = qFromLittleEndian<quint32>(p + 4);
    if (qFromLittleEndian<quint32>(p + 16) != 16)
        return std::nullopt;
    wav.format = qFromLittleEndian<quint16>(p + 20);
    wav.channels = qFromLittleEndian<quint16>(p + 22);
    wav.sampleRate = qFromLittleEndian<quint32>(p + 24);
    wav.byteRate = qFromLittleEndian<quint32>(p + 28);
    wav.blockAlign = qFromLittleEndian<quint16>(p + 32);
    wav.bitsPerSample = qFromLittleEndian<quint16>(p + 34);
    wav.dataSize = qFromLittleEndian<quint32>(p + 40);
    if (qsizetype(wav.dataSize) != bytes.size() - 44)
        return std::nullopt;
    for (qsizetype at = 44; at + 1 < bytes.size(); at += 2)
        wav.samples.push_back(qFromLittleEndian<qint16>(p + at));
    return wav;
}

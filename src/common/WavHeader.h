#pragma once

#include <QString>
#include <chrono>
#include <variant>

// The fields of a WAV file's header that decide whether it can be played safely. Qt
// Multimedia trusts them: a PCM file at 1 Hz kills the process with a division by zero, so
// only rates, sample sizes and lengths a feedback sound can have are accepted.
namespace WavHeader {

struct Format {
    quint16 channels = 0;
    quint32 sampleRate = 0;
    quint16 bitsPerSample = 0;
    std::chrono::milliseconds duration{0};
};

// A custom sound is a short cue: anything longer or larger is not one.
constexpr std::chrono::milliseconds maxDuration{10'000};
constexpr qint64 maxFileBytes = 8 * 1024 * 1024;

// The format, or why the file is refused.
std::variant<Format, QString> read(const QString& path);
// Whether the file starts as a RIFF WAVE, whatever its fields say.
bool looksLikeWav(const QString& path);

} // namespace WavHeader

#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>

// The named sounds offered for selection. Linux has no such set, so each one is synthesised
// here as a short mono WAV (16-bit PCM, 44.1 kHz): a distinct tone, chime or noise per name,
// under half a second, its peak well below full scale.
namespace SystemSounds {

constexpr int sampleRate = 44100;
constexpr int maxDurationMs = 450;
// The loudest sample of every sound, as a fraction of full scale.
constexpr double peakLevel = 0.8;

// "Basso" ... "Tink", in the order the picker shows them.
const QStringList& names();

// The WAV bytes of the named sound; none for an unknown name.
std::optional<QByteArray> wavData(const QString& name);

// The named sound's file in `folder`, written there (atomically) when missing or outdated.
// None for an unknown name or when the file cannot be written, which includes a link or
// anything but a regular file of the user's in its place.
std::optional<QString> ensureFile(const QString& folder, const QString& name);

} // namespace SystemSounds

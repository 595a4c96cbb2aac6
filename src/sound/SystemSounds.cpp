#include "sound/SystemSounds.h"

#include "common/AppPaths.h"
#include "common/SafeFile.h"

#include <QDir>
#include <QFile>
#include <QLoggingCategory>
#include <QtEndian>
#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

Q_LOGGING_CATEGORY(lcSystemSounds, "scrivlane.sound.system")

namespace SystemSounds {
namespace {

enum class Wave { sine, square, triangle, noise };

// One note of a sound: a tone gliding from `fromHz` to `toHz`, with an exponential decay and
// an optional tremolo. Overtones add weight to bells and chimes.
struct Note {
    double startMs;
    double lengthMs;
    double fromHz;
    double toHz;
    double decayPerSecond;
    Wave wave = Wave::sine;
    double tremoloHz = 0;
    std::vector<std::pair<double, double>> overtones = {}; // (frequency ratio, gain)
};

struct Recipe {
    QString name;
    std::vector<Note> notes;
};

const std::vector<Recipe>& recipes()
{
    static const std::vector<Recipe> all = {
        {QStringLiteral("Basso"), {{0, 380, 98, 92, 6, Wave::square}}},
        {QStringLiteral("Blow"), {{0, 340, 700, 400, 5, Wave::noise, 9}}},
        {QStringLiteral("Bottle"), {{0, 260, 420, 560, 9, Wave::sine, 0, {{2.0, 0.25}}}}},
        {QStringLiteral("Frog"),
         {{0, 110, 190, 150, 8, Wave::square, 45}, {150, 130, 170, 130, 8, Wave::square, 45}}},
        {QStringLiteral("Funk"),
         {{0, 140, 330, 330, 6, Wave::triangle}, {150, 220, 247, 233, 7, Wave::triangle}}},
        {QStringLiteral("Glass"),
         {{0, 440, 1568, 1568, 7, Wave::sine, 0, {{1.5, 0.35}, {2.76, 0.2}}}}},
        {QStringLiteral("Hero"),
         {{0, 120, 523, 523, 5}, {110, 120, 659, 659, 5}, {220, 220, 784, 784, 6}}},
        {QStringLiteral("Morse"),
         {{0, 60, 880, 880, 1, Wave::square},
          {110, 60, 880, 880, 1, Wave::square},
          {220, 160, 880, 880, 1, Wave::square}}},
        {QStringLiteral("Ping"), {{0, 420, 1319, 1319, 8, Wave::sine, 0, {{3.0, 0.15}}}}},
        {QStringLiteral("Pop"), {{0, 80, 620, 180, 30}}},
        {QStringLiteral("Purr"), {{0, 420, 72, 66, 3, Wave::triangle, 24}}},
        {QStringLiteral("Sosumi"),
         {{0, 150, 659, 659, 6, Wave::sine, 0, {{2.0, 0.3}}},
          {140, 260, 988, 988, 7, Wave::sine, 0, {{2.0, 0.3}}}}},
        {QStringLiteral("Submarine"), {{0, 440, 440, 430, 4, Wave::sine, 6, {{2.0, 0.1}}}}},
        {QStringLiteral("Tink"), {{0, 120, 2093, 2093, 28, Wave::sine, 0, {{2.5, 0.2}}}}},
    };
    return all;
}

double waveValue(Wave wave, double phase, std::uint32_t& noiseState)
{
    switch (wave) {
    case Wave::sine:
        return std::sin(phase);
    case Wave::square:
        return std::sin(phase) >= 0 ? 0.6 : -0.6; // softened: a full square is harsh
    case Wave::triangle:
        return 2 / std::numbers::pi * std::asin(std::sin(phase));
    case Wave::noise:
        // xorshift: the same noise every time, so the file is reproducible
        noiseState ^= noiseState << 13;
        noiseState ^= noiseState >> 17;
        noiseState ^= noiseState << 5;
        return static_cast<double>(noiseState) / 2147483648.0 - 1.0;
    }
    return 0;
}

void render(const Note& note, std::vector<double>& out)
{
    const auto first = static_cast<std::size_t>(note.startMs * sampleRate / 1000);
    const auto count = static_cast<std::size_t>(note.lengthMs * sampleRate / 1000);
    const double fadeSamples = 0.004 * sampleRate; // no clicks at either end
    std::uint32_t noiseState = 0x9E3779B9u;
    double phase = 0;
    double lowPassed = 0;
    for (std::size_t i = 0; i < count && first + i < out.size(); ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        const double progress = static_cast<double>(i) / static_cast<double>(count);
        const double hz = note.fromHz + (note.toHz - note.fromHz) * progress;
        phase += 2 * std::numbers::pi * hz / sampleRate;
        double value = waveValue(note.wave, phase, noiseState);
        if (note.wave == Wave::noise) {
            // a one-pole low-pass tuned by the "frequency" turns hiss into breath
            const double alpha = std::min(1.0, 2 * std::numbers::pi * hz / sampleRate);
            lowPassed += alpha * (value - lowPassed);
            value = lowPassed * 4;
        }
        for (const auto& [ratio, gain] : note.overtones)
            value += gain * std::sin(phase * ratio);
        double envelope = std::exp(-note.decayPerSecond * t);
        envelope *= std::min(1.0, static_cast<double>(i) / fadeSamples);
        envelope *= std::min(1.0, static_cast<double>(count - i) / fadeSamples);
        if (note.tremoloHz > 0)
            envelope *= 0.6 + 0.4 * std::sin(2 * std::numbers::pi * note.tremoloHz * t);
        out[first + i] += value * envelope;
    }
}

QByteArray encodeWav(const std::vector<qint16>& samples)
{
    const auto dataBytes = static_cast<quint32>(samples.size() * 2);
    QByteArray wav;
    wav.reserve(44 + qsizetype(dataBytes));
    const auto put32 = [&wav](quint32 v) {
        char b[4];
        qToLittleEndian(v, b);
        wav.append(b, 4);
    };
    const auto put16 = [&wav](quint16 v) {
        char b[2];
        qToLittleEndian(v, b);
        wav.append(b, 2);
    };
    wav.append("RIFF");
    put32(36 + dataBytes);
    wav.append("WAVEfmt ");
    put32(16);
    put16(1); // PCM
    put16(1); // mono
    put32(sampleRate);
    put32(sampleRate * 2); // bytes per second
    put16(2);              // bytes per frame
    put16(16);             // bits per sample
    wav.append("data");
    put32(dataBytes);
    for (const qint16 s : samples)
        put16(static_cast<quint16>(s));
    return wav;
}

} // namespace

const QStringList& names()
{
    static const QStringList all = [] {
        QStringList list;
        for (const Recipe& recipe : recipes())
            list.append(recipe.name);
        return list;
    }();
    return all;
}

std::optional<QByteArray> wavData(const QString& name)
{
    const auto& all = recipes();
    const auto recipe =
        std::find_if(all.begin(), all.end(), [&](const Recipe& r) { return r.name == name; });
    if (recipe == all.end())
        return std::nullopt;

    double endMs = 0;
    for (const Note& note : recipe->notes)
        endMs = std::max(endMs, note.startMs + note.lengthMs);
    endMs = std::min<double>(endMs, maxDurationMs);
    std::vector<double> mix(static_cast<std::size_t>(endMs * sampleRate / 1000), 0.0);
    for (const Note& note : recipe->notes)
        render(note, mix);

    // Every sound peaks at the same level, so none is louder than another at one volume.
    double peak = 0;
    for (const double v : mix)
        peak = std::max(peak, std::abs(v));
    const double scale = peak > 0 ? peakLevel * 32767 / peak : 0;
    std::vector<qint16> samples(mix.size());
    std::transform(mix.begin(), mix.end(), samples.begin(),
                   [scale](double v) { return static_cast<qint16>(std::lround(v * scale)); });
    return encodeWav(samples);
}

std::optional<QString> ensureFile(const QString& folder, const QString& name)
{
    const std::optional<QByteArray> wav = wavData(name);
    if (!wav)
        return std::nullopt;
    const QString path = QDir(folder).absoluteFilePath(name + QStringLiteral(".wav"));
    const std::variant<QByteArray, QString> existing = SafeFile::readFile(path);
    if (const QByteArray* bytes = std::get_if<QByteArray>(&existing); bytes && *bytes == *wav)
        return path;
    std::optional<QString> error = AppPaths::makePrivateDir(folder);
    if (!error)
        error = SafeFile::writeFile(path, *wav);
    if (error) {
        qCWarning(lcSystemSounds).noquote() << "cannot write" << name << "sound:" << *error;
        return std::nullopt;
    }
    return path;
}

} // namespace SystemSounds

#include "sound/SoundService.h"

#include "platform/api/SoundPlayer.h"
#include "sound/SystemSounds.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSaveFile>
#include <QSettings>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

Q_LOGGING_CATEGORY(lcSound, "scrivlane.sound")

namespace {

const QString selectedSoundKey = QStringLiteral("tw_selectedSound");
const QString soundEnabledKey = QStringLiteral("tw_soundEnabled");
const QString volumeKey = QStringLiteral("tw_soundVolume");
const QString customSoundPathKey = QStringLiteral("tw_customSoundPath");

constexpr float defaultVolume = 0.8f;
constexpr qint64 copyChunk = 64 * 1024;

// Writes the copy next to the destination and renames it over any older file of that name,
// so a failed import leaves the previous copy in place.
bool copyReplacing(const QString& from, const QString& to)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return false;
    QSaveFile target(to);
    if (!target.open(QIODevice::WriteOnly))
        return false;
    while (!source.atEnd()) {
        const QByteArray chunk = source.read(copyChunk);
        if (chunk.isEmpty() && source.error() != QFile::NoError)
            return false;
        if (target.write(chunk) != chunk.size())
            return false;
    }
    return target.commit();
}

// The double with the float's shortest decimal form, so that 0.3f is stored as 0.3 and not
// as 0.30000001192092896.
double shortestDouble(float value)
{
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc())
        return value;
    double widened = value;
    std::from_chars(text.data(), end, widened);
    return widened;
}

} // namespace

SoundService::SoundService(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies)),
      m_selectedSoundName(fallbackSoundName)
{
    Q_ASSERT(m_dependencies.player);
    QSettings* settings = m_dependencies.settings;
    if (!settings)
        return;
    if (const QVariant v = settings->value(selectedSoundKey); v.isValid())
        m_selectedSoundName = v.toString();
    if (const QVariant v = settings->value(soundEnabledKey); v.isValid())
        m_soundEnabled = v.toBool();
    if (const QVariant v = settings->value(volumeKey); v.isValid()) {
        bool ok = false;
        const float stored = v.toFloat(&ok);
        if (ok && !std::isnan(stored))
            m_volume = std::clamp(stored, 0.0f, 1.0f);
    }
    if (const QString path = settings->value(customSoundPathKey).toString(); !path.isEmpty())
        m_customSoundURL = QUrl::fromLocalFile(path);
}

const QStringList& SoundService::systemSoundNames()
{
    return SystemSounds::names();
}

void SoundService::setSelectedSoundName(const QString& name)
{
    if (m_selectedSoundName == name)
        return;
    m_selectedSoundName = name;
    if (m_dependencies.settings)
        m_dependencies.settings->setValue(selectedSoundKey, name);
    Q_EMIT selectedSoundNameChanged(name);
}

void SoundService::setSoundEnabled(bool enabled)
{
    if (m_soundEnabled == enabled)
        return;
    m_soundEnabled = enabled;
    if (m_dependencies.settings)
        m_dependencies.settings->setValue(soundEnabledKey, enabled);
    Q_EMIT soundEnabledChanged(enabled);
}

void SoundService::setVolume(float volume)
{
    if (std::isnan(volume))
        return;
    volume = std::clamp(volume, 0.0f, 1.0f);
    if (m_volume == volume)
        return;
    m_volume = volume;
    if (m_dependencies.settings)
        m_dependencies.settings->setValue(volumeKey, shortestDouble(volume));
    Q_EMIT volumeChanged(volume);
}

void SoundService::setCustomSoundURL(const QUrl& url)
{
    if (m_customSoundURL == url)
        return;
    m_customSoundURL = url;
    if (QSettings* settings = m_dependencies.settings) {
        if (url.isEmpty())
            settings->remove(customSoundPathKey);
        else
            settings->setValue(customSoundPathKey, url.toLocalFile());
    }
    Q_EMIT customSoundURLChanged(url);
}

void SoundService::playExpansionSound()
{
    if (!m_soundEnabled)
        return;
    if (m_selectedSoundName == customSoundName)
        playCustomSound();
    else
        playSystemSound(m_selectedSoundName);
}

void SoundService::playSystemSound(const QString& name)
{
    m_dependencies.player->playNamed(name, m_volume);
}

void SoundService::playCustomSound()
{
    if (m_customSoundURL.isEmpty())
        return;
    if (!m_dependencies.player->playFile(m_customSoundURL.toLocalFile(), m_volume))
        playSystemSound(fallbackSoundName);
}

std::optional<QString> SoundService::importCustomSound(const QString& sourcePath)
{
    const QFileInfo source(sourcePath);
    if (!source.isFile()) {
        qCWarning(lcSound) << "cannot import" << sourcePath << ": not a file";
        return std::nullopt;
    }
    const QString folder = m_dependencies.soundsFolder;
    if (folder.isEmpty() || !QDir().mkpath(folder)) {
        qCWarning(lcSound) << "cannot create" << folder;
        return std::nullopt;
    }
    const QString destination = QDir(folder).absoluteFilePath(source.fileName());
    if (!copyReplacing(source.absoluteFilePath(), destination)) {
        qCWarning(lcSound) << "cannot copy" << sourcePath << "to" << destination;
        return std::nullopt;
    }
    setCustomSoundURL(QUrl::fromLocalFile(destination));
    setSelectedSoundName(customSoundName);
    return destination;
}

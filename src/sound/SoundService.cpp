#include "sound/SoundService.h"

#include "common/AppPaths.h"
#include "common/Preferences.h"
#include "common/SafeFile.h"
#include "common/WavHeader.h"
#include "platform/api/SoundPlayer.h"
#include "sound/SystemSounds.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QSettings>
#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcSound, "scrivlane.sound")

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 copyChunk = 64 * 1024;

// Writes the copy next to the destination and renames it over any older file of that name,
// so a failed import leaves the previous copy in place. The error text, if any.
std::optional<QString> copyReplacing(const QString& from, const QString& to)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return source.errorString();
    SafeFile target(to);
    if (!target.open())
        return target.errorString();
    while (!source.atEnd()) {
        const QByteArray chunk = source.read(copyChunk);
        if (chunk.isEmpty() && source.error() != QFile::NoError)
            return source.errorString();
        if (!target.write(chunk))
            return target.errorString();
    }
    if (!target.commit())
        return target.errorString();
    return std::nullopt;
}

} // namespace

SoundService::SoundService(Dependencies dependencies, QObject* parent)
    : QObject(parent), m_dependencies(std::move(dependencies)),
      m_selectedSoundName(fallbackSoundName)
{
    Q_ASSERT(m_dependencies.player);
    const QSettings* settings = m_dependencies.settings;
    if (!settings)
        return;
    m_selectedSoundName = Preferences::text(*settings, Preferences::selectedSound);
    m_soundEnabled = Preferences::flag(*settings, Preferences::soundEnabled);
    m_volume = static_cast<float>(Preferences::number(*settings, Preferences::soundVolume));
    if (const auto path = Preferences::stored(*settings, Preferences::customSoundPath))
        m_customSoundURL = QUrl::fromLocalFile(path->toString());
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
        Preferences::write(*m_dependencies.settings, Preferences::selectedSound, name);
    Q_EMIT selectedSoundNameChanged(name);
}

void SoundService::setSoundEnabled(bool enabled)
{
    if (m_soundEnabled == enabled)
        return;
    m_soundEnabled = enabled;
    if (m_dependencies.settings)
        Preferences::write(*m_dependencies.settings, Preferences::soundEnabled, enabled);
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
        Preferences::write(*m_dependencies.settings, Preferences::soundVolume, volume);
    Q_EMIT volumeChanged(volume);
}

void SoundService::setCustomSoundURL(const QUrl& url)
{
    if (m_customSoundURL == url)
        return;
    m_customSoundURL = url;
    if (QSettings* settings = m_dependencies.settings) {
        if (url.isEmpty())
            settings->remove(Preferences::customSoundPath);
        else
            Preferences::write(*settings, Preferences::customSoundPath, url.toLocalFile());
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
    m_importError.clear();
    if (!source.isFile()) {
        m_importError = u"not a file"_s;
        qCWarning(lcSound) << "cannot import" << sourcePath << ": not a file";
        return std::nullopt;
    }
    // A WAV whose fields the player cannot take would take the app down at every expansion;
    // other formats only play "Tink" instead.
    if (source.size() > WavHeader::maxFileBytes || WavHeader::looksLikeWav(sourcePath)) {
        const auto header = WavHeader::read(sourcePath);
        if (const auto* problem = std::get_if<QString>(&header)) {
            m_importError = u"not a sound ScrivLane can play: "_s + *problem;
            qCWarning(lcSound).noquote() << "cannot import" << sourcePath << ":" << m_importError;
            return std::nullopt;
        }
    }
    const QString folder = m_dependencies.soundsFolder;
    if (folder.isEmpty()) {
        qCWarning(lcSound) << "cannot import" << sourcePath << ": no sounds folder";
        return std::nullopt;
    }
    if (const std::optional<QString> error = AppPaths::makePrivateDir(folder)) {
        m_importError = *error;
        qCWarning(lcSound).noquote() << "cannot import" << sourcePath << ":" << *error;
        return std::nullopt;
    }
    const QString destination = QDir(folder).absoluteFilePath(source.fileName());
    if (const std::optional<QString> error =
            copyReplacing(source.absoluteFilePath(), destination)) {
        m_importError = u"cannot copy it to "_s + destination + u": "_s + *error;
        qCWarning(lcSound).noquote()
            << "cannot copy" << sourcePath << "to" << destination << ":" << *error;
        return std::nullopt;
    }
    setCustomSoundURL(QUrl::fromLocalFile(destination));
    setSelectedSoundName(customSoundName);
    return destination;
}

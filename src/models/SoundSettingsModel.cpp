#include "models/SoundSettingsModel.h"

#include "sound/SoundService.h"

#include <QFileInfo>
#include <cmath>

using namespace Qt::StringLiterals;

SoundSettingsModel::SoundSettingsModel(SoundService* sound, QObject* parent)
    : QObject(parent), m_sound(sound)
{
    connect(sound, &SoundService::selectedSoundNameChanged, this, &SoundSettingsModel::changed);
    connect(sound, &SoundService::customSoundURLChanged, this, &SoundSettingsModel::changed);
    connect(sound, &SoundService::volumeChanged, this, &SoundSettingsModel::changed);
    connect(sound, &SoundService::soundEnabledChanged, this, &SoundSettingsModel::changed);
}

QList<SoundSettingsModel::Entry> SoundSettingsModel::entries() const
{
    QList<Entry> list;
    for (const QString& name : SoundService::systemSoundNames())
        list.append({name, name});
    if (!m_sound->customSoundURL().isEmpty())
        list.append({SoundService::customSoundName, SoundService::customSoundName});
    list.append({pickSentinel, tr("Custom file\u2026")});
    return list;
}

QString SoundSettingsModel::selection() const
{
    return m_sound->selectedSoundName();
}

QString SoundSettingsModel::fallbackAfterPick() const
{
    return m_sound->customSoundURL().isEmpty() ? u"Basso"_s : SoundService::customSoundName;
}

SoundSettingsModel::Pick SoundSettingsModel::pick(const QString& value)
{
    if (value == pickSentinel) {
        m_sound->setSelectedSoundName(fallbackAfterPick());
        Q_EMIT changed(); // the picker goes back even when the selection stayed the same
        return Pick::chooseFile;
    }
    m_sound->setSelectedSoundName(value);
    preview();
    return Pick::played;
}

QString SoundSettingsModel::importFile(const QString& path)
{
    if (!m_sound->importCustomSound(path))
        return tr("\"%1\" could not be copied into ScrivLane's sounds folder.")
            .arg(QFileInfo(path).fileName());
    m_sound->playCustomSound();
    return {};
}

void SoundSettingsModel::preview()
{
    if (m_sound->selectedSoundName() == SoundService::customSoundName)
        m_sound->playCustomSound();
    else
        m_sound->playSystemSound(m_sound->selectedSoundName());
}

int SoundSettingsModel::volumePercent() const
{
    return int(std::lround(m_sound->volume() * 100.0f));
}

void SoundSettingsModel::setVolumePercent(int percent)
{
    m_sound->setVolume(float(std::clamp(percent, 0, 100)) / 100.0f);
}

#pragma once

#include "ui/settings/SettingsForm.h"

class QCheckBox;
class QComboBox;
class QSlider;
class SoundService;
class SoundSettingsModel;

// Sound: the feedback switch, the volume, the sound picker with its custom file, the preview.
class SoundSettingsView : public SettingsPane {
    Q_OBJECT

public:
    SoundSettingsView(SoundService* sound, QWidget* parent = nullptr);
    SoundSettingsModel* model() const { return m_model; }

private:
    void sync();
    void chooseFile();

    SoundService* m_sound;
    SoundSettingsModel* m_model;
    QCheckBox* m_enabled = nullptr;
    QSlider* m_volume = nullptr;
    QComboBox* m_picker = nullptr;
};

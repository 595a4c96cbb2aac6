#include "ui/settings/SoundSettingsView.h"

#include "models/SoundSettingsModel.h"
#include "sound/SoundService.h"
#include "ui/widgets/Icons.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

SoundSettingsView::SoundSettingsView(SoundService* sound, QWidget* parent)
    : SettingsPane(u"Sound"_s, parent), m_sound(sound), m_model(new SoundSettingsModel(sound, this))
{
    setObjectName(u"SoundSettingsView"_s);

    QVBoxLayout* feedback = addSection(u"Feedback"_s);
    m_enabled = new QCheckBox(u"Play sound on expansion"_s, widget());
    describe(m_enabled, u"Play sound on expansion"_s,
             u"Plays the sound below each time a snippet expands"_s);
    feedback->addWidget(m_enabled);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_enabled, &QCheckBox::toggled, sound, [sound](bool on) {
        if (on != sound->soundEnabled())
            sound->setSoundEnabled(on);
    });

    QVBoxLayout* section = addSection(u"Sound"_s);
    auto* volumeLabel = new QLabel(u"Volume"_s, widget());
    m_volume = new QSlider(Qt::Horizontal, widget());
    m_volume->setRange(0, 100);
    m_volume->setPageStep(10);
    m_volume->setMinimumWidth(200);
    describe(m_volume, u"Volume"_s, u"How loud the expansion sound plays"_s);
    volumeLabel->setBuddy(m_volume);
    section->addLayout(row(volumeLabel, m_volume));
    connect(m_volume, &QSlider::valueChanged, m_model, &SoundSettingsModel::setVolumePercent);

    auto* soundLabel = new QLabel(u"Sound"_s, widget());
    m_picker = new QComboBox(widget());
    m_picker->setMinimumWidth(200);
    describe(m_picker, u"Sound"_s, u"The sound played after each expansion"_s);
    soundLabel->setBuddy(m_picker);
    section->addLayout(row(soundLabel, m_picker));
    connect(m_picker, &QComboBox::activated, this, [this](int index) {
        if (m_model->pick(m_picker->itemData(index).toString()) ==
            SoundSettingsModel::Pick::chooseFile)
            chooseFile();
    });

    auto* preview = new QPushButton(
        QIcon(tinted(u"media-playback-start"_s, palette().color(QPalette::ButtonText))),
        u"Preview"_s, widget());
    describe(preview, u"Preview"_s, u"Plays the selected sound"_s);
    section->addLayout(row(new QWidget(widget()), preview));
    connect(preview, &QPushButton::clicked, m_model, &SoundSettingsModel::preview);
    finish();

    connect(m_model, &SoundSettingsModel::changed, this, &SoundSettingsView::sync);
    sync();
}

void SoundSettingsView::sync()
{
    m_enabled->setChecked(m_sound->soundEnabled());
    {
        const QSignalBlocker quiet(m_volume);
        m_volume->setValue(m_model->volumePercent());
    }
    const QSignalBlocker quiet(m_picker);
    m_picker->clear();
    for (const SoundSettingsModel::Entry& entry : m_model->entries())
        m_picker->addItem(entry.label, entry.value);
    m_picker->setCurrentIndex(m_picker->findData(m_model->selection()));
}

void SoundSettingsView::chooseFile()
{
    auto* dialog = new QFileDialog(this, u"Choose a Sound"_s);
    dialog->setObjectName(u"soundFileDialog"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(u"WAV audio (*.wav *.WAV)"_s);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) {
        const QString error = m_model->importFile(file);
        if (!error.isEmpty()) {
            auto* box = new QMessageBox(QMessageBox::Warning, u"Sound not imported"_s, error,
                                        QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->open();
        }
    });
    dialog->open();
}

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
    : SettingsPane(tr("Sound"), parent), m_sound(sound),
      m_model(new SoundSettingsModel(sound, this))
{
    setObjectName(u"SoundSettingsView"_s);

    QVBoxLayout* feedback = addSection(tr("Feedback"));
    m_enabled = new QCheckBox(tr("Play sound on expansion"), widget());
    describe(m_enabled, tr("Play sound on expansion"),
             tr("Plays the sound below each time a snippet expands"));
    feedback->addWidget(m_enabled);
    // Toggled, not clicked: assistive technologies toggle a switch without clicking it.
    connect(m_enabled, &QCheckBox::toggled, sound, [sound](bool on) {
        if (on != sound->soundEnabled())
            sound->setSoundEnabled(on);
    });

    QVBoxLayout* section = addSection(tr("Sound"));
    auto* volumeLabel = new QLabel(tr("Volume"), widget());
    m_volume = new QSlider(Qt::Horizontal, widget());
    m_volume->setRange(0, 100);
    m_volume->setPageStep(10);
    m_volume->setMinimumWidth(200);
    describe(m_volume, tr("Volume"), tr("How loud the expansion sound plays"));
    volumeLabel->setBuddy(m_volume);
    section->addLayout(row(volumeLabel, m_volume));
    connect(m_volume, &QSlider::valueChanged, m_model, &SoundSettingsModel::setVolumePercent);

    auto* soundLabel = new QLabel(tr("Sound"), widget());
    m_picker = new QComboBox(widget());
    m_picker->setMinimumWidth(200);
    describe(m_picker, tr("Sound"), tr("The sound played after each expansion"));
    soundLabel->setBuddy(m_picker);
    section->addLayout(row(soundLabel, m_picker));
    connect(m_picker, &QComboBox::activated, this, [this](int index) {
        if (m_model->pick(m_picker->itemData(index).toString()) ==
            SoundSettingsModel::Pick::chooseFile)
            chooseFile();
    });

    auto* preview = new QPushButton(
        QIcon(tinted(u"media-playback-start"_s, palette().color(QPalette::ButtonText))),
        tr("Preview"), widget());
    describe(preview, tr("Preview"), tr("Plays the selected sound"));
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
    auto* dialog = new QFileDialog(this, tr("Choose a Sound"));
    dialog->setObjectName(u"soundFileDialog"_s);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(tr("WAV audio (*.wav *.WAV)"));
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& file) {
        const QString error = m_model->importFile(file);
        if (!error.isEmpty()) {
            auto* box = new QMessageBox(QMessageBox::Warning, tr("Sound not imported"), error,
                                        QMessageBox::Ok, this);
            box->setAttribute(Qt::WA_DeleteOnClose);
            box->open();
        }
    });
    dialog->open();
}

#pragma once

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

class SoundService;

// The Sound pane's picker and preview over the sound service.
class SoundSettingsModel : public QObject {
    Q_OBJECT

public:
    // The picker entry that opens the file chooser instead of selecting a sound.
    static inline const QString pickSentinel = QStringLiteral("__pick__");

    struct Entry {
        QString value; // what the service selects, or the sentinel
        QString label;
    };

    explicit SoundSettingsModel(SoundService* sound, QObject* parent = nullptr);

    // The 14 named sounds, "custom" while a custom file is set, then "Custom file…".
    QList<Entry> entries() const;
    QString selection() const;

    // What picking an entry did.
    enum class Pick { played, chooseFile };
    // A sound is selected and played; the sentinel puts the picker back at once (to "custom"
    // when a custom file is set, else to "Basso") and asks for a file.
    Pick pick(const QString& value);
    QString fallbackAfterPick() const;
    // The chosen file becomes the custom sound and plays; the reason when it could not.
    QString importFile(const QString& path);
    void preview();

    int volumePercent() const;
    void setVolumePercent(int percent);

Q_SIGNALS:
    void changed();

private:
    SoundService* m_sound;
};

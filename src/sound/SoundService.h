#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>

class QSettings;
class SoundPlayer;

// The feedback sound after each expansion, and its settings. Every setting is written to the
// user defaults the moment it changes; the change signals are what preference sync listens to.
class SoundService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString selectedSoundName READ selectedSoundName WRITE setSelectedSoundName NOTIFY
                   selectedSoundNameChanged)
    Q_PROPERTY(bool soundEnabled READ soundEnabled WRITE setSoundEnabled NOTIFY soundEnabledChanged)
    Q_PROPERTY(float volume READ volume WRITE setVolume NOTIFY volumeChanged)
    Q_PROPERTY(QUrl customSoundURL READ customSoundURL WRITE setCustomSoundURL NOTIFY
                   customSoundURLChanged)

public:
    // The selection that means "the imported file" rather than a named sound.
    static inline const QString customSoundName = QStringLiteral("custom");
    // What plays when the custom file cannot.
    static inline const QString fallbackSoundName = QStringLiteral("Tink");

    struct Dependencies {
        SoundPlayer* player = nullptr; // required
        QSettings* settings = nullptr; // the user defaults; none: not kept
        QString soundsFolder;          // where imported files go
    };

    explicit SoundService(Dependencies dependencies, QObject* parent = nullptr);

    static const QStringList& systemSoundNames();

    QString selectedSoundName() const { return m_selectedSoundName; }
    void setSelectedSoundName(const QString& name);

    bool soundEnabled() const { return m_soundEnabled; }
    void setSoundEnabled(bool enabled);

    float volume() const { return m_volume; }
    // Clamped to 0...1; NaN is ignored.
    void setVolume(float volume);

    // Empty when no custom sound was imported.
    QUrl customSoundURL() const { return m_customSoundURL; }
    void setCustomSoundURL(const QUrl& url);

    // Plays the selected sound, if sounds are on.
    void playExpansionSound();
    // A named sound at the current volume; an unknown name plays nothing.
    void playSystemSound(const QString& name);
    // The imported file at the current volume, or "Tink" when it cannot be played.
    void playCustomSound();

    // Copies the file into the sounds folder (replacing a file of the same name) and selects
    // it. Returns the stored copy's path; none, with the settings unchanged, on failure.
    std::optional<QString> importCustomSound(const QString& sourcePath);
    // Why the last import failed.
    const QString& importError() const { return m_importError; }

Q_SIGNALS:
    void selectedSoundNameChanged(const QString& name);
    void soundEnabledChanged(bool enabled);
    void volumeChanged(float volume);
    void customSoundURLChanged(const QUrl& url);

private:
    Dependencies m_dependencies;
    QString m_selectedSoundName;
    bool m_soundEnabled = true;
    float m_volume = 0.8f;
    QUrl m_customSoundURL;
    QString m_importError;
};

#pragma once

#include "platform/api/SoundPlayer.h"

#include <QHash>
#include <QObject>
#include <QSet>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QSoundEffect;

// Plays WAV files with QSoundEffect. Named sounds come from files that `namedSoundFile` finds
// for a name (none: an unknown name). Each named sound keeps its loaded effect for quick
// replays; a file sound replaces the previous one.
class QtSoundPlayer final : public QObject, public SoundPlayer {
    Q_OBJECT

public:
    using NamedSoundFile = std::function<std::optional<QString>(const QString& name)>;

    explicit QtSoundPlayer(NamedSoundFile namedSoundFile, QObject* parent = nullptr);
    ~QtSoundPlayer() override;

    void playNamed(const QString& name, float volume) override;
    bool playFile(const QString& path, float volume) override;

    // Whether a sound is still loading or playing, or may still be heard.
    bool isBusy() const;

    static bool hasAudioOutput();
    // Whether QSoundEffect can decode the file: a RIFF WAVE with PCM or float samples.
    static bool isPlayableWav(const QString& path);
    // How long the WAV file plays; none when it is not playable.
    static std::optional<std::chrono::milliseconds> wavDuration(const QString& path);

Q_SIGNALS:
    void becameIdle();

private:
    using Clock = std::chrono::steady_clock;
    struct Named {
        QSoundEffect* effect; // a child
        std::chrono::milliseconds duration;
    };

    void start(QSoundEffect* effect, std::chrono::milliseconds duration, float volume);
    void finished(QSoundEffect* effect);

    NamedSoundFile m_namedSoundFile;
    QHash<QString, Named> m_named;
    std::unique_ptr<QSoundEffect> m_fileEffect;
    QSet<QSoundEffect*> m_busy;
    Clock::time_point m_audibleUntil;
};

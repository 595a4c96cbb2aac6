#pragma once

#include <QString>

// Plays short feedback sounds. Playback is fire-and-forget: nothing here blocks, and a machine
// without an audio device simply hears nothing.
class SoundPlayer {
public:
    virtual ~SoundPlayer() = default;

    // The named sound at `volume` (0 to 1). Any name is accepted; an unknown one plays nothing.
    virtual void playNamed(const QString& name, float volume) = 0;

    // The sound file at `path`, replacing any file sound still playing. False when the file
    // cannot be opened as a sound (missing, unreadable, a format the player does not decode);
    // nothing plays then.
    virtual bool playFile(const QString& path, float volume) = 0;
};

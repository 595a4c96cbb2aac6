#pragma once

#include "platform/api/SoundPlayer.h"

#include <QFileInfo>
#include <QSet>
#include <vector>

// Records what was asked to play. A file plays when it exists and is not listed as one the
// player cannot decode.
class RecordingSoundPlayer final : public SoundPlayer {
public:
    struct Played {
        QString what; // a name, or "file:" + path
        float volume;
        bool operator==(const Played&) const = default;
    };

    void playNamed(const QString& name, float volume) override { played.push_back({name, volume}); }
    bool playFile(const QString& path, float volume) override
    {
        if (!QFileInfo(path).isFile() || undecodable.contains(path))
            return false;
        played.push_back({QStringLiteral("file:") + path, volume});
        return true;
    }

    std::vector<Played> played;
    QSet<QString> undecodable;
};

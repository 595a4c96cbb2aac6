#include "platform/qt/QtSoundPlayer.h"

#include "common/WavHeader.h"

#include <QAudioDevice>
#include <QFile>
#include <QMediaDevices>
#include <QSoundEffect>
#include <QTimer>
#include <QUrl>

QtSoundPlayer::QtSoundPlayer(NamedSoundFile namedSoundFile, QObject* parent)
    : QObject(parent), m_namedSoundFile(std::move(namedSoundFile))
{}

QtSoundPlayer::~QtSoundPlayer() = default;

bool QtSoundPlayer::hasAudioOutput()
{
    return !QMediaDevices::defaultAudioOutput().isNull();
}

std::optional<std::chrono::milliseconds> QtSoundPlayer::wavDuration(const QString& path)
{
    const auto header = WavHeader::read(path);
    if (const auto* format = std::get_if<WavHeader::Format>(&header))
        return format->duration;
    return std::nullopt;
}

bool QtSoundPlayer::isPlayableWav(const QString& path)
{
    return wavDuration(path).has_value();
}

void QtSoundPlayer::start(QSoundEffect* effect, std::chrono::milliseconds duration, float volume)
{
    // Follow the user to whichever output is the default now (headphones plugged in...).
    const QAudioDevice device = QMediaDevices::defaultAudioOutput();
    if (device.isNull())
        return; // no audio device: nothing plays, nothing fails
    if (effect->audioDevice() != device)
        effect->setAudioDevice(device);
    effect->setVolume(volume);
    m_busy.insert(effect);
    m_audibleUntil = std::max(m_audibleUntil, Clock::now() + duration);
    effect->play();
}

bool QtSoundPlayer::isBusy() const
{
    return !m_busy.isEmpty() || Clock::now() < m_audibleUntil;
}

void QtSoundPlayer::finished(QSoundEffect* effect)
{
    if (!m_busy.remove(effect) || !m_busy.isEmpty())
        return;
    // The effect reports its end once its samples are handed to the audio server, which for a
    // short sound is before anything is heard.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_audibleUntil - Clock::now());
    if (left.count() <= 0) {
        Q_EMIT becameIdle();
        return;
    }
    QTimer::singleShot(left, this, [this] {
        if (!isBusy())
            Q_EMIT becameIdle();
    });
}

namespace {

void watchForEnd(QtSoundPlayer* player, QSoundEffect* effect,
                 const std::function<void(QSoundEffect*)>& done)
{
    QObject::connect(effect, &QSoundEffect::playingChanged, player, [effect, done] {
        if (!effect->isPlaying() && effect->status() != QSoundEffect::Loading)
            done(effect);
    });
    QObject::connect(effect, &QSoundEffect::statusChanged, player, [effect, done] {
        if (effect->status() == QSoundEffect::Error)
            done(effect);
    });
}

} // namespace

void QtSoundPlayer::playNamed(const QString& name, float volume)
{
    auto it = m_named.find(name);
    if (it == m_named.end()) {
        const std::optional<QString> path =
            m_namedSoundFile ? m_namedSoundFile(name) : std::nullopt;
        const std::optional<std::chrono::milliseconds> duration =
            path ? wavDuration(*path) : std::nullopt;
        if (!duration)
            return;
        auto* effect = new QSoundEffect(this);
        watchForEnd(this, effect, [this](QSoundEffect* e) { finished(e); });
        effect->setSource(QUrl::fromLocalFile(*path));
        it = m_named.insert(name, {effect, *duration});
    }
    start(it->effect, it->duration, volume);
}

bool QtSoundPlayer::playFile(const QString& path, float volume)
{
    const std::optional<std::chrono::milliseconds> duration = wavDuration(path);
    if (!duration)
        return false;
    if (m_fileEffect)
        m_busy.remove(m_fileEffect.get()); // replaced: its end no longer matters
    m_fileEffect = std::make_unique<QSoundEffect>();
    watchForEnd(this, m_fileEffect.get(), [this](QSoundEffect* e) { finished(e); });
    m_fileEffect->setSource(QUrl::fromLocalFile(path));
    start(m_fileEffect.get(), *duration, volume);
    return true;
}

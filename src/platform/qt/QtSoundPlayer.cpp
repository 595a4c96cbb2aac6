#include "platform/qt/QtSoundPlayer.h"

#include <QAudioDevice>
#include <QFile>
#include <QMediaDevices>
#include <QSoundEffect>
#include <QTimer>
#include <QUrl>
#include <QtEndian>

namespace {

constexpr quint16 formatPcm = 1;
constexpr quint16 formatFloat = 3;
constexpr quint16 formatExtensible = 0xFFFE;

quint32 le32(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<quint32>(bytes.constData() + at);
}

quint16 le16(const QByteArray& bytes, qsizetype at)
{
    return qFromLittleEndian<quint16>(bytes.constData() + at);
}

} // namespace

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
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // The chunks before "data" are small; the first 64 KiB hold them in any sane file.
    const QByteArray head = file.read(64 * 1024);
    if (head.size() < 12 || !head.startsWith("RIFF") || head.mid(8, 4) != "WAVE")
        return std::nullopt;
    quint32 byteRate = 0;
    qsizetype at = 12;
    while (at + 8 <= head.size()) {
        const QByteArray id = head.mid(at, 4);
        const quint32 size = le32(head, at + 4);
        if (id == "fmt ") {
            if (size < 16 || at + 8 + 16 > head.size())
                return std::nullopt;
            const quint16 format = le16(head, at + 8);
            const quint16 channels = le16(head, at + 10);
            const bool decodable =
                format == formatPcm || format == formatFloat || format == formatExtensible;
            if (!decodable || channels < 1 || channels > 2)
                return std::nullopt;
            byteRate = le32(head, at + 16);
        } else if (id == "data") {
            if (byteRate == 0 || size == 0)
                return std::nullopt;
            return std::chrono::milliseconds(qint64(size) * 1000 / byteRate);
        }
        at += 8 + qsizetype(size) + (size & 1);
    }
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

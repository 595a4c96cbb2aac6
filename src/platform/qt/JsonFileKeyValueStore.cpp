#include "platform/qt/JsonFileKeyValueStore.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QLoggingCategory>
#include <QSaveFile>
#include <cmath>

Q_LOGGING_CATEGORY(lcKeyValue, "scrivlane.prefsync.store")

namespace {

constexpr int settleMs = 50;
constexpr int lockWaitMs = 2000;

// Two local processes (the app and the command line) must not interleave read-merge-write.
// The lock lives outside the sync folder so that sync tools never copy it around.
QString lockPathFor(const QString& path)
{
    const QByteArray hash =
        QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha1).toHex().left(16);
    return QDir::temp().absoluteFilePath(QStringLiteral("scrivlane-kv-") +
                                         QString::fromLatin1(hash) + QStringLiteral(".lock"));
}

} // namespace

JsonFileKeyValueStore::JsonFileKeyValueStore(const QString& folder, QObject* parent)
    : QObject(parent), m_folder(QDir(folder).absolutePath()),
      m_path(QDir(m_folder).absoluteFilePath(fileName))
{
    QDir().mkpath(m_folder);
    m_settle.setSingleShot(true);
    m_settle.setInterval(settleMs);
    connect(&m_settle, &QTimer::timeout, this, [this] {
        refresh();
        rewatch();
    });
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, &m_settle,
            qOverload<>(&QTimer::start));
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, &m_settle, qOverload<>(&QTimer::start));
    rewatch();
}

JsonFileKeyValueStore::~JsonFileKeyValueStore() = default;

void JsonFileKeyValueStore::rewatch()
{
    // A rename replaces the watched file, so the folder is watched too and the file re-added.
    if (!m_watcher.directories().contains(m_folder) && QFileInfo::exists(m_folder))
        m_watcher.addPath(m_folder);
    if (!m_watcher.files().contains(m_path) && QFileInfo::exists(m_path))
        m_watcher.addPath(m_path);
}

JsonFileKeyValueStore::Read JsonFileKeyValueStore::read(QJsonObject& into) const
{
    QFile file(m_path);
    if (!file.exists())
        return Read::missing;
    if (!file.open(QIODevice::ReadOnly))
        return Read::unreadable;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return Read::unreadable;
    into = document.object();
    return Read::ok;
}

JsonFileKeyValueStore::Read JsonFileKeyValueStore::refresh()
{
    QJsonObject onDisk;
    const Read result = read(onDisk);
    if (result == Read::unreadable) {
        // Half-synced or damaged: keep what we had until a good copy arrives.
        qCWarning(lcKeyValue) << "ignoring unreadable" << m_path;
        return result;
    }
    if (result == Read::missing && !m_hadFirstRead)
        return result; // nothing shared yet; the initial sync is still to come

    QStringList changed;
    for (auto it = onDisk.constBegin(); it != onDisk.constEnd(); ++it) {
        if (m_values.value(it.key()) != it.value())
            changed.append(it.key());
    }
    for (auto it = m_values.constBegin(); it != m_values.constEnd(); ++it) {
        if (!onDisk.contains(it.key()))
            changed.append(it.key());
    }
    m_values = onDisk;
    const int reason = m_hadFirstRead ? serverChange : initialSync;
    m_hadFirstRead = true;
    if (!changed.isEmpty())
        announce(changed, reason);
    return result;
}

void JsonFileKeyValueStore::announce(const QStringList& keys, int reason)
{
    const QVariantMap userInfo{{reasonKey, reason}, {changedKeysKey, keys}};
    // Queued, so that an observer registered right after synchronize() still hears of it.
    QMetaObject::invokeMethod(
        this,
        [this, userInfo] {
            for (const Observer& observer : m_observers) {
                if (!observer.context)
                    continue;
                QMetaObject::invokeMethod(
                    observer.context, [handler = observer.handler, userInfo] { handler(userInfo); },
                    Qt::AutoConnection);
            }
        },
        Qt::QueuedConnection);
}

void JsonFileKeyValueStore::keepCorruptCopy()
{
    // Never destroy what we cannot read: it may be the only copy of another machine's values.
    const QString aside = m_path + QStringLiteral(".corrupt");
    QFile::remove(aside);
    QFile::copy(m_path, aside);
}

bool JsonFileKeyValueStore::save()
{
    QSaveFile file(m_path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const QByteArray bytes = QJsonDocument(m_values).toJson(QJsonDocument::Indented);
    if (file.write(bytes) != bytes.size())
        return false;
    return file.commit();
}

void JsonFileKeyValueStore::change(const QString& key, const std::optional<QJsonValue>& value)
{
    QLockFile lock(lockPathFor(m_path));
    if (!lock.tryLock(lockWaitMs))
        qCWarning(lcKeyValue) << "writing" << m_path << "without the lock";

    // Merge with the newest shared copy so other machines' keys survive our write.
    if (refresh() == Read::unreadable)
        keepCorruptCopy();

    if (value ? m_values.value(key) == *value : !m_values.contains(key))
        return;
    if (value)
        m_values.insert(key, *value);
    else
        m_values.remove(key);
    if (!save())
        qCWarning(lcKeyValue) << "cannot write" << m_path;
    rewatch();
}

void JsonFileKeyValueStore::setBool(const QString& key, bool value)
{
    change(key, QJsonValue(value));
}

void JsonFileKeyValueStore::setDouble(const QString& key, double value)
{
    if (!std::isfinite(value))
        return; // JSON has no NaN or infinity
    change(key, QJsonValue(value));
}

void JsonFileKeyValueStore::setString(const QString& key, const QString& value)
{
    change(key, QJsonValue(value));
}

void JsonFileKeyValueStore::removeObject(const QString& key)
{
    change(key, std::nullopt);
}

QVariant JsonFileKeyValueStore::object(const QString& key) const
{
    const auto it = m_values.constFind(key);
    return it == m_values.constEnd() ? QVariant() : it->toVariant();
}

bool JsonFileKeyValueStore::synchronize()
{
    const Read result = refresh();
    rewatch();
    return result != Read::unreadable;
}

void JsonFileKeyValueStore::observeExternalChanges(QObject* context, ExternalChangeHandler handler)
{
    m_observers.push_back({context, std::move(handler)});
}

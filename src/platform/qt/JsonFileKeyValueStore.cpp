#include "platform/qt/JsonFileKeyValueStore.h"

#include "common/AppPaths.h"
#include "common/SafeFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QLockFile>
#include <QLoggingCategory>
#include <cmath>
#include <sys/stat.h>

Q_LOGGING_CATEGORY(lcKeyValue, "scrivlane.prefsync.store")

namespace {

constexpr int settleMs = 50;
constexpr int lockWaitMs = 2000;

const QString damagedSuffix = QStringLiteral(".corrupt");

// Ours from the start when we make it; one the user chose keeps its own mode.
void makeFolder(const QString& folder)
{
    if (QFileInfo::exists(folder))
        return;
    QDir().mkpath(QFileInfo(folder).absolutePath());
    ::mkdir(QFile::encodeName(folder).constData(), S_IRWXU);
}

} // namespace

JsonFileKeyValueStore::JsonFileKeyValueStore(const QString& folder,
                                             const QString& damagedCopiesFolder, MakeFolder make,
                                             QObject* parent)
    : QObject(parent), m_folder(QDir(folder).absolutePath()),
      m_path(QDir(m_folder).absoluteFilePath(fileName)),
      m_damagedCopiesFolder(QDir(damagedCopiesFolder).absolutePath())
{
    if (make == MakeFolder::ifMissing)
        makeFolder(m_folder);
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

QString JsonFileKeyValueStore::damagedCopyPath() const
{
    return QDir(m_damagedCopiesFolder).absoluteFilePath(fileName + damagedSuffix);
}

void JsonFileKeyValueStore::rewatch()
{
    // A rename replaces the watched file, so the folder is watched too and the file re-added.
    if (!m_watcher.directories().contains(m_folder) && QFileInfo::exists(m_folder))
        m_watcher.addPath(m_folder);
    const QFileInfo file(m_path);
    if (!m_watcher.files().contains(m_path) && file.isFile() && !file.isSymLink())
        m_watcher.addPath(m_path);
}

JsonFileKeyValueStore::Snapshot JsonFileKeyValueStore::read() const
{
    Snapshot snapshot;
    const std::variant<QByteArray, QString> bytes = SafeFile::readFile(m_path);
    if (const QString* problem = std::get_if<QString>(&bytes)) {
        if (SafeFile::isMissing(m_path))
            return snapshot;
        snapshot.result = Read::unreadable;
        snapshot.problem = *problem;
        return snapshot;
    }
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(std::get<QByteArray>(bytes), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        snapshot.result = Read::unreadable;
        snapshot.problem = m_path + QStringLiteral(" is not a JSON object");
        snapshot.damaged = std::get<QByteArray>(bytes);
        return snapshot;
    }
    snapshot.result = Read::ok;
    snapshot.values = document.object();
    return snapshot;
}

JsonFileKeyValueStore::Snapshot JsonFileKeyValueStore::refresh()
{
    Snapshot snapshot = read();
    if (snapshot.result == Read::unreadable) {
        // Half-synced, damaged or not a file at all: keep what we had until a good copy
        // arrives.
        qCWarning(lcKeyValue).noquote() << "ignoring" << snapshot.problem;
        return snapshot;
    }
    if (snapshot.result == Read::missing && !m_hadFirstRead)
        return snapshot; // nothing shared yet; the initial sync is still to come

    const QJsonObject& onDisk = snapshot.values;
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
    return snapshot;
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

// Never destroy what we cannot read: it may be the only copy of another machine's values. The
// copy stays on this machine; in the sync folder it would travel everywhere.
bool JsonFileKeyValueStore::keepDamagedCopy(const QByteArray& bytes)
{
    std::optional<QString> error = AppPaths::makePrivateDir(m_damagedCopiesFolder);
    if (!error)
        error = SafeFile::writeFile(damagedCopyPath(), bytes);
    if (error)
        qCWarning(lcKeyValue).noquote()
            << "not replacing the damaged" << m_path << "as no copy can be kept:" << *error;
    return !error;
}

bool JsonFileKeyValueStore::save()
{
    const QByteArray bytes = QJsonDocument(m_values).toJson(QJsonDocument::Indented);
    if (const std::optional<QString> error = SafeFile::writeFile(m_path, bytes)) {
        qCWarning(lcKeyValue).noquote() << "cannot write" << *error;
        return false;
    }
    return true;
}

void JsonFileKeyValueStore::change(const QString& key, const std::optional<QJsonValue>& value)
{
    // The app and the command line must not interleave read-merge-write. The lock lives
    // outside the sync folder so that sync tools never copy it around.
    const QString lockPath = AppPaths::lockFileFor(m_path);
    QLockFile lock(lockPath);
    if (lockPath.isEmpty() || !lock.tryLock(lockWaitMs))
        qCWarning(lcKeyValue) << "writing" << m_path << "without the lock";

    // Merge with the newest shared copy so other machines' keys survive our write.
    const Snapshot snapshot = refresh();
    if (snapshot.result == Read::unreadable) {
        if (!snapshot.damaged) {
            qCWarning(lcKeyValue).noquote() << "not replacing" << m_path << "(see above)";
            return;
        }
        if (!keepDamagedCopy(*snapshot.damaged))
            return;
    }

    if (value ? m_values.value(key) == *value : !m_values.contains(key))
        return;
    if (value)
        m_values.insert(key, *value);
    else
        m_values.remove(key);
    save();
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
    const Read result = refresh().result;
    rewatch();
    return result != Read::unreadable;
}

void JsonFileKeyValueStore::observeExternalChanges(QObject* context, ExternalChangeHandler handler)
{
    m_observers.push_back({context, std::move(handler)});
}

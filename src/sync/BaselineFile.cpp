#include "sync/BaselineFile.h"

#include "common/SafeFile.h"

#include <QJsonDocument>

namespace scrivlane::sync {

namespace {

constexpr int kFormat = 1;

QJsonObject recordsJson(const QMap<QString, QJsonObject>& records)
{
    QJsonObject object;
    for (auto it = records.cbegin(); it != records.cend(); ++it)
        object.insert(it.key(), it.value());
    return object;
}

QMap<QString, QJsonObject> recordsOf(const QJsonObject& object)
{
    QMap<QString, QJsonObject> records;
    for (auto it = object.begin(); it != object.end(); ++it)
        records.insert(it.key(), it.value().toObject());
    return records;
}

} // namespace

BaselineFile::BaselineFile(QString path, QString device)
    : m_path(std::move(path)), m_device(std::move(device)), m_shared(std::make_shared<Shared>())
{
    m_thread.setMaxThreadCount(1);
}

BaselineFile::~BaselineFile()
{
    flush();
}

std::optional<LibraryView> BaselineFile::load() const
{
    const auto read = SafeFile::readFile(m_path);
    const auto* bytes = std::get_if<QByteArray>(&read);
    if (!bytes)
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(*bytes).object();
    // Another device's baseline (a copied data folder) says nothing about this store.
    if (object.value(QLatin1String("v")).toInt() != kFormat ||
        object.value(QLatin1String("device")).toString() != m_device)
        return std::nullopt;
    return LibraryView{recordsOf(object.value(QLatin1String("snippets")).toObject()),
                       recordsOf(object.value(QLatin1String("categories")).toObject())};
}

void BaselineFile::replace(const LibraryView& view)
{
    post({{}, view, true});
}

void BaselineFile::update(const RecordIds& ids, const LibraryView& records)
{
    post({ids, records, false});
}

void BaselineFile::flush()
{
    m_thread.waitForDone();
}

void BaselineFile::post(Change change)
{
    {
        const QMutexLocker lock(&m_shared->mutex);
        m_shared->queued.append(std::move(change));
    }
    m_thread.start([shared = m_shared, path = m_path, device = m_device] {
        QList<Change> changes;
        {
            const QMutexLocker lock(&shared->mutex);
            changes.swap(shared->queued);
        }
        // An earlier task took them all: it wrote them too.
        if (changes.isEmpty())
            return;
        for (const Change& queued : std::as_const(changes)) {
            if (queued.whole)
                shared->view = queued.records;
            else
                replaceRecords(shared->view, queued.ids, queued.records);
        }
        const QJsonObject object{
            {QStringLiteral("v"), kFormat},
            {QStringLiteral("device"), device},
            {QStringLiteral("snippets"), recordsJson(shared->view.snippets)},
            {QStringLiteral("categories"), recordsJson(shared->view.categories)}};
        // Not written: the next start compares the whole store with the folder's state, and
        // what the folder already holds is not sent again.
        SafeFile::writeFile(path, QJsonDocument(object).toJson(QJsonDocument::Compact));
    });
}

} // namespace scrivlane::sync

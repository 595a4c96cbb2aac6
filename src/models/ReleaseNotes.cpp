#include "models/ReleaseNotes.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

// Kept in this static library's resources; registering them here keeps them linked in.
static void registerReleaseNotes()
{
    Q_INIT_RESOURCE(releasenotes);
}

namespace ReleaseNotes {

const QList<ReleaseNote>& all()
{
    static const QList<ReleaseNote> notes = [] {
        registerReleaseNotes();
        QList<ReleaseNote> list;
        QFile file(QStringLiteral(":/release-notes.json"));
        if (!file.open(QIODevice::ReadOnly))
            return list;
        for (const QJsonValue& entry : QJsonDocument::fromJson(file.readAll()).array()) {
            const QJsonObject o = entry.toObject();
            ReleaseNote note;
            note.version = o.value(QStringLiteral("version")).toString();
            note.date = o.value(QStringLiteral("date")).toString();
            for (const QJsonValue& line : o.value(QStringLiteral("notes")).toArray())
                note.notes.append(line.toString());
            list.append(note);
        }
        return list;
    }();
    return notes;
}

} // namespace ReleaseNotes

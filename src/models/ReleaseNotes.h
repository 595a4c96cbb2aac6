#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

// One version's notes under "What's New".
struct ReleaseNote {
    QUuid id = QUuid::createUuid();
    QString version;
    QString date; // shown as written
    QStringList notes;
};

namespace ReleaseNotes {

// This program's own notes, compiled in, newest first.
const QList<ReleaseNote>& all();

} // namespace ReleaseNotes

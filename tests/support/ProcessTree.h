#pragma once

#include <QDir>
#include <QFile>
#include <QList>

// The processes whose parent is `parent`, read from /proc.
inline QList<qint64> childrenOf(qint64 parent)
{
    QList<qint64> children;
    const QStringList entries =
        QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool isNumber = false;
        const qint64 pid = entry.toLongLong(&isNumber);
        QFile stat(QStringLiteral("/proc/%1/stat").arg(entry));
        if (!isNumber || !stat.open(QIODevice::ReadOnly))
            continue;
        // "pid (name) state ppid ...", and the name may hold anything.
        const QByteArray line = stat.readAll();
        const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && fields.at(1).toLongLong() == parent)
            children << pid;
    }
    return children;
}

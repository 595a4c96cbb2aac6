#include "sync/SyncFileNames.h"

#include <QRegularExpression>

namespace scrivlane::sync {

std::optional<QString> conflictCopyOriginal(const QString& fileName)
{
    static const QRegularExpression syncthing(
        QStringLiteral(R"(^(.+)\.sync-conflict-\d{8}-\d{6}(?:-[A-Z0-9]{7})?(\.[^.]*)?$)"));
    static const QRegularExpression conflicted(
        QStringLiteral(R"(^(.+?) \((?:[^()]*'s )?conflicted copy[^()]*\)(\.[^.]*)?$)"),
        QRegularExpression::CaseInsensitiveOption);

    for (const QRegularExpression* pattern : {&syncthing, &conflicted}) {
        const QRegularExpressionMatch match = pattern->match(fileName);
        if (match.hasMatch())
            return match.captured(1) + match.captured(2);
    }
    if (fileName.size() > 5 && fileName.endsWith(QLatin1String(".orig")))
        return fileName.chopped(5);
    return std::nullopt;
}

} // namespace scrivlane::sync

#pragma once

// Internal to the macro processor: what its plain and rich resolutions share.

#include "macros/MacroProcessor.h"

#include <QHash>
#include <QString>
#include <optional>

namespace MacroMatching {

struct Macro {
    qsizetype start = 0; // UTF-16 offsets in the text
    qsizetype end = 0;
    QString name; // lower case
    std::optional<QString> argument;

    QString fillLabel() const;
    // How a macro this processor does not handle goes back into the text.
    QString passedThrough() const;
};

// Non-overlapping matches of the macro pattern, left to right.
template <typename Visit> void forEachMacro(const QString& text, Visit visit)
{
    QRegularExpressionMatchIterator it = MacroProcessor::macroPattern().globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        Macro macro{m.capturedStart(0), m.capturedEnd(0), m.captured(1).toLower(), std::nullopt};
        // {fill:} has an empty argument, {fill} none.
        if (m.capturedStart(2) >= 0)
            macro.argument = m.captured(2);
        visit(macro);
    }
}

// The fields of the text that the values leave without a value.
QList<FillInField> pendingFillIns(const QString& text, const QHash<QString, QString>& fillInValues);

// What a resolution puts in the macro's place; the cursor macro gives the empty string.
QString replacement(const Macro& macro, const std::optional<QString>& clipboard,
                    const QHash<QString, QString>& fillInValues,
                    const MacroProcessor::SnippetLookup& snippetLookup);

} // namespace MacroMatching

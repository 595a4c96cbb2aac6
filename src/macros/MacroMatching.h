#pragma once

// Internal to the macro processor: what its plain and rich resolutions share.

#include "macros/MacroProcessor.h"
#include "text/TextRules.h"

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

// Non-overlapping matches of the macro pattern, left to right, in text repaired by
// TextRules::repairedUtf16 (the offsets are the same).
template <typename Visit> void forEachMacro(const QString& text, Visit visit)
{
    const QString valid = TextRules::repairedUtf16(text);
    QRegularExpressionMatchIterator it = MacroProcessor::macroPattern().globalMatch(valid);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        Macro macro{m.capturedStart(0), m.capturedEnd(0), m.captured(1).toLower(), std::nullopt};
        // {fill:} has an empty argument, {fill} none.
        if (m.capturedStart(2) >= 0)
            macro.argument = m.captured(2);
        visit(macro);
    }
}

// Fill-in values by label: the label as written, else one canonically equal to it.
class FillInValues {
public:
    explicit FillInValues(const QHash<QString, QString>& values);
    std::optional<QString> value(const QString& label) const;

private:
    const QHash<QString, QString>& m_values;
    QHash<QString, QString> m_canonical;
};

// What a resolution puts in the macro's place; the cursor macro gives the empty string.
QString replacement(const Macro& macro, const std::optional<QString>& clipboard,
                    const FillInValues& fillInValues,
                    const MacroProcessor::SnippetLookup& snippetLookup);

} // namespace MacroMatching

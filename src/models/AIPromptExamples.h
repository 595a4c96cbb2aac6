#pragma once

#include <QList>
#include <QString>
#include <QUuid>

// The AI prompt picker's ready-made prompts, in the order it lists them.
struct AIPromptExample {
    QUuid id;
    QString label;
    QString prompt;

    static const QList<AIPromptExample>& all();
    // What choosing it inserts.
    QString macro() const { return QStringLiteral("{ai: ") + prompt + QStringLiteral("}"); }
};

#include "models/AIPromptExamples.h"

#include <QCoreApplication>

// The prompts are translated too: they are what the user's AI is asked, in the user's language.
// Their macros ({clipboard}, {fill:…}) must stay as they are.
const QList<AIPromptExample>& AIPromptExample::all()
{
    static const QList<AIPromptExample> examples{
        {QUuid::createUuid(),
         QCoreApplication::translate("AIPromptExample", "Rewrite in a professional tone"),
         QCoreApplication::translate("AIPromptExample",
                                     "Rewrite the following in a professional tone: {clipboard}")},
        {QUuid::createUuid(), QCoreApplication::translate("AIPromptExample", "Summarize clipboard"),
         // Split after the escape: lupdate reads "\u20133" as a single character.
         QCoreApplication::translate("AIPromptExample", "Summarize this in 2\u2013"
                                                        "3 sentences: {clipboard}")},
        {QUuid::createUuid(),
         QCoreApplication::translate("AIPromptExample", "Write a reply about a topic"),
         QCoreApplication::translate("AIPromptExample",
                                     "Write a brief, friendly reply about {fill:Topic}")},
        {QUuid::createUuid(), QCoreApplication::translate("AIPromptExample", "Translate clipboard"),
         QCoreApplication::translate("AIPromptExample",
                                     "Translate the following to {fill:Language}: {clipboard}")},
        {QUuid::createUuid(),
         QCoreApplication::translate("AIPromptExample", "Fix grammar and spelling"),
         QCoreApplication::translate("AIPromptExample",
                                     "Fix any grammar and spelling errors in: {clipboard}")},
        {QUuid::createUuid(), QCoreApplication::translate("AIPromptExample", "Make it shorter"),
         QCoreApplication::translate("AIPromptExample",
                                     "Rewrite this more concisely, keeping the same meaning: "
                                     "{clipboard}")},
    };
    return examples;
}

#include "models/AIPromptExamples.h"

using namespace Qt::StringLiterals;

const QList<AIPromptExample>& AIPromptExample::all()
{
    static const QList<AIPromptExample> examples{
        {QUuid::createUuid(), u"Rewrite in a professional tone"_s,
         u"Rewrite the following in a professional tone: {clipboard}"_s},
        {QUuid::createUuid(), u"Summarize clipboard"_s,
         u"Summarize this in 2\u20133 sentences: {clipboard}"_s},
        {QUuid::createUuid(), u"Write a reply about a topic"_s,
         u"Write a brief, friendly reply about {fill:Topic}"_s},
        {QUuid::createUuid(), u"Translate clipboard"_s,
         u"Translate the following to {fill:Language}: {clipboard}"_s},
        {QUuid::createUuid(), u"Fix grammar and spelling"_s,
         u"Fix any grammar and spelling errors in: {clipboard}"_s},
        {QUuid::createUuid(), u"Make it shorter"_s,
         u"Rewrite this more concisely, keeping the same meaning: {clipboard}"_s},
    };
    return examples;
}

#pragma once

#include "macros/MacroProcessor.h"

#include <QHash>
#include <QList>
#include <functional>

// The small form that asks for fill-in values.
class FillInPresenter {
public:
    virtual ~FillInPresenter() = default;
    // Exactly one of the two callbacks runs, on the main thread.
    virtual void show(const QList<FillInField>& fields,
                      std::function<void(const QHash<QString, QString>& values)> completed,
                      std::function<void()> cancelled) = 0;
};

// The indicator shown while an AI reply is awaited.
class GeneratingIndicator {
public:
    virtual ~GeneratingIndicator() = default;
    virtual void show() = 0;
    virtual void dismiss() = 0;
};

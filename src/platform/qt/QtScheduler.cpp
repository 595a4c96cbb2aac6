#include "platform/qt/QtScheduler.h"

#include <QMetaObject>
#include <QTimer>

void QtScheduler::schedule(std::chrono::milliseconds delay, QObject* context,
                           std::function<void()> work)
{
    if (!context)
        return;
    // The caller may be a plain thread without an event loop: hop to the context's thread
    // first and start the timer there.
    QMetaObject::invokeMethod(
        context,
        [delay, context, work = std::move(work)]() mutable {
            QTimer::singleShot(delay, context, std::move(work));
        },
        Qt::QueuedConnection);
}

#include "common/ProcessLock.h"

#include <QElapsedTimer>
#include <QFile>
#include <QThread>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace {

int openLockFile(const QString& path)
{
    return ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW,
                  0600);
}

bool tryFlock(int fd)
{
    int result = 0;
    do
        result = ::flock(fd, LOCK_EX | LOCK_NB);
    while (result != 0 && errno == EINTR);
    return result == 0;
}

} // namespace

ProcessLock::ProcessLock(const QString& path, int waitMs) : m_fd(openLockFile(path))
{
    if (!m_fd)
        return;
    QElapsedTimer waited;
    waited.start();
    while (!(m_held = tryFlock(m_fd.get())) && waited.elapsed() < waitMs)
        QThread::msleep(5);
}

bool ProcessLock::isHeld(const QString& path)
{
    const UniqueFd fd(openLockFile(path));
    // Taken and let go at once when free (closing the descriptor releases it).
    return fd && !tryFlock(fd.get());
}

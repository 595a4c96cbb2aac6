#pragma once

#include "common/UniqueFd.h"

#include <QString>

// An exclusive lock that processes on this computer take on a lock file. The kernel lets go of
// it when its holder dies, so a process killed while holding it never leaves the others
// waiting on a stale file.
class ProcessLock {
public:
    // Waits up to `waitMs` for the lock; held() says whether it was taken.
    ProcessLock(const QString& path, int waitMs);
    ProcessLock(const ProcessLock&) = delete;
    ProcessLock& operator=(const ProcessLock&) = delete;

    bool held() const { return m_held; }
    // Whether some process holds the lock on `path` right now.
    static bool isHeld(const QString& path);

private:
    UniqueFd m_fd;
    bool m_held = false;
};

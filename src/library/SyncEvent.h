#pragma once

#include <QDateTime>
#include <QString>
#include <optional>
#include <vector>

// An error reported by the sync mirror. Cloud errors carry a code; a partial failure carries
// the errors of the items that failed.
struct SyncEventError {
    // Codes of the mirror's cloud errors that the store reacts to.
    static constexpr int partialFailure = 2;
    static constexpr int notAuthenticated = 9;
    static constexpr int serverRecordChanged = 14;
    static constexpr int changeTokenExpired = 21;
    static constexpr int quotaExceeded = 25;
    static constexpr int zoneNotFound = 26;

    QString description;
    bool isCloudError = false;
    int code = 0;
    std::vector<SyncEventError> itemErrors;
};

// One event of the sync mirror: set-up, import or export, running until it has an end date.
struct SyncEvent {
    enum class Type { setup, import, exportChanges, other };

    Type type = Type::other;
    std::optional<QDateTime> endDate;
    std::optional<SyncEventError> error;
};

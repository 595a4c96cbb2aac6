#pragma once

#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <functional>

class QObject;

// A small key-value store shared by the user's machines. Values are bools, doubles and strings.
// Changes that arrive from elsewhere are announced to observers with a reason and the keys.
class KeyValueStore {
public:
    // The entries of an external change's user info.
    static inline const QString reasonKey = QStringLiteral("reason");
    static inline const QString changedKeysKey = QStringLiteral("changedKeys");

    enum ChangeReason : int {
        serverChange = 0,   // another machine changed values
        initialSync = 1,    // the first read of the shared values
        quotaViolation = 2, // too much data; nothing was stored
        accountChange = 3,  // the shared place itself changed
    };

    using ExternalChangeHandler = std::function<void(const QVariantMap& userInfo)>;

    virtual ~KeyValueStore() = default;

    virtual void setBool(const QString& key, bool value) = 0;
    virtual void setDouble(const QString& key, double value) = 0;
    virtual void setString(const QString& key, const QString& value) = 0;
    virtual void removeObject(const QString& key) = 0;
    // An invalid QVariant when the key holds nothing.
    virtual QVariant object(const QString& key) const = 0;
    // Brings the local copy up to date with the shared one; false when that failed.
    virtual bool synchronize() = 0;

    // `handler` runs later on `context`'s thread for every external change, and never once
    // `context` is gone.
    virtual void observeExternalChanges(QObject* context, ExternalChangeHandler handler) = 0;
};

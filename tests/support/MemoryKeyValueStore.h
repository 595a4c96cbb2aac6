#pragma once

#include "platform/api/KeyValueStore.h"

#include <QStringList>
#include <QVariantMap>
#include <vector>

// A key-value store in memory that records every write.
class MemoryKeyValueStore final : public KeyValueStore {
public:
    void setBool(const QString& key, bool value) override
    {
        set(QStringLiteral("bool"), key, value);
    }
    void setDouble(const QString& key, double value) override
    {
        set(QStringLiteral("double"), key, value);
    }
    void setString(const QString& key, const QString& value) override
    {
        set(QStringLiteral("string"), key, value);
    }
    void removeObject(const QString& key) override
    {
        calls.append(QStringLiteral("remove ") + key);
        values.remove(key);
    }
    QVariant object(const QString& key) const override { return values.value(key); }
    bool synchronize() override
    {
        calls.append(QStringLiteral("synchronize"));
        return true;
    }
    void observeExternalChanges(QObject*, ExternalChangeHandler handler) override
    {
        observers.push_back(std::move(handler));
    }

    QVariantMap values;
    QStringList calls;
    std::vector<ExternalChangeHandler> observers;

private:
    void set(const QString& type, const QString& key, const QVariant& value)
    {
        calls.append(type + u' ' + key + u'=' + value.toString());
        values.insert(key, value);
    }
};

#pragma once

#include <QString>
#include <functional>
#include <optional>

class QObject;

// Secrets (API keys) kept by (service, account), readable only by the user. Operations finish
// in the order they were started; callbacks run later on the calling thread, and not at all
// once `context` is destroyed. A failure reads as "no secret" and is not reported further.
class SecretStore {
public:
    using ReadDone = std::function<void(std::optional<QString> secret)>;
    using WriteDone = std::function<void(bool ok)>;

    virtual ~SecretStore() = default;
    virtual void read(const QString& service, const QString& account, QObject* context,
                      ReadDone done) = 0;
    virtual void write(const QString& service, const QString& account, const QString& secret,
                       QObject* context, WriteDone done) = 0;
    virtual void remove(const QString& service, const QString& account, QObject* context,
                        WriteDone done) = 0;
};

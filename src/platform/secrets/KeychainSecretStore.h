#pragma once

#include "platform/api/SecretStore.h"
#include "platform/secrets/FileSecretStore.h"

#include <QObject>
#include <QPointer>
#include <chrono>
#include <deque>

namespace QKeychain {
class Job;
}

// Secrets in the desktop's Secret Service (or KWallet) through QtKeychain. When no such
// service answers (a server, a minimal desktop, CI), it says so once in the log and keeps
// secrets in a FileSecretStore for the rest of the process. Operations run one at a time, in
// order, so a read always sees the writes started before it.
class KeychainSecretStore final : public QObject, public SecretStore {
    Q_OBJECT
public:
    explicit KeychainSecretStore(
        const QString& fallbackPath,
        std::chrono::milliseconds answerLimit = std::chrono::milliseconds(5000),
        QObject* parent = nullptr);

    bool usingFallback() const { return m_fallback; }

    void read(const QString& service, const QString& account, QObject* context,
              ReadDone done) override;
    void write(const QString& service, const QString& account, const QString& secret,
               QObject* context, WriteDone done) override;
    void remove(const QString& service, const QString& account, QObject* context,
                WriteDone done) override;

private:
    enum class Kind { read, write, remove };
    struct Operation {
        Kind kind;
        QString service;
        QString account;
        QString secret;
        QPointer<QObject> context;
        ReadDone readDone;
        WriteDone writeDone;
    };
    enum class Answer { done, notFound, denied, unavailable };

    void enqueue(Operation operation);
    void startNext();
    void startJob(Operation& operation);
    void onAnswer(Answer answer, const QString& secret, const QString& reason);
    void runOnFile(Operation& operation);
    void finish(std::optional<QString> secret, bool ok);
    void switchToFallback(const QString& reason);

    FileSecretStore m_file;
    std::chrono::milliseconds m_answerLimit;
    std::deque<Operation> m_queue;
    bool m_busy = false;
    bool m_fallback = false;
    quint64 m_attempt = 0; // answers to an abandoned attempt are ignored
};

#include "platform/secrets/KeychainSecretStore.h"

#include <QLoggingCategory>
#include <QMetaObject>
#include <QTimer>
#include <qt6keychain/keychain.h>

Q_LOGGING_CATEGORY(lcSecrets, "scrivlane.secrets")

using namespace std::chrono;

KeychainSecretStore::KeychainSecretStore(const QString& fallbackPath, milliseconds answerLimit,
                                         QObject* parent)
    : QObject(parent), m_file(fallbackPath), m_answerLimit(answerLimit)
{}

void KeychainSecretStore::read(const QString& service, const QString& account, QObject* context,
                               ReadDone done)
{
    enqueue({Kind::read, service, account, {}, context, std::move(done), {}});
}

void KeychainSecretStore::write(const QString& service, const QString& account,
                                const QString& secret, QObject* context, WriteDone done)
{
    enqueue({Kind::write, service, account, secret, context, {}, std::move(done)});
}

void KeychainSecretStore::remove(const QString& service, const QString& account, QObject* context,
                                 WriteDone done)
{
    enqueue({Kind::remove, service, account, {}, context, {}, std::move(done)});
}

void KeychainSecretStore::enqueue(Operation operation)
{
    m_queue.push_back(std::move(operation));
    // Started from the event loop so that callbacks never run inside the caller's call.
    QMetaObject::invokeMethod(this, &KeychainSecretStore::startNext, Qt::QueuedConnection);
}

void KeychainSecretStore::startNext()
{
    if (m_busy || m_queue.empty())
        return;
    m_busy = true;
    Operation& operation = m_queue.front();
    if (m_fallback)
        runOnFile(operation);
    else
        startJob(operation);
}

void KeychainSecretStore::startJob(Operation& operation)
{
    QKeychain::Job* job = nullptr;
    switch (operation.kind) {
    case Kind::read:
        job = new QKeychain::ReadPasswordJob(operation.service);
        break;
    case Kind::write: {
        auto* writeJob = new QKeychain::WritePasswordJob(operation.service);
        writeJob->setTextData(operation.secret);
        job = writeJob;
        break;
    }
    case Kind::remove:
        job = new QKeychain::DeletePasswordJob(operation.service);
        break;
    }
    job->setAutoDelete(true);
    job->setInsecureFallback(false); // never into QSettings
    job->setKey(operation.account);

    const quint64 attempt = ++m_attempt;
    connect(job, &QKeychain::Job::finished, this, [this, attempt](QKeychain::Job* finished) {
        if (attempt != m_attempt)
            return;
        ++m_attempt;
        switch (finished->error()) {
        case QKeychain::NoError: {
            auto* readJob = qobject_cast<QKeychain::ReadPasswordJob*>(finished);
            onAnswer(Answer::done, readJob ? readJob->textData() : QString(), {});
            return;
        }
        case QKeychain::EntryNotFound:
            onAnswer(Answer::notFound, {}, {});
            return;
        case QKeychain::AccessDenied:
        case QKeychain::AccessDeniedByUser:
        case QKeychain::CouldNotDeleteEntry:
            // The service works but said no: a plain file must not overrule the user.
            onAnswer(Answer::denied, {}, {});
            return;
        default:
            onAnswer(Answer::unavailable, {}, finished->errorString());
            return;
        }
    });
    QTimer::singleShot(m_answerLimit, this, [this, attempt] {
        if (attempt != m_attempt)
            return;
        ++m_attempt;
        onAnswer(Answer::unavailable, {},
                 QStringLiteral("no answer within %1 ms").arg(m_answerLimit.count()));
    });
    job->start();
}

void KeychainSecretStore::onAnswer(Answer answer, const QString& secret, const QString& reason)
{
    Operation& operation = m_queue.front();
    switch (answer) {
    case Answer::done:
        // A copy left in the file from a time without the service would only go stale.
        if (operation.kind != Kind::read)
            m_file.removeNow(operation.service, operation.account);
        finish(operation.kind == Kind::read ? std::optional(secret) : std::nullopt, true);
        return;
    case Answer::notFound:
        // A key saved while the service was away is still the user's key.
        if (operation.kind == Kind::read)
            finish(m_file.readNow(operation.service, operation.account), true);
        else
            finish(std::nullopt, operation.kind == Kind::remove &&
                                     m_file.removeNow(operation.service, operation.account));
        return;
    case Answer::denied:
        finish(std::nullopt, false);
        return;
    case Answer::unavailable:
        switchToFallback(reason);
        runOnFile(operation);
        return;
    }
}

void KeychainSecretStore::runOnFile(Operation& operation)
{
    switch (operation.kind) {
    case Kind::read:
        finish(m_file.readNow(operation.service, operation.account), true);
        return;
    case Kind::write:
        finish(std::nullopt,
               m_file.writeNow(operation.service, operation.account, operation.secret));
        return;
    case Kind::remove:
        finish(std::nullopt, m_file.removeNow(operation.service, operation.account));
        return;
    }
}

void KeychainSecretStore::finish(std::optional<QString> secret, bool ok)
{
    Operation operation = std::move(m_queue.front());
    m_queue.pop_front();
    m_busy = false;
    if (operation.context) {
        if (operation.kind == Kind::read && operation.readDone) {
            QMetaObject::invokeMethod(
                operation.context, [done = std::move(operation.readDone), secret] { done(secret); },
                Qt::QueuedConnection);
        } else if (operation.kind != Kind::read && operation.writeDone) {
            QMetaObject::invokeMethod(
                operation.context, [done = std::move(operation.writeDone), ok] { done(ok); },
                Qt::QueuedConnection);
        }
    }
    startNext();
}

void KeychainSecretStore::switchToFallback(const QString& reason)
{
    if (m_fallback)
        return;
    m_fallback = true;
    qCInfo(lcSecrets).noquote() << QStringLiteral("No Secret Service available (%1); API keys "
                                                  "are kept in %2, readable only by you")
                                       .arg(reason, m_file.path());
}

#pragma once

#include "platform/api/SecretStore.h"

#include <QJsonObject>

// Secrets in one JSON file readable only by the user ({"service": {"account": "secret"}}),
// for systems without a running Secret Service. The file is replaced atomically and never
// exists with wider permissions than 0600, not even for a moment; a lock file next to it keeps
// two processes from losing each other's changes.
class FileSecretStore final : public SecretStore {
public:
    explicit FileSecretStore(QString path);

    const QString& path() const { return m_path; }

    std::optional<QString> readNow(const QString& service, const QString& account) const;
    bool writeNow(const QString& service, const QString& account, const QString& secret);
    bool removeNow(const QString& service, const QString& account);

    void read(const QString& service, const QString& account, QObject* context,
              ReadDone done) override;
    void write(const QString& service, const QString& account, const QString& secret,
               QObject* context, WriteDone done) override;
    void remove(const QString& service, const QString& account, QObject* context,
                WriteDone done) override;

private:
    std::optional<QJsonObject> load() const; // nullopt: present but unreadable
    bool save(const QJsonObject& all) const;
    bool change(const std::function<void(QJsonObject&)>& edit);

    QString m_path;
};

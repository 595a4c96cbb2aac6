#pragma once

#include "ai/AIService.h"
#include "platform/qt/QtHttpClient.h"
#include "platform/secrets/FileSecretStore.h"
#include "support/HttpTestServer.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

// One AIService over its own settings file, a file secret store, real HTTP and a local
// server standing in for every provider.
struct AIHarness {
    QTemporaryDir dir;
    QSettings settings{dir.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat};
    FileSecretStore secrets{dir.filePath(QStringLiteral("secrets.json"))};
    QtHttpClient http;
    HttpTestServer& server;
    AITimeLimits limits;
    std::unique_ptr<AIService> service;

    explicit AIHarness(HttpTestServer& testServer) : server(testServer) {}

    AIServiceDependencies dependencies()
    {
        const QString base = server.baseUrl();
        return {&settings,
                &secrets,
                &http,
                limits,
                {base + QStringLiteral("/openai/v1"), base + QStringLiteral("/anthropic/v1"),
                 base + QStringLiteral("/xai/v1")}};
    }

    AIService& start()
    {
        service = std::make_unique<AIService>(dependencies());
        return *service;
    }

    void setKey(AIProvider provider, const QString& key)
    {
        secrets.writeNow(AIService::keychainService, AIService::keychainAccount(provider), key);
    }

    // Runs complete() to its end.
    AIResult<QString> complete(const QString& prompt)
    {
        std::optional<AIResult<QString>> result;
        service->complete(prompt, [&result](const AIResult<QString>& r) { result = r; });
        if (!QTest::qWaitFor([&result] { return result.has_value(); }, 20000))
            return ForeignError{QStringLiteral("test: no answer")};
        return *result;
    }

    // The reply text, or the failure's description prefixed with "error: ".
    QString completeText(const QString& prompt)
    {
        const AIResult<QString> r = complete(prompt);
        if (const auto* text = std::get_if<QString>(&r))
            return *text;
        return QStringLiteral("error: ") + failureDescription(std::get<AIFailure>(r));
    }

    void refresh()
    {
        QSignalSpy done(service.get(), &AIService::modelsRefreshed);
        service->refreshModels();
        QVERIFY(done.wait(20000));
    }
};

inline QByteArray openAIReply(const QString& content)
{
    return "{\"id\":\"c1\",\"choices\":[{\"index\":0,\"message\":{\"role\":\"assistant\","
           "\"content\":\"" +
           content.toUtf8() + "\"}}]}";
}

inline QByteArray anthropicReply(const QString& text)
{
    return "{\"id\":\"m1\",\"content\":[{\"type\":\"text\",\"text\":\"" + text.toUtf8() +
           "\"}],\"stop_reason\":\"end_turn\"}";
}

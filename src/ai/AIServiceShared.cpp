#include "AIService.h"
#include "AppPaths.h"
#include "KeychainSecretStore.h"
#include "QtHttpClient.h"
#include "UserDefaults.h"

#include <QCoreApplication>
#include <QDir>

namespace {

// The shared service and the system parts it talks through, owned by the application object
// so that they go before Qt itself does.
class SharedAIService final : public QObject {
public:
    explicit SharedAIService(QObject* parent)
        : QObject(parent),
          secrets(QDir(AppPaths::dataDir()).absoluteFilePath(QStringLiteral("secrets.json"))),
          service({&UserDefaults::shared(), &secrets, &http, {}, {}})
    {
        AppPaths::ensureDir(AppPaths::dataDir());
    }

    QtHttpClient http;
    KeychainSecretStore secrets;
    AIService service;
};

} // namespace

AIService& AIService::shared()
{
    Q_ASSERT(QCoreApplication::instance());
    static SharedAIService* instance = new SharedAIService(QCoreApplication::instance());
    return instance->service;
}

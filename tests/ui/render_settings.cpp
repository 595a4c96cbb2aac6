// Renders the settings panes, the update dialog and the help dialog into PNG files, offscreen,
// with a small demo library: render_settings OUTPUT_FOLDER. The palette follows
// SCRIVLANE_PALETTE (dark or light); file names end in it.

#include "ai/AIService.h"
#include "app/Appearance.h"
#include "backup/BackupController.h"
#include "expansion/TextExpansionService.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/ContentViewModel.h"
#include "models/Updater.h"
#include "platform/api/LoginItem.h"
#include "platform/api/SoundPlayer.h"
#include "platform/qt/QtHttpClient.h"
#include "platform/qt/QtScheduler.h"
#include "platform/secrets/FileSecretStore.h"
#include "sound/SoundService.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/settings/AISettingsView.h"
#include "ui/settings/SettingsContentView.h"
#include "ui/settings/UpdateDialog.h"
#include "ui/widgets/AccessHelp.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

struct SilentPlayer final : SoundPlayer {
    void playNamed(const QString&, float) override {}
    bool playFile(const QString&, float) override { return true; }
};

struct DemoLoginItem final : LoginItem {
    bool enabled = true;
    bool isEnabled() const override { return enabled; }
    QString setEnabled(bool on) override
    {
        enabled = on;
        return {};
    }
};

QString g_out;
QString g_palette;

void save(QWidget* widget, const QString& name)
{
    QTest::qWait(50);
    const QString path = g_out + u"/settings-"_s + name + u"-"_s + g_palette + u".png"_s;
    if (!widget->grab().save(path))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
    else
        std::printf("%s\n", qPrintable(path));
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    QApplication app(argc, argv);
    Appearance::applyFromEnvironment();
    g_out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : u"."_s;
    g_palette = qEnvironmentVariable("SCRIVLANE_PALETTE", u"light"_s);
    QDir().mkpath(g_out);

    QSettings settings(home.filePath(u"settings.ini"_s), QSettings::IniFormat);
    PersistenceController::Options options;
    options.databasePath = home.filePath(u"library.sqlite"_s);
    options.settings = &settings;
    options.watchForExternalChanges = false;
    PersistenceController store(std::move(options));
    for (const auto& [abbr, text] :
         {std::pair{u";sig"_s, u"Best regards,\nAda"_s}, {u";addr"_s, u"1 Main Street"_s}}) {
        SnippetEntity* s = store.insertSnippet(
            SnippetEntity::create(QString(), abbr, nullptr, QDateTime::currentDateTimeUtc()));
        s->setExpandedText(text);
    }
    store.save();

    QtScheduler scheduler;
    TextExpansionService expansion({&scheduler, nullptr, nullptr, &settings, nullptr, {}});
    SilentPlayer player;
    SoundService sound({&player, &settings, home.filePath(u"Sounds"_s)});
    QtHttpClient http;
    FileSecretStore secrets(home.filePath(u"secrets.json"_s));
    AIService ai({&settings, &secrets, &http, {}, {}});
    BackupController backup({&store,
                             &settings,
                             [] { return AppSettingsBackup{}; },
                             {[](bool) {}, [](bool) {}, [](float) {}, [](const QString&) {},
                              [](const QString&, const QVariant&) {}},
                             {}});
    const QString backups = home.filePath(u"Documents/ScrivLane Backups"_s);
    QDir().mkpath(backups);
    backup.chooseBackupFolder(backups);
    backup.performBackup();
    if (!QTest::qWaitFor([&] { return !backup.isBackingUp(); }, 5000))
        std::fprintf(stderr, "the demo backup did not finish\n");
    Updater updater({&http, &settings, &scheduler, u"0.1.0"_s, {}, std::chrono::hours(1)});
    updater.start();
    CheckForUpdatesViewModel updates(&updater);
    DemoLoginItem login;
    SettingsServices services{&settings, &store,   &scheduler, &expansion, &sound, &ai,
                              &backup,   &updates, &login,     u"0.1.0"_s, {}};

    MainWindow window({&store, &settings, &scheduler, nullptr, &services});
    window.resize(1040, 760);
    window.show();
    const QList<std::pair<SettingsSection, QString>> panes{
        {SettingsSection::general, u"general"_s},
        {SettingsSection::sound, u"sound"_s},
        {SettingsSection::backupSync, u"backup-sync"_s},
        {SettingsSection::permissions, u"permissions"_s}};
    for (const auto& [section, name] : panes) {
        // General is long: the whole of it.
        window.resize(1040, section == SettingsSection::general ? 880 : 760);
        window.openSettings(section);
        save(&window, name);
    }
    expansion.setAccessibilityGranted(true);
    window.openSettings(SettingsSection::permissions);
    save(&window, u"permissions-granted"_s);

    // The AI pane with Advanced open, for each kind of provider, its whole form.
    window.resize(1040, 1180);
    window.openSettings(SettingsSection::aiMacros);
    auto* content = window.findChild<SettingsContentView*>();
    auto* pane = qobject_cast<AISettingsView*>(content->pane(SettingsSection::aiMacros));
    pane->setAdvancedShown(true);
    for (const auto& [provider, name] : {std::pair{AIProvider::openAI, u"ai-openai"_s},
                                         {AIProvider::anthropic, u"ai-anthropic"_s},
                                         {AIProvider::ollama, u"ai-ollama"_s},
                                         {AIProvider::custom, u"ai-custom"_s}}) {
        ai.setProvider(provider);
        if (provider == AIProvider::anthropic) {
            ai.setAnthropicEnterpriseBaseURL(u"https://llm-gateway.example.org/anthropic"_s);
            ai.setAnthropicEnterpriseAuthType(AnthropicEnterpriseAuthType::custom);
            ai.setAnthropicEnterpriseEndpointStyle(AnthropicEnterpriseEndpointStyle::custom);
        }
        if (provider == AIProvider::custom)
            ai.setCustomBaseURL(u"https://llm.example.org/v1"_s);
        if (!QTest::qWaitFor([&] { return !ai.isFetchingModels(); }, 7000))
            std::fprintf(stderr, "the model list did not arrive\n");
        save(&window, name);
        if (provider == AIProvider::anthropic)
            ai.setAnthropicEnterpriseBaseURL(QString());
    }

    AppcastItem item;
    item.version = item.shownVersion = u"0.2.0"_s;
    item.notes = u"<ul><li>Settings inside the window.</li><li>Check for Updates… and beta "
                 u"builds.</li><li>Launch at Login.</li></ul>"_s;
    item.downloadLink = QUrl(u"https://github.com/pellucidforge/scrivlane/releases/tag/v0.2.0"_s);
    item.releaseNotesLink = QUrl(u"https://github.com/pellucidforge/scrivlane/releases"_s);
    QDialog* dialog = UpdateDialog::create(item, u"0.1.0"_s, &window);
    dialog->show();
    save(dialog, u"update-dialog"_s);
    dialog->close();

    AccessHelp::show(&window);
    QTest::qWait(50);
    if (auto* help = window.findChild<QMessageBox*>()) {
        save(help, u"help-dialog"_s);
        help->close();
    }
    return 0;
}

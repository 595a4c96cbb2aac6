// Opening the settings, offscreen: from the "Settings" button (or a row of the settings list)
// in a shown main window to the pane painted, for each pane the first time it is shown in
// that window. The median of 7 windows; each window is new, as the app builds it on each open.
// Prints one line per pane; see docs/performance.md.

#include "BenchSupport.h"
#include "ai/AIService.h"
#include "backup/BackupController.h"
#include "expansion/TextExpansionService.h"
#include "library/SnippetEntity.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/ContentViewModel.h"
#include "models/Updater.h"
#include "platform/api/LoginItem.h"
#include "platform/api/SoundPlayer.h"
#include "platform/qt/QtHttpClient.h"
#include "platform/secrets/FileSecretStore.h"
#include "sound/SoundService.h"
#include "support/VirtualClock.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/settings/SettingsContentView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QMenu>
#include <QSettings>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

struct SilentPlayer final : SoundPlayer {
    void playNamed(const QString&, float) override {}
    bool playFile(const QString&, float) override { return true; }
};

struct NoLoginItem final : LoginItem {
    bool isEnabled() const override { return false; }
    QString setEnabled(bool) override { return {}; }
};

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    QApplication app(argc, argv);
    const QString path = benchFolder().filePath(QStringLiteral("settings.sqlite"));
    QSettings settings(benchFolder().filePath(QStringLiteral("settings.ini")),
                       QSettings::IniFormat);
    auto store = openBenchStore(path);
    for (int i = 0; i < 1000; ++i)
        store
            ->insertSnippet(SnippetEntity::create(QStringLiteral("Snippet %1").arg(i),
                                                  QStringLiteral(";s%1").arg(i), nullptr,
                                                  QDateTime::currentDateTimeUtc()))
            ->setExpandedText(QStringLiteral("Text %1").arg(i));
    store->save();

    VirtualClock clock;
    TextExpansionService expansion({&clock, nullptr, nullptr, &settings, nullptr, {}});
    SilentPlayer player;
    SoundService sound({&player, &settings, benchFolder().filePath(QStringLiteral("Sounds"))});
    QtHttpClient http;
    FileSecretStore secrets(benchFolder().filePath(QStringLiteral("secrets.json")));
    AIService ai({&settings, &secrets, &http, {}, {}});
    BackupController backup({store.get(),
                             &settings,
                             [] { return AppSettingsBackup{}; },
                             {[](bool) {}, [](bool) {}, [](float) {}, [](const QString&) {},
                              [](const QString&, const QVariant&) {}},
                             {}});
    Updater updater({&http, &settings, &clock, QStringLiteral("0.1.0"), {}, {}});
    updater.start();
    CheckForUpdatesViewModel updates(&updater);
    NoLoginItem login;
    SettingsServices services{&settings, store.get(), &clock,   &expansion, &sound,
                              &ai,       &backup,     &updates, &login,     QStringLiteral("0.1.0"),
                              {}};
    {
        // The idle app has drawn its tray menu: fonts and the style are loaded already.
        QMenu menu;
        menu.addAction(QStringLiteral("Open Snippets"));
        menu.show();
        settle();
    }

    std::vector<std::vector<double>> times(SettingsSections::all().size());
    for (int round = 0; round < 7; ++round) {
        MainWindow window({store.get(), &settings, &clock, nullptr, &services});
        window.show();
        settle();
        auto* content = window.findChild<SettingsContentView*>();
        for (qsizetype i = 0; i < SettingsSections::all().size(); ++i) {
            QElapsedTimer timer;
            timer.start();
            if (i == 0)
                window.model()->toggleSettings(); // opens on General
            else
                window.model()->selectSettingsSection(SettingsSections::all()[i]);
            content->currentWidget()->repaint();
            settle();
            times[std::size_t(i)].push_back(double(timer.nsecsElapsed()) / 1e6);
        }
    }
    for (qsizetype i = 0; i < SettingsSections::all().size(); ++i)
        std::printf("%s: median %.1f ms, max %.1f ms (of 7)\n",
                    qPrintable(SettingsSections::title(SettingsSections::all()[i])),
                    median(times[std::size_t(i)]),
                    *std::max_element(times[std::size_t(i)].begin(), times[std::size_t(i)].end()));
    return 0;
}

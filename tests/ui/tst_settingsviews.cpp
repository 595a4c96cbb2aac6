#include "ai/AITestSupport.h"
#include "backup/BackupController.h"
#include "common/Preferences.h"
#include "expansion/TextExpansionService.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/ContentViewModel.h"
#include "models/ModelTestSupport.h"
#include "models/Updater.h"
#include "sound/SoundService.h"
#include "support/RecordingSoundPlayer.h"
#include "support/VirtualClock.h"
#include "ui/UiTestSupport.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/settings/SettingsContentView.h"
#include "ui/settings/UpdateDialog.h"

#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTextBrowser>

using namespace Qt::StringLiterals;

// The settings inside the main window, driven as a person would.
class TestSettingsViews : public QObject {
    Q_OBJECT
private:
    HttpTestServer m_server;
    std::unique_ptr<Library> m_library;
    std::unique_ptr<AIHarness> m_ai;
    VirtualClock m_clock;
    RecordingSoundPlayer m_player;
    std::unique_ptr<SoundService> m_sound;
    std::unique_ptr<TextExpansionService> m_expansion;
    std::unique_ptr<BackupController> m_backup;
    SettingsServices m_services;
    std::unique_ptr<MainWindow> m_window;

    MainWindow& window()
    {
        if (!m_window) {
            m_window = std::make_unique<MainWindow>(MainWindow::Dependencies{
                m_library->store.get(), m_library->settings.get(), &m_clock, nullptr, &m_services});
            m_window->show();
            QApplication::setActiveWindow(m_window.get());
            if (!QTest::qWaitForWindowActive(m_window.get()))
                qWarning("window not active");
        }
        return *m_window;
    }
    SettingsContentView* content() { return window().findChild<SettingsContentView*>(); }
    QWidget* pane(SettingsSection section)
    {
        window().openSettings(section);
        return content()->pane(section);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_server.listen());
        m_server.setReply({200, R"({"data":[{"id":"gpt-4o"},{"id":"gpt-4o-mini"}]})"});
    }
    void init()
    {
        m_window.reset();
        m_backup.reset();
        m_library = std::make_unique<Library>();
        m_ai = std::make_unique<AIHarness>(m_server);
        m_ai->setKey(AIProvider::openAI, u"sk-test"_s);
        m_ai->start();
        m_server.clearRequests();
        m_sound = std::make_unique<SoundService>(SoundService::Dependencies{
            &m_player, m_library->settings.get(), m_library->dir.filePath(u"Sounds"_s)});
        m_expansion = std::make_unique<TextExpansionService>(TextExpansionService::Dependencies{
            &m_clock, nullptr, nullptr, m_library->settings.get(), nullptr, {}});
        BackupController::Dependencies d;
        d.store = m_library->store.get();
        d.settings = m_library->settings.get();
        d.currentSettings = [] { return AppSettingsBackup{}; };
        d.settingsTarget = {[](bool) {}, [](bool) {}, [](float) {}, [](const QString&) {},
                            [](const QString&, const QVariant&) {}};
        m_backup = std::make_unique<BackupController>(d);
        m_services = {nullptr,
                      nullptr,
                      nullptr,
                      m_expansion.get(),
                      m_sound.get(),
                      m_ai->service.get(),
                      m_backup.get(),
                      nullptr,
                      nullptr,
                      u"0.1.0"_s,
                      {}};
    }
    void cleanup()
    {
        m_window.reset();
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w->isVisible())
                w->close();
    }

    void opensOnGeneralAndBuildsOnlyWhatIsShown();
    void permissionsTurnGrantedLive();
    void keepingTheProviderChangesNothing();
    void customFileCancelledFallsBack();
    void aiFieldsRefuseWhatTheyCannotTake();
    void everyControlHasAnAccessibleName();
    void checkForUpdatesFollowsTheUpdater();
    void updateResultsShownAsAsked_data();
    void updateResultsShownAsAsked();
};

void TestSettingsViews::opensOnGeneralAndBuildsOnlyWhatIsShown()
{
    window().model()->toggleSettings();
    QCOMPARE(window().model()->settingsSection(), std::optional(SettingsSection::general));
    auto* list = window().findChild<QListWidget*>();
    QCOMPARE(list->count(), 5);
    QVERIFY(content()->isVisible());
    QVERIFY(content()->pane(SettingsSection::general));
    QVERIFY(content()->currentWidget()->findChild<QLabel*>(u"versionLabel"_s));
    for (SettingsSection other : {SettingsSection::sound, SettingsSection::backupSync,
                                  SettingsSection::permissions, SettingsSection::aiMacros})
        QVERIFY(!content()->pane(other));
    QTest::qWait(100);
    QVERIFY(m_server.requests().isEmpty()); // the AI pane was never shown

    // Choosing a row in the list shows its pane; the AI pane asks for the models once.
    list->setCurrentRow(4);
    QVERIFY(content()->pane(SettingsSection::aiMacros));
    QCOMPARE(content()->currentWidget(), content()->pane(SettingsSection::aiMacros));
    QTRY_COMPARE(m_server.requests().size(), 1);
    window().model()->selectSettingsSection(std::nullopt);
    auto* detail = window().findChild<QStackedWidget*>(u"detailColumn"_s);
    QVERIFY(!content()->isVisible());
    bool found = false;
    for (QLabel* label : detail->currentWidget()->findChildren<QLabel*>())
        found |= label->text() == u"Select a settings section"_s;
    QVERIFY(found);
    // The sync suggestion's way in.
    window().openSettings(SettingsSection::backupSync);
    QCOMPARE(list->currentRow(), 2);
    QCOMPARE(content()->currentWidget(), content()->pane(SettingsSection::backupSync));
    QCOMPARE(content()->currentWidget()->findChild<QLabel*>(u"backupFolder"_s)->text(),
             u"Not set"_s);
    QVERIFY(!UiTest::named<QPushButton>(content()->currentWidget(), u"Back Up Now"_s)->isEnabled());
}

void TestSettingsViews::permissionsTurnGrantedLive()
{
    QWidget* permissions = pane(SettingsSection::permissions);
    auto* badge = permissions->findChild<QLabel*>(u"accessBadge"_s);
    QCOMPARE(badge->text(), u"Required"_s);
    QVERIFY(UiTest::named<QPushButton>(permissions, u"What ScrivLane Needs"_s)->isVisible());
    m_expansion->setAccessibilityGranted(true); // the display became usable
    QCOMPARE(badge->text(), u"Granted"_s);
    m_expansion->setAccessibilityGranted(false);
    QCOMPARE(badge->text(), u"Required"_s);
}

void TestSettingsViews::keepingTheProviderChangesNothing()
{
    AIService& ai = *m_ai->service;
    QTRY_COMPARE(ai.apiKey(), u"sk-test"_s);
    QWidget* aiPane = pane(SettingsSection::aiMacros);
    auto* provider = UiTest::named<QComboBox>(aiPane, u"Provider"_s);
    QTRY_COMPARE(aiPane->findChild<QLineEdit*>(u"apiKey"_s)->text(), u"sk-test"_s);
    provider->setCurrentIndex(1);
    Q_EMIT provider->activated(1); // Anthropic, as a click in the list does
    auto* question = UiTest::shownTopLevel<QMessageBox>();
    if (!question) // window-modal: a child of the window
        question = aiPane->findChild<QMessageBox*>(u"providerSwitchQuestion"_s);
    QVERIFY(question);
    QCOMPARE(question->text(), u"Switch to Anthropic?"_s);
    QPushButton* keep = nullptr;
    for (QAbstractButton* b : question->buttons())
        if (b->text() == u"Keep OpenAI"_s)
            keep = qobject_cast<QPushButton*>(b);
    QVERIFY(keep);
    keep->click();
    QCOMPARE(ai.provider(), AIProvider::openAI);
    QCOMPARE(ai.model(), u"gpt-4o-mini"_s);
    QTRY_COMPARE(provider->currentText(), u"OpenAI"_s);
}

void TestSettingsViews::customFileCancelledFallsBack()
{
    m_sound->setSelectedSoundName(u"Hero"_s);
    QWidget* soundPane = pane(SettingsSection::sound);
    auto* picker = UiTest::named<QComboBox>(soundPane, u"Sound"_s);
    QCOMPARE(picker->currentText(), u"Hero"_s);
    const int pick = picker->findData(u"__pick__"_s);
    QCOMPARE(picker->itemText(pick), u"Custom file\u2026"_s);
    picker->setCurrentIndex(pick);
    Q_EMIT picker->activated(pick);
    auto* dialog = soundPane->findChild<QFileDialog*>(u"soundFileDialog"_s);
    QVERIFY(dialog);
    QTRY_VERIFY(dialog->isVisible());
    QCOMPARE(picker->currentText(), u"Basso"_s); // put back at once
    dialog->reject();
    QCOMPARE(m_sound->selectedSoundName(), u"Basso"_s);
    QCOMPARE(picker->currentText(), u"Basso"_s);
}

void TestSettingsViews::aiFieldsRefuseWhatTheyCannotTake()
{
    AIService& ai = *m_ai->service;
    ai.setProvider(AIProvider::ollama);
    QWidget* aiPane = pane(SettingsSection::aiMacros);
    auto* port = aiPane->findChild<QLineEdit*>(u"ollamaPort"_s);
    QVERIFY(port->isVisible());
    port->setFocus();
    port->selectAll();
    QTest::keyClicks(port, u"abc"_s);
    QTest::keyClick(port, Qt::Key_Return);
    QCOMPARE(ai.ollamaPort(), qint64(11434));
    QVERIFY(aiPane->findChild<QLabel*>(u"portError"_s)->isVisible());
    port->selectAll();
    QTest::keyClicks(port, u"8080"_s);
    QTest::keyClick(port, Qt::Key_Return);
    QCOMPARE(ai.ollamaPort(), qint64(8080));
    QVERIFY(!aiPane->findChild<QLabel*>(u"portError"_s)->isVisible());

    auto* tokens = UiTest::named<QSpinBox>(aiPane, u"Max Tokens"_s);
    tokens->setValue(5000);
    QCOMPARE(ai.maxTokens(), qint64(4096));
    tokens->stepBy(-1);
    QCOMPARE(ai.maxTokens(), qint64(4032));
    tokens->setValue(10);
    QCOMPARE(ai.maxTokens(), qint64(64));
    auto* temperature = UiTest::named<QSlider>(aiPane, u"Temperature"_s);
    temperature->setValue(temperature->maximum() + 5);
    QCOMPARE(ai.temperature(), 2.0);
    QCOMPARE(aiPane->findChild<QLabel*>(u"temperatureText"_s)->text(), u"2.0"_s);
}

void TestSettingsViews::everyControlHasAnAccessibleName()
{
    m_ai->service->setProvider(AIProvider::anthropic);
    m_ai->service->setAnthropicEnterpriseBaseURL(u"https://gateway.example.org"_s);
    for (SettingsSection section : SettingsSections::all()) {
        QWidget* p = pane(section);
        QVERIFY(p);
        for (QWidget* w : p->findChildren<QWidget*>()) {
            const bool control = qobject_cast<QAbstractButton*>(w) || qobject_cast<QLineEdit*>(w) ||
                                 qobject_cast<QComboBox*>(w) || qobject_cast<QAbstractSlider*>(w) ||
                                 qobject_cast<QAbstractSpinBox*>(w) ||
                                 qobject_cast<QPlainTextEdit*>(w);
            if (!control || qobject_cast<QLineEdit*>(w->parentWidget()) ||
                qobject_cast<QAbstractSpinBox*>(w->parentWidget()) ||
                qobject_cast<QComboBox*>(w->parentWidget()) || w->inherits("QScrollBar"))
                continue; // parts of a bigger control
            QAccessibleInterface* a = QAccessible::queryAccessibleInterface(w);
            QVERIFY2(a && !a->text(QAccessible::Name).isEmpty(),
                     qPrintable(SettingsSections::title(section) + u": "_s +
                                QString::fromLatin1(w->metaObject()->className()) + u" "_s +
                                w->objectName()));
            QVERIFY2(!a->text(QAccessible::Description).isEmpty(),
                     qPrintable(SettingsSections::title(section) + u": no description for "_s +
                                a->text(QAccessible::Name)));
            QVERIFY2(w->focusPolicy() & Qt::TabFocus,
                     qPrintable(SettingsSections::title(section) + u": "_s +
                                a->text(QAccessible::Name)));
        }
    }
}

void TestSettingsViews::checkForUpdatesFollowsTheUpdater()
{
    QtHttpClient http;
    QVERIFY(Preferences::write(*m_library->settings, Preferences::updateFeedURL,
                               QVariant(m_server.baseUrl() + u"/appcast.xml"_s)));
    Updater updater({&http, m_library->settings.get(), &m_clock, u"0.2.0"_s, {}, {}});
    CheckForUpdatesViewModel updates(&updater);
    m_services.updates = &updates;
    QWidget* general = pane(SettingsSection::general);
    auto* button = UiTest::named<QPushButton>(general, u"Check for Updates\u2026"_s);
    QVERIFY(button && !button->isEnabled()); // the updater has not started
    updater.start();
    QVERIFY(button->isEnabled());
    m_server.setReply(
        {200, "<rss version=\"2.0\"><channel></channel></rss>", std::chrono::milliseconds(300)});
    QSignalSpy finished(&updater, &Updater::checkFinished);
    button->click();
    QVERIFY(!button->isEnabled());
    QVERIFY(finished.wait(15000));
    QVERIFY(button->isEnabled());
    m_server.setReply({200, R"({"data":[{"id":"gpt-4o"},{"id":"gpt-4o-mini"}]})"});
}

void TestSettingsViews::updateResultsShownAsAsked_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("userInitiated");
    QTest::addColumn<QString>("shown"); // the window's title, or nothing
    using K = UpdateCheckResult::Kind;
    QTest::newRow("found, scheduled") << int(K::updateAvailable) << false << u"Software Update"_s;
    QTest::newRow("found, asked") << int(K::updateAvailable) << true << u"Software Update"_s;
    QTest::newRow("up to date, asked") << int(K::upToDate) << true << u"Software Update"_s;
    QTest::newRow("up to date, scheduled") << int(K::upToDate) << false << QString();
    QTest::newRow("failed, asked") << int(K::failed) << true << u"Update Error"_s;
    QTest::newRow("failed, scheduled") << int(K::failed) << false << QString();
}

void TestSettingsViews::updateResultsShownAsAsked()
{
    QFETCH(int, kind);
    QFETCH(bool, userInitiated);
    QFETCH(QString, shown);
    UpdateCheckResult result;
    result.kind = UpdateCheckResult::Kind(kind);
    result.userInitiated = userInitiated;
    result.message = u"The update server could not be reached: refused"_s;
    result.item.version = result.item.shownVersion = u"0.3.0"_s;
    result.item.notes = u"<ul><li>Faster search</li></ul>"_s;
    result.item.downloadLink = QUrl(u"https://example.org/releases/0.3.0"_s);
    const QList<QWidget*> before = QApplication::topLevelWidgets();
    UpdateDialog::present(result, u"0.2.0"_s, nullptr);
    QWidget* opened = nullptr;
    QTest::qWait(50);
    for (QWidget* w : QApplication::topLevelWidgets())
        if (!before.contains(w) && w->isVisible())
            opened = w;
    if (shown.isEmpty()) {
        QVERIFY(!opened);
        return;
    }
    QVERIFY(opened);
    QCOMPARE(opened->windowTitle(), shown);
    if (result.kind == UpdateCheckResult::Kind::updateAvailable) {
        QVERIFY(opened->findChild<QTextBrowser*>()->toPlainText().contains(u"Faster search"_s));
        QPushButton* download = nullptr;
        for (QPushButton* b : opened->findChildren<QPushButton*>())
            if (b->text() == u"Open Download Page"_s)
                download = b;
        QVERIFY(download && download->isEnabled());
    }
    opened->close();
}

QTEST_MAIN(TestSettingsViews)
#include "tst_settingsviews.moc"

#include "ModelTestSupport.h"
#include "common/Preferences.h"
#include "expansion/TextExpansionService.h"
#include "models/LibraryTexts.h"
#include "models/MenuBarModel.h"
#include "models/RelativeTime.h"
#include "models/SheetModels.h"
#include "models/WelcomeOverlayController.h"
#include "support/FakeMonitor.h"
#include "support/VirtualClock.h"

#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

// The tray menu's view-model, the sheets' rules, the welcome timing and the counted texts.
class TestShellModels : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void texts_data();
    void texts();
    void relativeTime_data();
    void relativeTime();
    void menuFollowsServiceAndStore();
    void newSnippet();
    void categoryEditor();
    void welcomeOncePerInstallation();
};

void TestShellModels::texts_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");
    QTest::newRow("several by number")
        << LibraryTexts::deleteSnippets(3, nullptr).title << u"Delete 3 snippets?"_s;
    QTest::newRow("a vanished one")
        << LibraryTexts::deleteSnippets(1, nullptr).title << u"Delete \"this snippet\"?"_s;
    const auto snippet = SnippetEntity::create(u"Sig"_s, u"sig"_s, nullptr, {});
    QTest::newRow("one by title") << LibraryTexts::deleteSnippets(1, snippet.get()).title
                                  << u"Delete \"Sig\"?"_s;
    const auto empty = CategoryEntity::create(u"Work"_s, u"#4A90D9"_s, 1, {});
    QTest::newRow("empty category") << LibraryTexts::deleteCategory(*empty).message
                                    << u"This category is empty. This action cannot be undone."_s;
    auto unnamed = CategoryEntity::create(u"x"_s, u"#4A90D9"_s, 1, {});
    unnamed->setName(std::nullopt);
    const auto s1 = SnippetEntity::create({}, u"a"_s, unnamed.get(), {});
    const auto s2 = SnippetEntity::create({}, u"b"_s, unnamed.get(), {});
    QTest::newRow("unnamed category title")
        << LibraryTexts::deleteCategory(*unnamed).title << u"Delete \"Unnamed\"?"_s;
    QTest::newRow("two go with it")
        << LibraryTexts::deleteCategory(*unnamed).message
        << u"This will also delete 2 snippets in this category. This action cannot be undone."_s;
}

void TestShellModels::texts()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
}

void TestShellModels::relativeTime_data()
{
    QTest::addColumn<qint64>("secondsAgo");
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("expected");
    QTest::newRow("just under an hour") << qint64(3599) << u"en_US"_s << u"59 min. ago"_s;
    QTest::newRow("a day") << qint64(86400) << u"en_US"_s << u"1 day ago"_s;
    QTest::newRow("weeks") << qint64(15 * 86400) << u"en_US"_s << u"2 wk. ago"_s;
    QTest::newRow("in the future") << qint64(-120) << u"en_US"_s << u"in 2 min."_s;
    QTest::newRow("German") << qint64(7300) << u"de_DE"_s << u"vor 2 Std."_s;
}

void TestShellModels::relativeTime()
{
    QFETCH(qint64, secondsAgo);
    QFETCH(QString, locale);
    QFETCH(QString, expected);
    const QDateTime now(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    QCOMPARE(RelativeTime::abbreviated(now.addSecs(-secondsAgo), now, locale), expected);
}

void TestShellModels::menuFollowsServiceAndStore()
{
    Library library;
    VirtualClock clock;
    FakeMonitor monitor;
    monitor.refusals = 1;
    TextExpansionService service({&clock, nullptr, nullptr, nullptr, &monitor});
    MenuBarModel menu(&service, library.store.get());
    service.startMonitoring(); // refused: no access yet
    QCOMPARE(menu.statusText(), u"Needs X11 Access"_s);
    QVERIFY(menu.showsAccessWarning() && menu.isPaused());
    QCOMPARE(menu.snippetCountText(), u"0 snippets"_s);

    QSignalSpy changed(&menu, &MenuBarModel::changed);
    clock.advance(TextExpansionService::permissionPollInterval.count());
    QCOMPARE(menu.statusText(), u"Active"_s);
    QVERIFY(!menu.showsAccessWarning());
    menu.setExpansionEnabled(false);
    QCOMPARE(menu.statusText(), u"Paused"_s);
    QCOMPARE(menu.expansionValueText(), u"Paused"_s);
    library.add(u"a"_s);
    QCOMPARE(menu.snippetCountText(), u"1 snippet"_s);
    QVERIFY(changed.count() >= 3); // an open menu redraws on each
}

void TestShellModels::newSnippet()
{
    Library library;
    CategoryEntity* work = library.store->createCategory(u"Work"_s, u"#4A90D9"_s);
    NewSnippetModel sheet(library.store.get(), work, [&] { return library.now; });
    QCOMPARE(sheet.selectedCategory, work);
    sheet.abbreviation = u" \t "_s;
    QVERIFY(!sheet.canCreate() && !sheet.create());
    sheet.abbreviation = u" m re\t"_s;
    SnippetEntity* created = sheet.create();
    QVERIFY(created);
    QCOMPARE(created->abbreviation(), std::optional(u"m re"_s)); // the inner space kept
    QCOMPARE(created->category(), work);
    QVERIFY(!created->isRichText() && created->expandedText() == std::optional(QString()));
    // Saved: a second sheet sees it as a duplicate.
    NewSnippetModel again(library.store.get(), nullptr);
    again.abbreviation = u"m re"_s;
    QCOMPARE(again.conflict().kind(), AbbreviationConflict::Kind::duplicate);
}

void TestShellModels::categoryEditor()
{
    Library library;
    CategoryEntity* bare = library.store->createCategory(u"Bare"_s, u"#4A90D9"_s);
    bare->setColorHex(std::nullopt);
    CategoryEditorModel edit(library.store.get(), bare, [&] { return library.now; });
    QCOMPARE(edit.colorHex, u"#4A90D9"_s); // shown selected for a category without colour
    edit.name = u" \t"_s;
    QVERIFY(!edit.canSave());
    edit.name = u"  Office "_s;
    edit.colorHex = u"#2ECC71"_s;
    QCOMPARE(edit.save(), bare);
    QCOMPARE(bare->name(), std::optional(u"Office"_s));
    QCOMPARE(bare->updatedAt(), std::optional(library.now));

    CategoryEditorModel create(library.store.get(), nullptr);
    create.name = u"Home"_s;
    CategoryEntity* home = create.save();
    QVERIFY(home && home->sortOrder() > bare->sortOrder()); // appended
}

void TestShellModels::welcomeOncePerInstallation()
{
    Library library;
    VirtualClock clock;
    {
        WelcomeOverlayController welcome(library.settings.get(), &clock);
        QSignalSpy shown(&welcome, &WelcomeOverlayController::showRequested);
        QSignalSpy closed(&welcome, &WelcomeOverlayController::closeRequested);
        welcome.showIfNeeded();
        clock.advance(1199);
        QCOMPARE(shown.count(), 0);
        QVERIFY(!Preferences::flag(*library.settings, Preferences::hasShownWelcome));
        clock.advance(1);
        QCOMPARE(shown.count(), 1);
        QVERIFY(Preferences::flag(*library.settings, Preferences::hasShownWelcome));
        welcome.dismiss(); // "Got it"
        QCOMPARE(closed.count(), 1);
        clock.advance(14000); // the auto-close finds nothing to close
        QCOMPARE(closed.count(), 1);
    }
    WelcomeOverlayController second(library.settings.get(), &clock);
    QSignalSpy shown(&second, &WelcomeOverlayController::showRequested);
    second.showIfNeeded();
    clock.advance(5000);
    QCOMPARE(shown.count(), 0);
}

QTEST_GUILESS_MAIN(TestShellModels)
#include "tst_shellmodels.moc"

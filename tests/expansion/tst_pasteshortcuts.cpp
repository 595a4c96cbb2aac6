#include "common/Preferences.h"
#include "expansion/PasteShortcuts.h"

#include <QTest>

using namespace Qt::StringLiterals;

// Which paste key a window class gets: the built-in table and the user's additions.
class TestPasteShortcuts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void shortcutTable_data();
    void shortcutTable();
};

void TestPasteShortcuts::shortcutTable_data()
{
    QTest::addColumn<QStringList>("userEntries");
    QTest::addColumn<QString>("windowClass");
    QTest::addColumn<int>("shortcut");
    QTest::addColumn<QStringList>("unreadable");
    QTest::addColumn<bool>("slow");
    const int v = int(PasteShortcut::controlV), shiftV = int(PasteShortcut::controlShiftV),
              insert = int(PasteShortcut::shiftInsert);
    QTest::newRow("editor") << QStringList{} << u"Gedit"_s << v << QStringList{} << false;
    QTest::newRow("terminal") << QStringList{} << u"Gnome-terminal"_s << shiftV << QStringList{}
                              << false;
    QTest::newRow("xterm") << QStringList{} << u"XTerm"_s << insert << QStringList{} << false;
    QTest::newRow("user adds a terminal") << QStringList{u"MyTerm = Ctrl+Shift+V"_s} << u"myterm"_s
                                          << shiftV << QStringList{} << false;
    QTest::newRow("user overrides")
        << QStringList{u"kitty=ctrl+v"_s} << u"kitty"_s << v << QStringList{} << false;
    QTest::newRow("every spelling")
        << QStringList{u"a=ctrl+v"_s, u"b=shift+ctrl+v"_s, u"c=Shift + Insert"_s} << u"c"_s
        << insert << QStringList{} << false;
    QTest::newRow("unreadable entries are reported")
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s} << u"x"_s << v
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s} << false;
    QTest::newRow("slow application: long waits, its own paste key kept")
        << QStringList{u"XTerm=slow"_s} << u"xterm"_s << insert << QStringList{} << true;
    QTest::newRow("slow, any spelling")
        << QStringList{u" Foo = SLOW "_s} << u"FOO"_s << v << QStringList{} << true;
}

void TestPasteShortcuts::shortcutTable()
{
    QFETCH(QStringList, userEntries);
    QFETCH(QString, windowClass);
    QFETCH(int, shortcut);
    QFETCH(QStringList, unreadable);
    QFETCH(bool, slow);
    PasteShortcuts table;
    QCOMPARE(table.addUserEntries(userEntries), unreadable);
    QCOMPARE(int(table.forWindowClass(windowClass)), shortcut);
    QCOMPARE(table.isSlow(windowClass), slow);
    // `config set` and the settings must take exactly the entries the table reads.
    QCOMPARE(Preferences::accept(u"tw_pasteShortcuts"_s, userEntries).has_value(),
             unreadable.isEmpty());
}

QTEST_GUILESS_MAIN(TestPasteShortcuts)
#include "tst_pasteshortcuts.moc"

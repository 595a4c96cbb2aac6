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
    const int v = int(PasteShortcut::controlV), shiftV = int(PasteShortcut::controlShiftV),
              insert = int(PasteShortcut::shiftInsert);
    QTest::newRow("editor") << QStringList{} << u"Gedit"_s << v << QStringList{};
    QTest::newRow("terminal") << QStringList{} << u"Gnome-terminal"_s << shiftV << QStringList{};
    QTest::newRow("xterm") << QStringList{} << u"XTerm"_s << insert << QStringList{};
    QTest::newRow("user adds a terminal")
        << QStringList{u"MyTerm = Ctrl+Shift+V"_s} << u"myterm"_s << shiftV << QStringList{};
    QTest::newRow("user overrides")
        << QStringList{u"kitty=ctrl+v"_s} << u"kitty"_s << v << QStringList{};
    QTest::newRow("every spelling")
        << QStringList{u"a=ctrl+v"_s, u"b=shift+ctrl+v"_s, u"c=Shift + Insert"_s} << u"c"_s
        << insert << QStringList{};
    QTest::newRow("unreadable entries are reported")
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s} << u"x"_s << v
        << QStringList{u"nothing"_s, u"=ctrl+v"_s, u"x=alt+v"_s};
}

void TestPasteShortcuts::shortcutTable()
{
    QFETCH(QStringList, userEntries);
    QFETCH(QString, windowClass);
    QFETCH(int, shortcut);
    QFETCH(QStringList, unreadable);
    PasteShortcuts table;
    QCOMPARE(table.addUserEntries(userEntries), unreadable);
    QCOMPARE(int(table.forWindowClass(windowClass)), shortcut);
    // `config set` and the settings must take exactly the entries the table reads.
    QCOMPARE(Preferences::accept(u"tw_pasteShortcuts"_s, userEntries).has_value(),
             unreadable.isEmpty());
}

QTEST_GUILESS_MAIN(TestPasteShortcuts)
#include "tst_pasteshortcuts.moc"

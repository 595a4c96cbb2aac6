#include "ui/panels/FillInPanel.h"

#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QToolButton>
#include <algorithm>

using namespace Qt::StringLiterals;

class TestFillInPanel : public QObject {
    Q_OBJECT
private:
    QList<QHash<QString, QString>> m_completed;
    int m_cancelled = 0;
    const QList<FillInField> m_fields{{u"Name"_s, u"Name"_s}, {u"City"_s, u"City"_s}};

    FillInPanel* open()
    {
        FillInPanel::show(
            m_fields, [this](const QHash<QString, QString>& v) { m_completed << v; },
            [this] { ++m_cancelled; });
        FillInPanel* panel = FillInPanel::current();
        QApplication::setActiveWindow(panel);
        return panel;
    }
    QLineEdit* field(FillInPanel* panel, int i)
    {
        return panel->findChild<QLineEdit*>(u"field%1"_s.arg(i));
    }

private Q_SLOTS:
    void init()
    {
        m_completed.clear();
        m_cancelled = 0;
    }
    void returnWalksThenInserts();
    void controlReturnInsertsAtOnce();
    void cancelWays_data();
    void cancelWays();
    void showingAnotherCancelsTheFirst();
    void labelsArePlainText_data();
    void labelsArePlainText();
    void layout();
};

void TestFillInPanel::returnWalksThenInserts()
{
    FillInPanel* panel = open();
    QVERIFY(panel->width() >= 400);
    QTest::keyClicks(field(panel, 0), u"Zoe"_s);
    QTest::keyClick(field(panel, 0), Qt::Key_Return);
    QVERIFY(field(panel, 1)->hasFocus() || QApplication::focusWidget() == field(panel, 1));
    QVERIFY(m_completed.isEmpty());
    QTest::keyClicks(field(panel, 1), u"Oslo"_s);
    QTest::keyClick(field(panel, 1), Qt::Key_Return);
    QCOMPARE(m_completed,
             (QList<QHash<QString, QString>>{{{u"Name"_s, u"Zoe"_s}, {u"City"_s, u"Oslo"_s}}}));
    QCOMPARE(m_cancelled, 0);
    QVERIFY(!FillInPanel::current());
}

void TestFillInPanel::controlReturnInsertsAtOnce()
{
    FillInPanel* panel = open();
    QTest::keyClicks(field(panel, 0), u"Ada"_s);
    QTest::keyClick(panel, Qt::Key_Return, Qt::ControlModifier);
    QCOMPARE(m_completed,
             (QList<QHash<QString, QString>>{{{u"Name"_s, u"Ada"_s}, {u"City"_s, QString()}}}));
}

void TestFillInPanel::cancelWays_data()
{
    QTest::addColumn<int>("way");
    QTest::newRow("escape") << 0;
    QTest::newRow("cancel button") << 1;
    QTest::newRow("window closed") << 2;
    QTest::newRow("header's close button") << 3;
}

void TestFillInPanel::cancelWays()
{
    QFETCH(int, way);
    FillInPanel* panel = open();
    if (way == 0)
        QTest::keyClick(panel, Qt::Key_Escape);
    else if (way == 1)
        QTest::mouseClick(panel->findChild<QPushButton*>(u"cancel"_s), Qt::LeftButton);
    else if (way == 2)
        panel->close();
    else
        QTest::mouseClick(panel->findChild<QToolButton*>(u"close"_s), Qt::LeftButton);
    QCOMPARE(m_cancelled, 1);
    QVERIFY(m_completed.isEmpty());
    QVERIFY(!FillInPanel::current());
}

void TestFillInPanel::showingAnotherCancelsTheFirst()
{
    open();
    FillInPanel* second = open();
    QCOMPARE(m_cancelled, 1);
    QCOMPARE(FillInPanel::current(), second);
    QTest::mouseClick(second->findChild<QPushButton*>(u"insert"_s), Qt::LeftButton);
    QCOMPARE(m_completed.size(), 1);
    QCOMPARE(m_cancelled, 1);
}

void TestFillInPanel::labelsArePlainText_data()
{
    QTest::addColumn<QString>("label");
    QTest::newRow("two ampersands") << u"A && B &"_s;
    QTest::newRow("markup") << u"<b>Name</b>"_s;
}

// What the row shows and what a screen reader says is the label as written.
void TestFillInPanel::labelsArePlainText()
{
    QFETCH(QString, label);
    FillInPanel::show({{label, label}}, nullptr, nullptr);
    FillInPanel* panel = FillInPanel::current();
    QVERIFY(panel);
    auto* shown = panel->findChild<QLabel*>(u"label0"_s);
    QVERIFY(shown);
    QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(shown);
    QVERIFY(accessible);
    QCOMPARE(accessible->text(QAccessible::Name), label);
    QCOMPARE(shown->buddy(), field(panel, 0));
}

// The header instead of a title bar, labels right-aligned in their column before the fields,
// and Insert as the default button.
void TestFillInPanel::layout()
{
    FillInPanel* panel = open();
    QVERIFY(panel->windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(panel->findChild<QLabel*>(u"headerTitle"_s)->text(), u"Complete Snippet"_s);
    QVERIFY(!panel->findChild<QLabel*>(u"headerIcon"_s)->pixmap().isNull());
    for (int i = 0; i < 2; ++i) {
        auto* label = panel->findChild<QLabel*>(u"label%1"_s.arg(i));
        QCOMPARE(label->text(), m_fields.at(i).label);
        QVERIFY(label->alignment() & Qt::AlignRight);
        QCOMPARE(label->width(), 90);
        QVERIFY(label->geometry().right() < field(panel, i)->geometry().left());
    }
    QCOMPARE(panel->findChild<QLabel*>(u"label0"_s)->x(),
             panel->findChild<QLabel*>(u"label1"_s)->x());
    auto* insert = panel->findChild<QPushButton*>(u"insert"_s);
    QVERIFY(insert->isDefault());
    QVERIFY(!panel->findChild<QPushButton*>(u"cancel"_s)->isDefault());
    QVERIFY(insert->geometry().left() > panel->findChild<QPushButton*>(u"cancel"_s)->x());
    const QList<QFrame*> frames = panel->findChildren<QFrame*>();
    QCOMPARE(std::count_if(frames.begin(), frames.end(),
                           [](const QFrame* f) { return f->frameShape() == QFrame::HLine; }),
             2); // under the header and above the buttons
    panel->cancel();
}

QTEST_MAIN(TestFillInPanel)
#include "tst_fillinpanel.moc"

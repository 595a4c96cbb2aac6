#include "ui/panels/GeneratingPanel.h"

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

class TestGeneratingPanel : public QObject {
    Q_OBJECT
private:
    static QWidget* panel()
    {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w->objectName() == u"generatingPanel"_s)
                return w;
        return nullptr;
    }

private Q_SLOTS:
    void placement_data();
    void placement();
    void dotsCycleWhileShown();
};

void TestGeneratingPanel::placement_data()
{
    QTest::addColumn<QRect>("frame");
    QTest::addColumn<QPoint>("expected");
    QTest::newRow("below the window, left-aligned")
        << QRect(100, 100, 600, 400) << QPoint(100, 508);
    QTest::newRow("window past the right edge")
        << QRect(1200, 100, 300, 200) << QPoint(1280 - 260, 308);
    QTest::newRow("window past the left edge") << QRect(-50, 100, 300, 200) << QPoint(8, 308);
    QTest::newRow("maximised window: above the screen's bottom")
        << QRect(0, 0, 1280, 800) << QPoint(8, 800 - 36 - 8);
    QTest::newRow("no window: lower right of the screen")
        << QRect() << QPoint(1280 - 268, 800 - 56);
}

void TestGeneratingPanel::placement()
{
    QFETCH(QRect, frame);
    QFETCH(QPoint, expected);
    QCOMPARE(GeneratingPanel::placement(frame, QRect(0, 0, 1280, 800)), expected);
}

void TestGeneratingPanel::dotsCycleWhileShown()
{
    GeneratingPanel indicator([] { return QRect(100, 100, 600, 400); });
    indicator.show();
    QPointer<QWidget> shown = panel();
    QVERIFY(shown && shown->isVisible());
    QVERIFY(shown->windowFlags() & Qt::WindowDoesNotAcceptFocus);
    QVERIFY(shown->windowFlags() & Qt::WindowTransparentForInput);
    QVERIFY(!shown->isActiveWindow());
    QCOMPARE(shown->size(), QSize(GeneratingPanel::width, GeneratingPanel::height));
    auto* text = shown->findChild<QLabel*>(u"generatingText"_s);
    QVERIFY(text);
    QVERIFY(!shown->findChild<QLabel*>(u"generatingIcon"_s)->pixmap().isNull());
    QStringList seen{text->text()};
    QTRY_VERIFY_WITH_TIMEOUT(
        (seen.last() != text->text() ? seen << text->text() : seen).size() >= 4, 3000);
    QCOMPARE(seen, (QStringList{u"ScrivLane is generating."_s, u"ScrivLane is generating.."_s,
                                u"ScrivLane is generating..."_s, u"ScrivLane is generating."_s}));
    indicator.dismiss();
    QVERIFY(!shown);
}

QTEST_MAIN(TestGeneratingPanel)
#include "tst_generatingpanel.moc"

#include "ui/panels/GeneratingPanel.h"

#include <QApplication>
#include <QLabel>
#include <QScreen>
#include <QTest>

using namespace Qt::StringLiterals;

class TestGeneratingPanel : public QObject {
    Q_OBJECT
private:
    static QLabel* panel()
    {
        for (QWidget* w : QApplication::topLevelWidgets())
            if (w->objectName() == u"generatingPanel"_s)
                return qobject_cast<QLabel*>(w);
        return nullptr;
    }

private Q_SLOTS:
    void placement_data();
    void placement();
};

void TestGeneratingPanel::placement_data()
{
    QTest::addColumn<QRect>("frame");
    QTest::newRow("over the focused window") << QRect(100, 100, 600, 400);
    QTest::newRow("no window: lower right of the screen") << QRect();
}

void TestGeneratingPanel::placement()
{
    QFETCH(QRect, frame);
    GeneratingPanel indicator([frame] { return frame; });
    indicator.show();
    QLabel* label = panel();
    QVERIFY(label && label->isVisible());
    QVERIFY(label->text().contains(u"Generating\u2026"_s));
    QVERIFY(label->windowFlags() & Qt::WindowDoesNotAcceptFocus);
    QVERIFY(!label->isActiveWindow());
    const QRect shown = label->frameGeometry();
    if (frame.isValid()) {
        QVERIFY(frame.contains(shown)); // inside the window, centred, near its bottom
        QVERIFY(qAbs(shown.center().x() - frame.center().x()) <= 1);
        QVERIFY(shown.bottom() > frame.center().y());
    } else {
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QVERIFY(screen.contains(shown));
        QVERIFY(shown.left() > screen.center().x() && shown.top() > screen.center().y());
    }
    indicator.dismiss();
    QVERIFY(!label->isVisible());
}

QTEST_MAIN(TestGeneratingPanel)
#include "tst_generatingpanel.moc"

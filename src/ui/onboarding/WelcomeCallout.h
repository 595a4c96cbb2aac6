#pragma once

#include <QPainterPath>
#include <QRect>
#include <QWidget>

// The first-run callout beside the tray icon: where ScrivLane lives and what to do when the
// desktop shows no tray. It never takes the keyboard focus.
class WelcomeCallout : public QWidget {
    Q_OBJECT

public:
    // Wide enough for the title in common desktop fonts; the height follows the text.
    static constexpr int calloutWidth = 290;
    static constexpr int arrowRightInset = 26;

    explicit WelcomeCallout(QWidget* parent = nullptr);

    // Beside the tray icon's frame when the tray tells it, else under the top right corner
    // of `screen`. Returns where it went; the arrow points at the icon.
    QRect place(const QRect& trayIcon, const QRect& screen);

Q_SIGNALS:
    void dismissed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QPainterPath shape() const;

    bool m_arrowDown = false; // the tray is at the bottom of the screen
    int m_arrowX = calloutWidth - arrowRightInset;
};

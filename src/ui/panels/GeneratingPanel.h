#pragma once

#include "expansion/ExpansionPanels.h"

#include <QPointer>
#include <QRect>
#include <functional>

class QWidget;

// "ScrivLane is generating" with one to three dots, under the window being typed into while an
// AI reply is awaited. It takes no clicks and never the focus, so the keys and the paste still
// go to that window.
class GeneratingPanel final : public GeneratingIndicator {
public:
    static constexpr int width = 260;
    static constexpr int height = 36;

    // Where the focused window is; an empty rectangle puts the panel at the lower right.
    explicit GeneratingPanel(std::function<QRect()> focusedWindowFrame);
    ~GeneratingPanel() override;

    void show() override;
    void dismiss() override;

    // Where the panel goes for a focused window's frame on a screen's usable area.
    static QPoint placement(const QRect& frame, const QRect& screen);

private:
    std::function<QRect()> m_focusedWindowFrame;
    QPointer<QWidget> m_panel;
};

#pragma once

#include "expansion/ExpansionPanels.h"

#include <QPointer>
#include <QRect>
#include <functional>

class QLabel;

// "Generating…" near the window being typed into while an AI reply is awaited. It never takes
// the focus, so the keys and the paste still go to that window.
class GeneratingPanel final : public GeneratingIndicator {
public:
    // Where the focused window is; an empty rectangle puts the panel at the lower right.
    explicit GeneratingPanel(std::function<QRect()> focusedWindowFrame);
    ~GeneratingPanel() override;

    void show() override;
    void dismiss() override;

private:
    std::function<QRect()> m_focusedWindowFrame;
    QPointer<QLabel> m_label;
};

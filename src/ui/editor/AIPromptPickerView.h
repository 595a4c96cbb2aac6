#pragma once

#include <QFrame>

class AIService;
class QLabel;

// Inserts an AI macro: one of the ready-made prompts, or a blank one to type into. Shows which
// provider answers and whether its connection was tested.
class AIPromptPickerView : public QFrame {
    Q_OBJECT

public:
    AIPromptPickerView(AIService* ai, QWidget* parent = nullptr);

    void openAt(const QPoint& at);

Q_SIGNALS:
    void insertRequested(const QString& text);
    void dismissed();

private:
    void updateStatus();

    AIService* m_ai;
    QLabel* m_provider;
    QLabel* m_dot;
};

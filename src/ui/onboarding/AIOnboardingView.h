#pragma once

#include "ai/AIProvider.h"

#include <QDialog>

class AIService;
class QButtonGroup;
class QComboBox;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QWidget;

// The three-step set-up of AI macros: what they do, which provider, the key and model with a
// connection test; its last button turns them on.
class AIOnboardingView : public QDialog {
    Q_OBJECT

public:
    AIOnboardingView(AIService* ai, QWidget* parent = nullptr);

    int step() const { return m_step; }

Q_SIGNALS:
    void enabled(); // "Enable AI Macros" was pressed

private:
    QWidget* buildIntroduction();
    QWidget* buildProviders();
    QWidget* buildConfiguration();
    void goTo(int step);
    void updateConfiguration();

    AIService* m_ai;
    int m_step = 1;
    AIProvider m_selected;
    QStackedWidget* m_steps;
    QList<QLabel*> m_dots;
    QButtonGroup* m_cards = nullptr;
    QLabel* m_configureTitle = nullptr;
    QWidget* m_keyRow = nullptr;
    QLabel* m_billing = nullptr;
    QLineEdit* m_key = nullptr;
    QLabel* m_keyLink = nullptr;
    QLabel* m_ollamaWarning = nullptr;
    QComboBox* m_modelPicker = nullptr;
    QLineEdit* m_modelField = nullptr;
    QLabel* m_fetching = nullptr;
    QLabel* m_status = nullptr;
};

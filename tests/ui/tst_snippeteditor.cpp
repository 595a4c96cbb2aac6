#include "ai/AITestSupport.h"
#include "models/EditorState.h"
#include "models/ModelTestSupport.h"
#include "models/SnippetEditorModel.h"
#include "ui/UiTestSupport.h"
#include "ui/editor/AIPromptPickerView.h"
#include "ui/editor/LinkPanel.h"
#include "ui/editor/MacroPicker.h"
#include "ui/editor/SnippetEditorView.h"
#include "ui/onboarding/AIOnboardingView.h"

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTextEdit>
#include <QToolButton>

using namespace Qt::StringLiterals;

// The editor driven with the mouse and keys, over a real store and a real AI service whose
// providers are a local server.
class TestSnippetEditor : public QObject {
    Q_OBJECT
private:
    HttpTestServer m_server;
    std::unique_ptr<AIHarness> m_ai;
    std::unique_ptr<Library> m_library;
    std::unique_ptr<EditorState> m_state;
    std::unique_ptr<SnippetEditorView> m_view;

    SnippetEditorView& open(SnippetEntity* snippet)
    {
        m_view = std::make_unique<SnippetEditorView>(SnippetEditorView::Dependencies{
            m_library->store.get(), m_state.get(), m_ai->service.get()});
        m_view->resize(700, 600);
        m_view->show();
        QApplication::setActiveWindow(m_view.get());
        m_view->showSnippet(snippet);
        QTest::qWait(1);
        return *m_view;
    }
    template <typename T> T* child(const QString& accessibleName)
    {
        for (T* w : m_view->findChildren<T*>())
            if (w->accessibleName() == accessibleName && w->isVisible())
                return w;
        return nullptr;
    }
    QPlainTextEdit* plain() { return m_view->findChild<QPlainTextEdit*>(); }

private Q_SLOTS:
    void init()
    {
        m_ai = std::make_unique<AIHarness>(m_server);
        m_ai->start();
        m_library = std::make_unique<Library>();
        m_state = std::make_unique<EditorState>();
    }
    void cleanup()
    {
        m_view.reset();
        for (QWidget* w : QApplication::topLevelWidgets())
            w->close();
    }

    void shiftClickOnAIInsertsWithCaretInside();
    void pickerInsertsTheChosenExample();
    void onboardingEnablesWithoutATest();
    void emptyFillInLabelInsertsValue();
    void ctrlSSavesAndSaveLooksClean();
    void boldFromBarAndKey();
    void linkPanelIsPrefilledAndApplies();
    void previewShowsResolvedText();
};

void TestSnippetEditor::shiftClickOnAIInsertsWithCaretInside()
{
    open(m_library->add(u"a"_s, nullptr, u"ab"_s));
    QTextCursor end = plain()->textCursor();
    end.movePosition(QTextCursor::End);
    plain()->setTextCursor(end);
    QTest::mouseClick(child<QToolButton>(u"AI Macro"_s), Qt::LeftButton, Qt::ShiftModifier);
    QCOMPARE(plain()->toPlainText(), u"ab{ai: }"_s);
    QCOMPARE(plain()->textCursor().position(), 7); // before the closing brace
    QVERIFY(m_state->isDirty());
}

void TestSnippetEditor::pickerInsertsTheChosenExample()
{
    m_ai->service->setIsEnabled(true);
    open(m_library->add(u"a"_s, nullptr, QString()));
    QTest::mouseClick(child<QToolButton>(u"AI Macro"_s), Qt::LeftButton);
    auto* picker = UiTest::shownTopLevel<AIPromptPickerView>();
    QVERIFY(picker);
    QTest::mouseClick(UiTest::button(picker, u"Make it shorter"_s), Qt::LeftButton);
    QCOMPARE(plain()->toPlainText(),
             u"{ai: Rewrite this more concisely, keeping the same meaning: {clipboard}}"_s);

    plain()->clear();
    QTest::mouseClick(child<QToolButton>(u"AI Macro"_s), Qt::LeftButton);
    picker = UiTest::shownTopLevel<AIPromptPickerView>();
    QVERIFY(picker);
    QTest::mouseClick(UiTest::button(picker, u"Insert blank AI prompt"_s), Qt::LeftButton);
    QCOMPARE(plain()->toPlainText(), u"{ai: }"_s);
    QCOMPARE(plain()->textCursor().position(), 5);
}

void TestSnippetEditor::onboardingEnablesWithoutATest()
{
    QVERIFY(!m_ai->service->isEnabled());
    open(m_library->add(u"a"_s));
    QTest::mouseClick(child<QToolButton>(u"AI Macro"_s), Qt::LeftButton);
    auto* onboarding = UiTest::shownTopLevel<AIOnboardingView>();
    QVERIFY(onboarding);
    QCOMPARE(onboarding->step(), 1);
    QTest::mouseClick(UiTest::button(onboarding, u"Get Started"_s), Qt::LeftButton);
    QCOMPARE(onboarding->step(), 2);
    QVERIFY(!UiTest::button(onboarding, u"Grok"_s)); // not offered here
    QTest::mouseClick(UiTest::button(onboarding, u"Anthropic"_s), Qt::LeftButton);
    QTest::mouseClick(UiTest::button(onboarding, u"Next"_s), Qt::LeftButton);
    QCOMPARE(onboarding->step(), 3);
    QCOMPARE(m_ai->service->provider(), AIProvider::anthropic);
    QTest::mouseClick(UiTest::button(onboarding, u"Enable AI Macros"_s), Qt::LeftButton);
    QVERIFY(m_ai->service->isEnabled());
    QVERIFY(UiTest::shownTopLevel<AIPromptPickerView>()); // and on to the picker
}

void TestSnippetEditor::emptyFillInLabelInsertsValue()
{
    open(m_library->add(u"a"_s, nullptr, QString()));
    QTest::mouseClick(child<QToolButton>(u"Insert a macro"_s), Qt::LeftButton);
    auto* picker = UiTest::shownTopLevel<MacroPicker>();
    QVERIFY(picker);
    QTest::mouseClick(UiTest::button(picker, u"Insert fill-in field"_s), Qt::LeftButton);
    QCOMPARE(plain()->toPlainText(), u"{fill:Value}"_s);
}

void TestSnippetEditor::ctrlSSavesAndSaveLooksClean()
{
    SnippetEntity* s = m_library->add(u"a"_s, nullptr, QString());
    open(s);
    QPushButton* save = UiTest::button(m_view.get(), u"Save snippet"_s);
    QCOMPARE(save->accessibleDescription(), u"No unsaved changes"_s);
    plain()->setFocus();
    QTest::keyClicks(plain(), u"Hi there"_s);
    QCOMPARE(save->accessibleDescription(), u"Saves all changes to this snippet"_s);
    QTest::keyClick(plain(), Qt::Key_S, Qt::ControlModifier);
    QCOMPARE(s->expandedText(), std::optional(u"Hi there"_s));
    QVERIFY(!m_state->isDirty());
    QCOMPARE(save->accessibleDescription(), u"No unsaved changes"_s);
}

void TestSnippetEditor::boldFromBarAndKey()
{
    SnippetEntity* s = m_library->add(u"a"_s, nullptr, u"one two"_s);
    open(s);
    QTest::mouseClick(child<QToolButton>(u"Rich Text"_s)
                          ? child<QToolButton>(u"Rich Text"_s)
                          : m_view->findChildren<QToolButton*>().at(1),
                      Qt::LeftButton);
    auto* rich = m_view->findChild<QTextEdit*>();
    QTRY_VERIFY(rich->isVisible());
    QTextCursor word = rich->textCursor();
    word.setPosition(0);
    word.setPosition(3, QTextCursor::KeepAnchor);
    rich->setTextCursor(word);
    QTest::mouseClick(child<QToolButton>(u"Bold"_s), Qt::LeftButton);
    QTextCursor probe(rich->document());
    probe.setPosition(1);
    QCOMPARE(probe.charFormat().fontWeight(), int(QFont::Bold));
    probe.setPosition(5);
    QVERIFY(probe.charFormat().fontWeight() != int(QFont::Bold));

    rich->setFocus();
    QTest::keyClick(rich, Qt::Key_B, Qt::ControlModifier); // the same selection, back off
    probe.setPosition(1);
    QVERIFY(probe.charFormat().fontWeight() != int(QFont::Bold));
    QTest::keyClick(rich, Qt::Key_S, Qt::ControlModifier);
    QVERIFY(s->isRichText() && s->expandedTextRTF());
}

void TestSnippetEditor::linkPanelIsPrefilledAndApplies()
{
    SnippetEntity* s = m_library->add(u"a"_s, nullptr, u"visit us"_s);
    open(s);
    m_view->model()->setMode(SnippetEditorModel::ContentMode::rich);
    auto* rich = m_view->findChild<QTextEdit*>();
    QTRY_VERIFY(rich->isVisible());
    QTextCursor word = rich->textCursor();
    word.setPosition(6);
    word.setPosition(8, QTextCursor::KeepAnchor);
    rich->setTextCursor(word);
    rich->setFocus();
    QTest::keyClick(rich, Qt::Key_K, Qt::ControlModifier);
    auto* panel = UiTest::shownTopLevel<LinkPanel>();
    QVERIFY(panel);
    QCOMPARE(panel->field()->text(), QString());
    panel->field()->setText(u"https://example.org/"_s);
    QTest::keyClick(panel->field(), Qt::Key_Return);
    QTRY_VERIFY(!panel->isVisible());
    QTextCursor probe(rich->document());
    probe.setPosition(2);
    QVERIFY(!probe.charFormat().isAnchor()); // only the selection

    rich->setTextCursor(word);
    QTest::keyClick(rich, Qt::Key_K, Qt::ControlModifier);
    QVERIFY(UiTest::shownTopLevel<LinkPanel>());
    QCOMPARE(panel->field()->text(), u"https://example.org/"_s); // pre-filled from the link
    QTest::mouseClick(UiTest::button(panel, u"Remove"_s), Qt::LeftButton);
    probe.setPosition(7);
    QVERIFY(!probe.charFormat().isAnchor());
}

void TestSnippetEditor::previewShowsResolvedText()
{
    open(m_library->add(u"a"_s, nullptr, u"Dear {fill:Name}"_s));
    QPushButton* preview = UiTest::button(m_view.get(), u"Preview"_s);
    QTest::mouseClick(preview, Qt::LeftButton);
    QCOMPARE(preview->text(), u"Back to editor"_s);
    auto* browser = m_view->findChild<QTextBrowser*>();
    QVERIFY(browser->isVisible());
    QCOMPARE(browser->toPlainText(), MacroProcessor::previewText(u"Dear {fill:Name}"_s));
    QVERIFY(browser->toPlainText() != u"Dear {fill:Name}"_s);
    QTest::mouseClick(preview, Qt::LeftButton);
    QVERIFY(plain()->isVisible());
}

QTEST_MAIN(TestSnippetEditor)
#include "tst_snippeteditor.moc"

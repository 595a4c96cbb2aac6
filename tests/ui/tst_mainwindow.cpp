#include "models/ContentViewModel.h"
#include "models/EditorState.h"
#include "models/ModelTestSupport.h"
#include "models/SheetModels.h"
#include "models/SnippetListModel.h"
#include "support/VirtualClock.h"
#include "ui/UiTestSupport.h"
#include "ui/mainwindow/BulkEditPanel.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/sheets/CategoryEditorSheet.h"
#include "ui/sheets/NewSnippetSheet.h"
#include "ui/widgets/CategoryPicker.h"
#include "ui/widgets/ConflictWarningRow.h"

#include <QAccessible>
#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QStackedWidget>
#include <QTest>

using namespace Qt::StringLiterals;

// The window driven as a person would: clicks, keys, the questions it asks.
class TestMainWindow : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<Library> m_library;
    VirtualClock m_clock;
    std::unique_ptr<MainWindow> m_window;

    MainWindow& window()
    {
        if (!m_window) {
            m_window = std::make_unique<MainWindow>(MainWindow::Dependencies{
                m_library->store.get(), m_library->settings.get(), &m_clock});
            m_window->show();
            QApplication::setActiveWindow(m_window.get());
            if (!QTest::qWaitForWindowActive(m_window.get()))
                qWarning("window not active");
        }
        return *m_window;
    }
    // Null when it did not appear within 3 s; the caller checks.
    template <typename T> T* waitFor(const QString& name = {})
    {
        T* found = nullptr;
        const bool shown = QTest::qWaitFor(
            [&] {
                found = window().findChild<T*>(name);
                return found && found->isVisible();
            },
            3000);
        return shown ? found : nullptr;
    }
    QMessageBox* question() { return waitFor<QMessageBox>(); }
    QListView* list() { return window().findChild<QListView*>(u"snippetList"_s); }
    void selectRows(const QList<int>& rows) { UiTest::selectRows(list(), rows); }
    QString accessibleName(QWidget* widget)
    {
        QAccessibleInterface* a = QAccessible::queryAccessibleInterface(widget);
        return a ? a->text(QAccessible::Name) : QString();
    }

private Q_SLOTS:
    void init()
    {
        m_window.reset();
        m_library = std::make_unique<Library>();
    }
    void cleanup() { m_window.reset(); }

    void emptyLibraryCreatesThroughTheSheet();
    void categoryMadeInsideTheSheetIsPicked();
    void conflictLinkGoesToTheOtherSnippet();
    void twoSelectedShowBulkPanelAndDeleteAsks();
    void dirtyEditorHoldsTheSelection();
    void keysReachEveryPlace();
    void controlsHaveAccessibleNames();
};

void TestMainWindow::emptyLibraryCreatesThroughTheSheet()
{
    auto* listStack = window().findChild<QListView*>(u"snippetList"_s)->parentWidget();
    QVERIFY(!list()->isVisible());
    QPushButton* create = UiTest::button(listStack, u"Create Snippet"_s);
    QVERIFY(create);
    QTest::mouseClick(create, Qt::LeftButton);
    auto* sheet = waitFor<NewSnippetSheet>();
    QVERIFY(sheet);
    auto* abbreviation = UiTest::named<QLineEdit>(sheet, u"Abbreviation"_s);
    QVERIFY(abbreviation);
    QPushButton* createButton = UiTest::button(sheet, u"Create"_s);
    QVERIFY(!createButton->isEnabled());
    QTest::keyClicks(abbreviation, u"  "_s);
    QVERIFY(!createButton->isEnabled());
    QTest::keyClicks(abbreviation, u"mre "_s);
    QVERIFY(createButton->isEnabled());
    QTest::mouseClick(createButton, Qt::LeftButton);

    const QList<SnippetEntity*> all = m_library->store->fetchActiveSnippets();
    QCOMPARE(all.size(), 1);
    QCOMPARE(all.first()->abbreviation(), std::optional(u"mre"_s));
    // The window opens on what was just made.
    QCOMPARE(window().model()->listSelection(), QList<QUuid>{*all.first()->id()});
    QTRY_VERIFY(list()->isVisible());
    QCOMPARE(list()->selectionModel()->selectedRows().size(), 1);
    QVERIFY(window().findChild<QWidget*>(u"snippetEditor"_s)->isVisible());
}

void TestMainWindow::categoryMadeInsideTheSheetIsPicked()
{
    window().openNewSnippetSheet();
    auto* sheet = waitFor<NewSnippetSheet>();
    QVERIFY(sheet);
    QTest::mouseClick(UiTest::button(sheet, u"New Category"_s), Qt::LeftButton);
    CategoryEditorSheet* categorySheet = nullptr;
    QTRY_VERIFY((categorySheet = sheet->findChild<CategoryEditorSheet*>()) &&
                categorySheet->isVisible());
    QTest::keyClicks(categorySheet->findChild<QLineEdit*>(), u"Travel"_s);
    QTest::mouseClick(UiTest::button(categorySheet, u"Create"_s), Qt::LeftButton);
    auto* picker = sheet->findChild<CategoryPicker*>();
    QCOMPARE(picker->currentText(), u"Travel"_s);
    QCOMPARE(sheet->model().selectedCategory, picker->selectedCategory());
}

void TestMainWindow::conflictLinkGoesToTheOtherSnippet()
{
    SnippetEntity* existing = m_library->add(u"mre"_s, nullptr, u"x"_s, u"Report"_s);
    m_library->add(u"other"_s);
    window().openNewSnippetSheet();
    auto* sheet = waitFor<NewSnippetSheet>();
    QVERIFY(sheet);
    QTest::keyClicks(UiTest::named<QLineEdit>(sheet, u"Abbreviation"_s), u"mre"_s);
    auto* warning = sheet->findChild<ConflictWarningRow*>();
    QCOMPARE(warning->text(), u"Already used by \"Report\""_s);
    QTest::mouseClick(UiTest::button(warning, u"Go to snippet →"_s), Qt::LeftButton);
    QTRY_VERIFY(!sheet->isVisible());
    QCOMPARE(window().model()->listSelection(), QList<QUuid>{*existing->id()});
}

void TestMainWindow::twoSelectedShowBulkPanelAndDeleteAsks()
{
    m_library->add(u"a"_s);
    m_library->add(u"b"_s);
    m_library->add(u"c"_s);
    selectRows({0, 1});
    auto* bulk = waitFor<BulkEditPanel>(u"bulkEditPanel"_s);
    QVERIFY(bulk);
    QVERIFY(UiTest::button(bulk, u"Move 2 Snippets"_s));
    QVERIFY(UiTest::button(bulk, u"Delete 2 Snippets"_s));
    list()->setFocus();
    QTest::keyClick(list(), Qt::Key_Delete);
    QMessageBox* box = question();
    QVERIFY(box);
    QCOMPARE(box->text(), u"Delete 2 snippets?"_s);
    QCOMPARE(box->informativeText(), u"This action cannot be undone."_s);
    // Return must not delete.
    QTest::keyClick(box, Qt::Key_Return);
    QTRY_VERIFY(!window().findChild<QMessageBox*>());
    QCOMPARE(m_library->store->fetchActiveSnippets().size(), 3);

    QApplication::setActiveWindow(&window()); // back from the question, as a window manager does
    list()->setFocus();
    QCOMPARE(window().model()->listSelection().size(), 2);
    QTest::keyClick(list(), Qt::Key_Delete);
    box = question();
    QVERIFY(box);
    QTest::mouseClick(UiTest::button(box, u"Delete"_s), Qt::LeftButton);
    QTRY_COMPARE(m_library->store->fetchActiveSnippets().size(), 1);
    QVERIFY(!bulk->isVisible());
    selectRows({0});
    QVERIFY(!bulk->isVisible()); // one selected never shows the panel
}

void TestMainWindow::dirtyEditorHoldsTheSelection()
{
    m_library->add(u"a"_s);
    m_library->add(u"b"_s);
    selectRows({0});
    // An edit in the editor, as typed.
    auto* title =
        UiTest::named<QLineEdit>(window().findChild<QWidget*>(u"snippetEditor"_s), u"Title"_s);
    QVERIFY(title);
    QTest::qWait(1); // the editor has settled after loading
    QVERIFY(!window().editorState()->isDirty());
    QTest::keyClicks(title, u"Edited"_s);
    QVERIFY(window().editorState()->isDirty());
    selectRows({1});
    QMessageBox* box = question();
    QVERIFY(box);
    QCOMPARE(box->text(), u"Unsaved Changes"_s);
    QCOMPARE(box->informativeText(),
             u"You have unsaved changes to this snippet. Save before leaving?"_s);
    QCOMPARE(list()->selectionModel()->selectedRows().value(0).row(), 0); // not moved yet
    QTest::mouseClick(UiTest::button(box, u"Cancel"_s), Qt::LeftButton);
    QTRY_VERIFY(!window().findChild<QMessageBox*>());
    QCOMPARE(list()->selectionModel()->selectedRows().size(), 1);
    QCOMPARE(list()->selectionModel()->selectedRows().value(0).row(), 0);
    QVERIFY(window().editorState()->isDirty());

    selectRows({1});
    QTest::mouseClick(UiTest::button(question(), u"Discard Changes"_s), Qt::LeftButton);
    QTRY_COMPARE(list()->selectionModel()->selectedRows().value(0).row(), 1);
    QVERIFY(!window().editorState()->isDirty());
}

void TestMainWindow::keysReachEveryPlace()
{
    m_library->add(u"a"_s);
    window();
    QTest::keyClick(&window(), Qt::Key_F, Qt::ControlModifier);
    QTRY_VERIFY(window().findChild<QLineEdit*>()->hasFocus());
    QTest::keyClick(&window(), Qt::Key_Comma, Qt::ControlModifier);
    QTRY_VERIFY(window().model()->showingSettings());
    QTest::keyClick(&window(), Qt::Key_Comma, Qt::ControlModifier);
    QTRY_VERIFY(!window().model()->showingSettings());
    QTest::keyClick(&window(), Qt::Key_N, Qt::ControlModifier);
    auto* sheet = waitFor<NewSnippetSheet>();
    QVERIFY(sheet);
    QTest::keyClick(sheet, Qt::Key_Escape);
    QTRY_VERIFY(!sheet->isVisible());
}

void TestMainWindow::controlsHaveAccessibleNames()
{
    m_library->add(u"a"_s, nullptr, u"text"_s, u"Greeting"_s);
    QCOMPARE(accessibleName(window().findChild<QLineEdit*>()), u"Search snippets"_s);
    QCOMPARE(accessibleName(list()), u"Snippets"_s);
    // A row reads as what it shows.
    const QString row = list()->model()->index(0, 0).data(Qt::AccessibleTextRole).toString();
    QVERIFY2(row.startsWith(u"Greeting, abbreviation a"_s), qPrintable(row));
    for (const QString& text : {u"New Category"_s, u"Settings"_s}) {
        QPushButton* b = UiTest::button(&window(), text);
        QVERIFY2(b && b->text() == text, qPrintable(text));
        QCOMPARE(accessibleName(b), text);
        QVERIFY(!b->accessibleDescription().isEmpty());
    }
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"

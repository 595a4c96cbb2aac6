#include "models/ContentViewModel.h"
#include "models/EditorState.h"
#include "models/ModelTestSupport.h"
#include "models/SidebarModel.h"
#include "models/TrashListModel.h"
#include "models/TrashViewModel.h"
#include "support/VirtualClock.h"
#include "ui/UiTestSupport.h"
#include "ui/mainwindow/MainWindow.h"
#include "ui/trash/DaysRemainingBadge.h"
#include "ui/trash/TrashBulkActionPanel.h"
#include "ui/trash/TrashDetailView.h"
#include "ui/trash/TrashListView.h"
#include "ui/widgets/RichTextPreview.h"

#include <QAccessible>
#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTextDocument>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

namespace {
QByteArray rtf(const QString& text)
{
    return "{\\rtf1\\ansi{\\fonttbl\\f0 Helvetica;}\\b " + text.toLatin1() + "}";
}
} // namespace

// Recently Deleted's widgets driven as a person would: clicks, the Delete key, the questions.
class TestTrashViews : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<Library> m_library;
    VirtualClock m_clock;
    EditorState m_editor;
    std::unique_ptr<ContentViewModel> m_content;
    std::unique_ptr<TrashViewModel> m_trash;
    std::unique_ptr<QWidget> m_window;
    TrashListView* m_list = nullptr;
    TrashDetailView* m_detail = nullptr;

    // The two columns side by side in a window, on the library's clock.
    QWidget& window()
    {
        if (!m_window) {
            const auto now = [this] { return m_library->now; };
            m_content = std::make_unique<ContentViewModel>(
                ContentViewModel::Dependencies{m_library->store.get(), m_library->settings.get(),
                                               &m_clock, now},
                &m_editor);
            m_content->showRecentlyDeleted();
            m_trash = std::make_unique<TrashViewModel>(
                TrashViewModel::Dependencies{m_library->store.get(), m_content.get(), now});
            m_window = std::make_unique<QWidget>();
            auto* layout = new QHBoxLayout(m_window.get());
            m_list = new TrashListView(m_trash.get(), m_window.get());
            m_detail = new TrashDetailView(m_trash.get(), m_window.get());
            layout->addWidget(m_list);
            layout->addWidget(m_detail, 1);
            m_window->resize(900, 560);
            m_window->show();
            QApplication::setActiveWindow(m_window.get());
            if (!QTest::qWaitForWindowActive(m_window.get()))
                qWarning("window not active");
        }
        return *m_window;
    }
    QListView* list()
    {
        window();
        return m_list->list();
    }
    void selectRows(const QList<int>& rows) { UiTest::selectRows(list(), rows); }
    QPushButton* button(const QString& text, QWidget* in = nullptr)
    {
        return UiTest::button(in ? in : &window(), text);
    }
    static QString labelText(QWidget* in, const QString& name)
    {
        auto* found = in->findChild<QLabel*>(name);
        return found ? found->text() : u"(no label)"_s;
    }
    QMessageBox* question()
    {
        QMessageBox* box = nullptr;
        const bool shown = QTest::qWaitFor(
            [&] { return (box = window().findChild<QMessageBox*>()) && box->isVisible(); }, 3000);
        return shown ? box : nullptr;
    }
    void pressDelete()
    {
        QApplication::setActiveWindow(&window());
        list()->setFocus();
        QTest::keyClick(list(), Qt::Key_Delete);
    }
    void later(qint64 seconds) { m_library->now = m_library->now.addSecs(seconds); }

private Q_SLOTS:
    void initTestCase() { qputenv("LC_ALL", "en_US.UTF-8"); }
    void init() { m_library = std::make_unique<Library>(); }
    void cleanup()
    {
        m_window.reset();
        m_trash.reset();
        m_content.reset();
        m_library.reset();
    }

    void emptyStateUntilSomethingIsDeleted();
    void snippetDetail_data();
    void snippetDetail();
    void categoryDetail_data();
    void categoryDetail();
    void deleteKeyAsksAndReturnDoesNotDelete();
    void bulkPanelRestoresAllAndAsksBeforeDeletingAll();
    void keysSkipHeadingsAndSelectAcrossSections();
    void badgeWidgetFollowsTheRule_data();
    void badgeWidgetFollowsTheRule();
    void richTextPreviewIsOnlyToLookAt();
    void windowShowsRecentlyDeletedAndForgetsItsSelection();
};

void TestTrashViews::emptyStateUntilSomethingIsDeleted()
{
    SnippetEntity* a = m_library->add(u"a"_s);
    QWidget* empty = window().findChild<QWidget*>(u"trashEmpty"_s);
    QVERIFY(empty && empty->isVisible());
    QVERIFY(!list()->isVisible());
    QVERIFY(button(u"Recently Deleted is Empty"_s) == nullptr); // a title, not a button
    QCOMPARE(empty->accessibleName(), u"Recently Deleted is Empty"_s);

    m_library->store->trashSnippets({a});
    QTRY_VERIFY(list()->isVisible());
    QVERIFY(!empty->isVisible());
    m_library->store->restoreSnippet(a);
    QTRY_VERIFY(empty->isVisible()); // never empty sections
}

void TestTrashViews::snippetDetail_data()
{
    QTest::addColumn<bool>("rich");
    QTest::addColumn<qint64>("deletedAgo");
    QTest::addColumn<QString>("deleted");
    QTest::newRow("plain, yesterday") << false << qint64(86'400 + 60) << u"Deleted yesterday"_s;
    QTest::newRow("rich, 3 days") << true << qint64(3 * 86'400) << u"Deleted 3 days ago"_s;
}

void TestTrashViews::snippetDetail()
{
    QFETCH(bool, rich);
    QFETCH(qint64, deletedAgo);
    QFETCH(QString, deleted);
    CategoryEntity* work = m_library->store->createCategory(u"Work"_s, u"#4A90D9"_s);
    SnippetEntity* s = m_library->add(u";sig"_s, work, u"Anna Lindqvist"_s, u"Signature"_s);
    if (rich) {
        s->setRichText(true);
        s->setExpandedTextRTF(rtf(u"Anna Lindqvist"_s));
    }
    m_library->store->trashSnippets({s});
    later(deletedAgo);
    selectRows({1});
    auto* view = window().findChild<QWidget*>(u"trashSnippetDetail"_s);
    QTRY_VERIFY(view && view->isVisible());
    QCOMPARE(labelText(view, u"trashDetailTitle"_s), u"Signature"_s);
    QCOMPARE(labelText(view, u"trashDeletedWhen"_s), deleted);
    auto* preview = view->findChild<RichTextPreview*>();
    auto* plain = view->findChild<QPlainTextEdit*>();
    QCOMPARE(preview->isVisible(), rich);
    QCOMPARE(plain->isVisible(), !rich);
    QCOMPARE(rich ? preview->toPlainText() : plain->toPlainText(), u"Anna Lindqvist"_s);

    // Its own "Restore" brings it back and empties the detail.
    QTest::mouseClick(button(u"Restore"_s, view), Qt::LeftButton);
    QVERIFY(s->isLive());
    QVERIFY(m_trash->selection().isEmpty());
    QTRY_VERIFY(!view->isVisible());
}

void TestTrashViews::categoryDetail_data()
{
    QTest::addColumn<int>("snippets");
    QTest::addColumn<QString>("contents");
    QTest::newRow("none") << 0 << u"This category contained no snippets."_s;
    QTest::newRow("one") << 1 << u"1 snippet will be restored"_s;
    QTest::newRow("two") << 2 << u"2 snippets will be restored"_s;
}

void TestTrashViews::categoryDetail()
{
    QFETCH(int, snippets);
    QFETCH(QString, contents);
    CategoryEntity* old = m_library->store->createCategory(u"Old Projects"_s, u"#9B59B6"_s);
    for (int i = 0; i < snippets; ++i)
        m_library->add(u"s"_s + QString::number(i), old, {}, u"Snippet "_s + QString::number(i));
    m_library->store->trashCategory(old);
    selectRows({1});
    auto* view = window().findChild<QWidget*>(u"trashCategoryDetail"_s);
    QTRY_VERIFY(view && view->isVisible());
    QCOMPARE(labelText(view, u"trashDetailTitle"_s), u"Old Projects"_s);
    QCOMPARE(labelText(view, u"trashCategoryContents"_s), contents);
    auto* listed = view->findChild<QTreeWidget*>();
    QCOMPARE(listed->isVisible(), snippets > 0);
    QCOMPARE(listed->topLevelItemCount(), snippets);

    QTest::mouseClick(button(u"Delete Permanently"_s, view), Qt::LeftButton);
    QVERIFY(!m_library->store->contains(old));
    QCOMPARE(m_library->store->fetchAllSnippets().size(), 0);
}

void TestTrashViews::deleteKeyAsksAndReturnDoesNotDelete()
{
    CategoryEntity* old = m_library->store->createCategory(u"Old"_s, u"#9B59B6"_s);
    m_library->store->trashCategory(old);
    m_library->store->trashSnippets({m_library->add(u"a"_s), m_library->add(u"b"_s)});
    QCOMPARE(list()->model()->rowCount(), 5); // heading, category, heading, two snippets
    selectRows({1, 3});                       // the category and a snippet
    QCOMPARE(m_trash->selection().size(), 2);

    pressDelete();
    QMessageBox* box = question();
    QVERIFY(box);
    QCOMPARE(box->text(), u"Delete 1 snippet and 1 category Permanently?"_s);
    QCOMPARE(box->informativeText(), u"This cannot be undone."_s);
    QVERIFY(button(u"Cancel"_s, box));
    QTest::keyClick(box, Qt::Key_Return); // Cancel is the default
    QTRY_VERIFY(!window().findChild<QMessageBox*>());
    QCOMPARE(m_library->store->fetchTrashedSnippets().size(), 2);

    pressDelete();
    box = question();
    QVERIFY(box);
    QTest::mouseClick(button(u"Delete Permanently"_s, box), Qt::LeftButton);
    QTRY_COMPARE(m_library->store->fetchTrashedSnippets().size() +
                     m_library->store->fetchTrashedCategories().size(),
                 1);
    QVERIFY(m_trash->selection().isEmpty());
    QVERIFY(list()->selectionModel()->selectedRows().isEmpty());
}

void TestTrashViews::bulkPanelRestoresAllAndAsksBeforeDeletingAll()
{
    CategoryEntity* old = m_library->store->createCategory(u"Old"_s, u"#9B59B6"_s);
    SnippetEntity* inOld = m_library->add(u"in"_s, old);
    m_library->store->trashCategory(old);
    m_library->store->trashSnippets({m_library->add(u"a"_s), m_library->add(u"b"_s)});
    // Rows: [Categories] Old [Snippets] b a in
    selectRows({1, 3, 4});
    auto* panel = window().findChild<TrashBulkActionPanel*>();
    QTRY_VERIFY(panel->isVisible());
    QCOMPARE(panel->findChild<QLabel*>(u"trashBulkHeader"_s)->text(),
             u"2 snippets and 1 category selected"_s);
    for (const QString& text : {u"Restore All"_s, u"Delete All Permanently"_s}) {
        QPushButton* b = button(text, panel);
        QVERIFY2(b, qPrintable(text));
        QVERIFY(b->width() >= 180);
        QVERIFY(!b->accessibleDescription().isEmpty());
    }

    QTest::mouseClick(button(u"Delete All Permanently"_s, panel), Qt::LeftButton);
    QMessageBox* box = question();
    QVERIFY(box);
    QCOMPARE(box->text(), u"Delete 2 snippets and 1 category Permanently?"_s);
    QTest::mouseClick(button(u"Cancel"_s, box), Qt::LeftButton);
    QTRY_VERIFY(!window().findChild<QMessageBox*>());

    QSignalSpy saves(m_library->store.get(), &PersistenceController::didSave);
    QTest::mouseClick(button(u"Restore All"_s, panel), Qt::LeftButton);
    QCOMPARE(saves.count(), 1);
    QVERIFY(m_trash->selection().isEmpty());
    QVERIFY(old->isLive() && inOld->isLive());
    QCOMPARE(m_library->store->fetchActiveSnippets().size(), 3);
    QTRY_VERIFY(!panel->isVisible());
}

void TestTrashViews::keysSkipHeadingsAndSelectAcrossSections()
{
    CategoryEntity* old = m_library->store->createCategory(u"Old"_s, u"#9B59B6"_s);
    m_library->store->trashCategory(old);
    m_library->store->trashSnippets({m_library->add(u"a"_s), m_library->add(u"b"_s)});
    // Rows: [Categories] Old [Snippets] b a
    selectRows({1});
    list()->setCurrentIndex(list()->model()->index(1, 0));
    list()->setFocus();
    QTest::keyClick(list(), Qt::Key_Down);
    QCOMPARE(list()->currentIndex().row(), 3);
    QTest::keyClick(list(), Qt::Key_Up, Qt::ShiftModifier);
    QCOMPARE(m_trash->selection().size(), 2); // the category and one snippet, no heading
    QTest::keyClick(list(), Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(m_trash->selection().size(), 3);
    QCOMPARE(list()->selectionModel()->selectedRows().size(), 3);
}

void TestTrashViews::badgeWidgetFollowsTheRule_data()
{
    QTest::addColumn<int>("days");
    QTest::addColumn<QString>("text");
    QTest::newRow("today") << 0 << u"Today"_s;
    QTest::newRow("twelve") << 12 << u"12d"_s;
}

void TestTrashViews::badgeWidgetFollowsTheRule()
{
    QFETCH(int, days);
    QFETCH(QString, text);
    DaysRemainingBadge badge;
    badge.setDaysRemaining(days);
    QCOMPARE(badge.badge().text, text);
    // The capsule fits its text with 6 px either side.
    QCOMPARE(badge.sizeHint().width(), QFontMetrics([&] {
                                           QFont f = badge.font();
                                           f.setPointSizeF(f.pointSizeF() * 0.8);
                                           f.setWeight(QFont::DemiBold);
                                           return f;
                                       }())
                                               .horizontalAdvance(text) +
                                           12);
    QVERIFY(badge.sizeHint().width() <= DaysRemainingBadge::widestSize(badge.font()).width());
}

void TestTrashViews::richTextPreviewIsOnlyToLookAt()
{
    RichTextPreview preview;
    QVERIFY(preview.setRtf(rtf(u"Hello"_s)));
    QCOMPARE(preview.toPlainText(), u"Hello"_s);
    QVERIFY(preview.isReadOnly());
    QCOMPARE(preview.textInteractionFlags(), Qt::NoTextInteraction);
    QCOMPARE(preview.focusPolicy(), Qt::NoFocus);
    QVERIFY(!preview.viewport()->autoFillBackground());

    // A copy: the shown text does not follow its source.
    QTextDocument source(u"first"_s);
    preview.setAttributedText(source);
    source.setPlainText(u"second"_s);
    QCOMPARE(preview.toPlainText(), u"first"_s);
    QVERIFY(!preview.setRtf("not rtf"));
    QCOMPARE(preview.toPlainText(), QString());
}

void TestTrashViews::windowShowsRecentlyDeletedAndForgetsItsSelection()
{
    m_library->store->trashSnippets({m_library->add(u"a"_s, nullptr, u"gone"_s)});
    m_library->add(u"b"_s);
    MainWindow main(
        MainWindow::Dependencies{m_library->store.get(), m_library->settings.get(), &m_clock});
    main.show();
    QVERIFY(QTest::qWaitForWindowExposed(&main));
    auto* sidebar = main.findChild<QWidget*>(u"sidebar"_s)->findChild<QListView*>();
    const QModelIndex trashRow =
        sidebar->model()->index(main.model()->sidebar()->recentlyDeletedRow(), 0);
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {},
                      sidebar->visualRect(trashRow).center());
    QVERIFY(main.model()->showingTrash());
    auto* trashList = main.findChild<QListView*>(u"trashList"_s);
    QTRY_VERIFY(trashList->isVisible());
    QCOMPARE(trashList->model()->index(1, 0).data().toString(), u"gone"_s);
    QCOMPARE(trashList->accessibleName(), u"Recently Deleted"_s);
    QVERIFY(!trashList->accessibleDescription().isEmpty());
    QVERIFY(main.findChild<TrashDetailView*>()->isVisible());

    trashList->selectionModel()->select(trashList->model()->index(1, 0),
                                        QItemSelectionModel::ClearAndSelect);
    QCOMPARE(main.model()->trashSelection().size(), 1);
    for (const QString& text : {u"Restore"_s, u"Delete Permanently"_s}) {
        QPushButton* b = UiTest::button(&main, text);
        QVERIFY2(b && b->text() == text, qPrintable(text));
        QAccessibleInterface* a = QAccessible::queryAccessibleInterface(b);
        QCOMPARE(a->text(QAccessible::Name), text);
        QVERIFY(!a->text(QAccessible::Description).isEmpty());
    }
    // From the list, Tab reaches the detail's buttons.
    QApplication::setActiveWindow(&main);
    trashList->setFocus();
    QString reached;
    for (int i = 0; i < 8 && reached != u"Restore"_s; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        auto* focused = qobject_cast<QPushButton*>(QApplication::focusWidget());
        reached = focused ? focused->text() : QString();
    }
    QCOMPARE(reached, u"Restore"_s);

    const QModelIndex allRow = sidebar->model()->index(0, 0);
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {},
                      sidebar->visualRect(allRow).center());
    QVERIFY(!main.model()->showingTrash());
    QVERIFY(main.model()->trashSelection().isEmpty());
}

QTEST_MAIN(TestTrashViews)
#include "tst_trashviews.moc"

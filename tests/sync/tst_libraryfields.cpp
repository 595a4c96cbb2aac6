#include "library/CategoryEntity.h"
#include "library/SnippetEntity.h"
#include "sync/LibraryFields.h"
#include "sync/SyncState.h"

#include <QTest>
#include <QTimeZone>
#include <algorithm>

using namespace Qt::StringLiterals;
using namespace scrivlane::sync;

namespace {

const QDateTime kNow = QDateTime(QDate(2026, 11, 23), QTime(10, 15, 30, 123), QTimeZone::utc());

std::unique_ptr<CategoryEntity> category(const QString& name)
{
    auto made = CategoryEntity::create(name, u"#AA3355"_s, 3, kNow);
    made->setId(QUuid::createUuid());
    return made;
}

std::unique_ptr<SnippetEntity> fullSnippet(CategoryEntity* in)
{
    auto snippet = SnippetEntity::create(u"Signature ✍"_s, u";sig"_s, in, kNow);
    snippet->setId(QUuid::createUuid());
    snippet->setExpandedText(u"Regards,\n— Anna"_s);
    snippet->setExpandedTextRTF(QByteArray("{\\rtf1\\ansi \\u8212? Anna\\par}\0\xff", 30));
    snippet->setRichText(true);
    snippet->setCodeSnippet(true);
    snippet->setCodeLanguage(u"text"_s);
    snippet->setUpdatedAt(kNow.addSecs(60));
    snippet->setTrashedAt(kNow.addDays(2));
    return snippet;
}

} // namespace

class TestLibraryFields : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What one computer writes, another reads back to the same record, down to the byte and
    // the millisecond; and clearing travels as well as setting.
    void recordsSurviveTheJourney()
    {
        auto work = category(u"Work"_s);
        auto snippet = fullSnippet(work.get());
        const QJsonObject fields = snippetFields(*snippet);

        SnippetEntity copy;
        applySnippetFields(copy, fields, [&](const QUuid& id) {
            return id == *work->id() ? work.get() : nullptr;
        });
        QCOMPARE(snippetFields(copy), fields);
        QCOMPARE(copy.expandedTextRTF(), snippet->expandedTextRTF());
        QCOMPARE(copy.trashedAt(), snippet->trashedAt());
        QCOMPARE(copy.category(), work.get());

        SnippetEntity bare;
        const QJsonObject cleared = snippetFields(bare);
        applySnippetFields(copy, cleared, [](const QUuid&) { return nullptr; });
        QCOMPARE(snippetFields(copy), cleared);
        QVERIFY(!copy.expandedTextRTF());
        QCOMPARE(copy.category(), nullptr);

        CategoryEntity categoryCopy;
        applyCategoryFields(categoryCopy, categoryFields(*work));
        QCOMPARE(categoryFields(categoryCopy), categoryFields(*work));
    }

    void badValuesCostOnlyThemselves_data()
    {
        QTest::addColumn<QJsonObject>("fields");
        QTest::addColumn<QString>("keptField");
        QTest::newRow("title a number") << QJsonObject{{u"title"_s, 5}} << u"title"_s;
        QTest::newRow("rtf not base64")
            << QJsonObject{{u"expandedTextRTF"_s, u"*not base64*"_s}} << u"expandedTextRTF"_s;
        QTest::newRow("date not a date")
            << QJsonObject{{u"updatedAt"_s, u"yesterday"_s}} << u"updatedAt"_s;
        QTest::newRow("flag a string")
            << QJsonObject{{u"isRichText"_s, u"yes"_s}} << u"isRichText"_s;
        QTest::newRow("unknown category")
            << QJsonObject{{u"category"_s, QUuid::createUuid().toString()}} << QString();
    }
    void badValuesCostOnlyThemselves()
    {
        QFETCH(QJsonObject, fields);
        QFETCH(QString, keptField);
        auto snippet = fullSnippet(nullptr);
        const QJsonObject before = snippetFields(*snippet);
        fields.insert(u"abbreviation"_s, u";new"_s);
        applySnippetFields(*snippet, fields, [](const QUuid&) { return nullptr; });
        const QJsonObject after = snippetFields(*snippet);
        QCOMPARE(after.value(u"abbreviation"_s).toString(), u";new"_s);
        if (!keptField.isEmpty())
            QCOMPARE(after.value(keptField), before.value(keptField));
    }

    // The changes written for a save, applied where the earlier library is known, give the
    // library as saved; and they carry only what changed.
    void changesRebuildTheSavedLibrary()
    {
        auto work = category(u"Work"_s);
        auto home = category(u"Home"_s);
        auto kept = fullSnippet(work.get());
        auto edited = fullSnippet(work.get());
        auto removed = fullSnippet(home.get());
        const LibraryView before =
            viewOf({kept.get(), edited.get(), removed.get()}, {work.get(), home.get()});

        edited->setTitle(u"Renamed"_s);
        edited->setCategory(nullptr);
        auto added = fullSnippet(work.get());
        const LibraryView after = viewOf({kept.get(), edited.get(), added.get()}, {work.get()});

        const QList<QJsonObject> changes = changesBetween(before, after);
        QCOMPARE(changes.size(), 4); // home deleted, edited, added, removed deleted
        QCOMPARE(changes.first().value(u"kind"_s).toString(), u"category"_s);
        const QString editedId = syncId(*edited->id());
        const auto editedChange =
            std::find_if(changes.cbegin(), changes.cend(), [&](const QJsonObject& change) {
                return change.value(u"id"_s).toString() == editedId;
            });
        QVERIFY(editedChange != changes.cend());
        QCOMPARE(editedChange->value(u"fields"_s).toObject().keys(),
                 (QStringList{u"category"_s, u"title"_s}));

        SyncState state;
        HybridClock clock(u"dev"_s, [] { return qint64(1000); });
        for (const QJsonObject& change : changesBetween({}, before))
            QVERIFY(state.apply(clock.tick(), change));
        for (const QJsonObject& change : changes)
            QVERIFY(state.apply(clock.tick(), change));
        QCOMPARE(state.visible(SyncState::Kind::Snippet), after.snippets);
        QCOMPARE(state.visible(SyncState::Kind::Category), after.categories);
        QVERIFY(changesBetween(after, after).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLibraryFields)
#include "tst_libraryfields.moc"

#pragma once

#include "library/CategoryEntity.h"
#include "library/PersistenceController.h"
#include "library/SnippetEntity.h"

#include <QSettings>
#include <QTemporaryDir>
#include <memory>

// A real store on a temporary SQLite file, its settings beside it, and a fixed clock.
struct Library {
    QTemporaryDir dir;
    QDateTime now = QDateTime(QDate(2026, 3, 1), QTime(12, 0), Qt::UTC);
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<PersistenceController> store;

    Library()
    {
        settings = std::make_unique<QSettings>(dir.filePath(QStringLiteral("settings.ini")),
                                               QSettings::IniFormat);
        PersistenceController::Options options;
        options.databasePath = dir.filePath(QStringLiteral("library.sqlite"));
        options.settings = settings.get();
        options.watchForExternalChanges = false;
        options.clock = [this] { return now; };
        store = std::make_unique<PersistenceController>(std::move(options));
    }

    SnippetEntity* add(const QString& abbreviation, CategoryEntity* category = nullptr,
                       const QString& text = {}, const QString& title = {})
    {
        now = now.addSecs(60); // each one newer than the last
        SnippetEntity* s =
            store->insertSnippet(SnippetEntity::create(title, abbreviation, category, now));
        s->setExpandedText(text);
        store->save();
        return s;
    }
};

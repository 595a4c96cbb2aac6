#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <optional>

// The records of a backup file. Absent optional values are left out of the file.

struct SnippetBackup {
    QString id; // canonical upper-case UUID text
    std::optional<QString> title;
    std::optional<QString> abbreviation;
    std::optional<QString> expandedText;
    std::optional<QString> expandedTextRTFBase64;
    bool isRichText = false;
    bool isCodeSnippet = false;
    std::optional<QString> codeLanguage;
    std::optional<QString> categoryName;
    std::optional<QString> categoryColorHex;
    std::optional<QDateTime> createdAt;
    std::optional<QDateTime> updatedAt;
    std::optional<QDateTime> trashedAt;

    friend bool operator==(const SnippetBackup&, const SnippetBackup&) = default;
};

struct CategoryBackup {
    QString id;
    std::optional<QString> name;
    std::optional<QString> colorHex;
    std::optional<QDateTime> createdAt;
    std::optional<QDateTime> trashedAt;

    friend bool operator==(const CategoryBackup&, const CategoryBackup&) = default;
};

struct AppSettingsBackup {
    bool expansionEnabled = true;
    bool soundEnabled = true;
    float soundVolume = 0.8f;
    QString selectedSound = QStringLiteral("Tink");

    friend bool operator==(const AppSettingsBackup&, const AppSettingsBackup&) = default;
};

struct BackupFile {
    QDateTime exportedAt;
    QString appVersion;
    QList<SnippetBackup> snippets;
    std::optional<QList<CategoryBackup>> trashedCategories;
    std::optional<AppSettingsBackup> settings;

    friend bool operator==(const BackupFile&, const BackupFile&) = default;
};

struct RestoreResult {
    int snippetsAdded = 0;
    int snippetsSkipped = 0;
    bool settingsRestored = false;

    friend bool operator==(const RestoreResult&, const RestoreResult&) = default;
};

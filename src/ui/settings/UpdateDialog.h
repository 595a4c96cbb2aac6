#pragma once

#include <QDialog>

struct AppcastItem;
struct UpdateCheckResult;

// What an update check found, told to the user: a newer version with its notes and a button
// to its download page; after a check the user asked for, also "up to date" or the failure.
namespace UpdateDialog {

// The dialog for a found update; not shown yet.
QDialog* create(const AppcastItem& item, const QString& currentVersion, QWidget* parent);
// Shows what the result calls for; nothing for a scheduled check that found nothing.
void present(const UpdateCheckResult& result, const QString& currentVersion, QWidget* parent);

} // namespace UpdateDialog

#pragma once

#include <QString>
#include <QVariant>
#include <optional>

// Typed reads of user-defaults values. The INI file hands back strings ("true", "0.7"),
// values set in this process come back with their own type; both count. Anything else
// (a word where a number belongs, a list, a fraction where an integer belongs) is nullopt,
// so the caller falls back to its default.
namespace SettingsValues {

std::optional<bool> toBool(const QVariant& value);
std::optional<double> toDouble(const QVariant& value); // finite numbers only
std::optional<qint64> toInteger(const QVariant& value);
std::optional<QString> toString(const QVariant& value);

} // namespace SettingsValues

#pragma once

#include <QByteArray>
#include <QStringView>

// JSON written by hand, where the order of keys or the exact bytes are part of a format
// (request bodies, backup files, command output) and QJsonDocument would sort or reformat.
namespace JsonText {

enum class Slash {
    plain,   // "a/b"
    escaped, // "a\/b", as the backup format has always written it
};

// A JSON string literal, quotes included, in UTF-8. Control characters are escaped; every
// other character is written as itself.
QByteArray quoted(QStringView text, Slash slash = Slash::plain);

} // namespace JsonText

#pragma once

#include <QString>

class QTextDocument;

namespace RichText {

// The document's characters with paragraph and line breaks as "\n". One UTF-16 unit per
// document position, so offsets into it are document positions.
QString plainCharacters(const QTextDocument& document);

} // namespace RichText

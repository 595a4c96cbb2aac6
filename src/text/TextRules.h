#pragma once

#include <QString>
#include <QStringView>
#include <vector>

// The text rules every area shares. A "character" is a user-perceived character (an extended
// grapheme cluster); positions handed to Qt and the clipboard are UTF-16 units.
namespace TextRules {

qsizetype characterCount(QStringView text);

// The first or last n characters; the whole text when it has fewer.
QString firstCharacters(QStringView text, qsizetype n);
QString lastCharacters(QStringView text, qsizetype n);

// The text without its last character; empty stays empty.
QString droppingLastCharacter(QStringView text);

// UTF-16 offset just after the first n characters (the text's length when it has fewer).
qsizetype utf16OffsetAfterCharacters(QStringView text, qsizetype n);

// Number of characters that start before the UTF-16 offset (clamped to the text).
qsizetype characterCountBefore(QStringView text, qsizetype utf16Offset);

// UTF-16 offsets where each character starts, followed by the text's length.
std::vector<qsizetype> characterBoundaries(QStringView text);

// The text with every unpaired surrogate replaced by U+FFFD, so offsets stay; valid text comes
// back unchanged (and shared). Regular expressions match nothing in invalid UTF-16.
QString repairedUtf16(const QString& text);

// Canonical decomposition (NFD): canonically equivalent texts give the same units.
QString canonicalForm(QStringView text);

// Whether text ends with suffix as whole characters under canonical equivalence, case-sensitive.
bool hasCharacterSuffix(QStringView text, QStringView suffix);

// Trims spaces and tabs only; line breaks stay.
QString trimSpacesAndTabs(QStringView text);

// Trims Unicode white space and line breaks.
QString trimWhitespaceAndNewlines(QStringView text);

} // namespace TextRules

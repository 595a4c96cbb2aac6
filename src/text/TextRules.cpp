#include "text/TextRules.h"

#include <memory>
#include <unicode/brkiter.h>
#include <unicode/normalizer2.h>
#include <unicode/utext.h>

namespace {

// Creating a break iterator costs far more than using one, so each thread keeps its own.
icu::BreakIterator* characterIterator(QStringView text)
{
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> it(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        if (U_FAILURE(status))
            qFatal("ICU character break iterator unavailable: %s", u_errorName(status));
        return it;
    }();
    UErrorCode status = U_ZERO_ERROR;
    UText utext = UTEXT_INITIALIZER;
    utext_openUChars(&utext, reinterpret_cast<const UChar*>(text.utf16()), text.size(), &status);
    iterator->setText(&utext, status);
    // The iterator clones the UText's description; the characters stay ours.
    utext_close(&utext);
    return iterator.get();
}

bool isSpaceOrTab(QChar c)
{
    return c == u' ' || c == u'\t';
}

template <typename Predicate> QString trimmed(QStringView text, Predicate isTrimmed)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isTrimmed(text[begin]))
        ++begin;
    while (end > begin && isTrimmed(text[end - 1]))
        --end;
    return text.mid(begin, end - begin).toString();
}

} // namespace

namespace TextRules {

qsizetype characterCount(QStringView text)
{
    if (text.isEmpty())
        return 0;
    icu::BreakIterator* it = characterIterator(text);
    qsizetype count = 0;
    for (int32_t pos = it->next(); pos != icu::BreakIterator::DONE; pos = it->next())
        ++count;
    return count;
}

qsizetype utf16OffsetAfterCharacters(QStringView text, qsizetype n)
{
    if (n <= 0 || text.isEmpty())
        return 0;
    icu::BreakIterator* it = characterIterator(text);
    int32_t pos = 0;
    for (qsizetype i = 0; i < n; ++i) {
        const int32_t next = it->next();
        if (next == icu::BreakIterator::DONE)
            break;
        pos = next;
    }
    return pos;
}

QString firstCharacters(QStringView text, qsizetype n)
{
    return text.left(utf16OffsetAfterCharacters(text, n)).toString();
}

QString lastCharacters(QStringView text, qsizetype n)
{
    if (n <= 0 || text.isEmpty())
        return {};
    icu::BreakIterator* it = characterIterator(text);
    int32_t pos = it->last();
    for (qsizetype i = 0; i < n; ++i) {
        const int32_t previous = it->previous();
        if (previous == icu::BreakIterator::DONE)
            break;
        pos = previous;
    }
    return text.mid(pos).toString();
}

QString droppingLastCharacter(QStringView text)
{
    if (text.isEmpty())
        return {};
    icu::BreakIterator* it = characterIterator(text);
    it->last();
    const int32_t previous = it->previous();
    return text.left(previous == icu::BreakIterator::DONE ? 0 : previous).toString();
}

qsizetype characterCountBefore(QStringView text, qsizetype utf16Offset)
{
    if (utf16Offset <= 0 || text.isEmpty())
        return 0;
    icu::BreakIterator* it = characterIterator(text);
    qsizetype count = 0;
    int32_t start = 0;
    for (int32_t next = it->next(); next != icu::BreakIterator::DONE; next = it->next()) {
        if (start >= utf16Offset)
            break;
        ++count;
        start = next;
    }
    return count;
}

std::vector<qsizetype> characterBoundaries(QStringView text)
{
    std::vector<qsizetype> boundaries;
    if (text.isEmpty()) {
        boundaries.push_back(0);
        return boundaries;
    }
    icu::BreakIterator* it = characterIterator(text);
    for (int32_t pos = it->first(); pos != icu::BreakIterator::DONE; pos = it->next())
        boundaries.push_back(pos);
    return boundaries;
}

QString repairedUtf16(const QString& text)
{
    QString repaired;
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = text[i];
        if (!c.isSurrogate())
            continue;
        if (c.isHighSurrogate() && i + 1 < n && text[i + 1].isLowSurrogate()) {
            ++i;
            continue;
        }
        if (repaired.isNull())
            repaired = text;
        repaired[i] = QChar::ReplacementCharacter;
    }
    return repaired.isNull() ? text : repaired;
}

QString canonicalForm(QStringView text)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    if (U_FAILURE(status))
        qFatal("ICU NFD normaliser unavailable: %s", u_errorName(status));
    const icu::UnicodeString source(false, reinterpret_cast<const UChar*>(text.utf16()),
                                    static_cast<int32_t>(text.size()));
    if (nfd->isNormalized(source, status) && U_SUCCESS(status))
        return text.toString();
    status = U_ZERO_ERROR;
    const icu::UnicodeString result = nfd->normalize(source, status);
    if (U_FAILURE(status))
        return text.toString();
    return QString(reinterpret_cast<const QChar*>(result.getBuffer()), result.length());
}

bool hasCharacterSuffix(QStringView text, QStringView suffix)
{
    if (suffix.isEmpty())
        return true;
    const QString canonicalText = canonicalForm(text);
    const QString canonicalSuffix = canonicalForm(suffix);
    if (!canonicalText.endsWith(canonicalSuffix))
        return false;
    // The suffix must begin where a character begins, or "é" would end with a lone accent.
    const qsizetype start = canonicalText.size() - canonicalSuffix.size();
    if (start == 0)
        return true;
    icu::BreakIterator* it = characterIterator(canonicalText);
    return it->isBoundary(static_cast<int32_t>(start));
}

QString trimSpacesAndTabs(QStringView text)
{
    return trimmed(text, isSpaceOrTab);
}

QString trimWhitespaceAndNewlines(QStringView text)
{
    return trimmed(text, [](QChar c) { return c.isSpace(); });
}

} // namespace TextRules

#include "sync/Journal.h"

#include <QJsonDocument>
#include <QJsonParseError>
#include <algorithm>
#include <array>

namespace scrivlane::sync {

namespace {

constexpr std::array<quint32, 256> makeCrcTable()
{
    std::array<quint32, 256> table{};
    for (quint32 i = 0; i < 256; ++i) {
        quint32 c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

constexpr auto kCrcTable = makeCrcTable();

constexpr qsizetype kCrcDigits = 8;

struct ParsedLine {
    bool ok = false;
    bool newerFormat = false;
    JournalEntry entry;
};

ParsedLine parseLine(QByteArrayView line)
{
    ParsedLine parsed;
    if (line.size() < kCrcDigits + 2 || line[kCrcDigits] != ' ')
        return parsed;
    bool hexOk = false;
    const quint32 expected = line.first(kCrcDigits).toUInt(&hexOk, 16);
    const QByteArrayView json = line.sliced(kCrcDigits + 1);
    if (!hexOk || crc32(json) != expected)
        return parsed;
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return parsed;
    const QJsonObject object = document.object();
    const int format = object.value(QLatin1String("v")).toInt(0);
    if (format > kJournalFormat) {
        parsed.newerFormat = true;
        return parsed;
    }
    const double seq = object.value(QLatin1String("seq")).toDouble(0);
    const auto stamp = HlcStamp::parse(object.value(QLatin1String("hlc")).toString());
    const QJsonValue change = object.value(QLatin1String("change"));
    if (format < 1 || seq < 1 || seq != static_cast<double>(static_cast<quint64>(seq)) || !stamp ||
        !change.isObject())
        return parsed;
    parsed.ok = true;
    parsed.entry = {static_cast<quint64>(seq), *stamp, change.toObject()};
    return parsed;
}

} // namespace

quint32 crc32(QByteArrayView bytes)
{
    quint32 c = 0xFFFFFFFFu;
    for (const char byte : bytes)
        c = kCrcTable[(c ^ static_cast<quint8>(byte)) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

QByteArray encodeJournalEntry(const JournalEntry& entry)
{
    QJsonObject object;
    object.insert(QLatin1String("v"), kJournalFormat);
    object.insert(QLatin1String("seq"), static_cast<qint64>(entry.seq));
    object.insert(QLatin1String("hlc"), entry.stamp.toString());
    object.insert(QLatin1String("change"), entry.change);
    const QByteArray json = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return QByteArray::number(crc32(json), 16).rightJustified(kCrcDigits, '0') + ' ' + json + '\n';
}

JournalReadResult readJournal(const QByteArray& bytes, quint64 afterSeq)
{
    JournalReadResult result;
    result.lastInOrder = afterSeq;
    qsizetype start = 0;
    // Damaged lines since the last good entry: each may have held the next number, so a
    // jump of that many is a skipped entry, not a gap.
    quint64 damagedRun = 0;
    while (start < bytes.size()) {
        const qsizetype end = bytes.indexOf('\n', start);
        if (end < 0) {
            result.tornTail = true;
            break;
        }
        const QByteArrayView line = QByteArrayView(bytes).sliced(start, end - start);
        start = end + 1;
        if (line.isEmpty()) {
            result.consumed = start;
            if (result.stop == JournalReadResult::Stop::None)
                result.resumeAt = start;
            continue;
        }
        const ParsedLine parsed = parseLine(line);
        if (parsed.newerFormat) {
            result.stop = JournalReadResult::Stop::NewerFormat;
            break;
        }
        result.consumed = start;
        const bool pastGap = result.stop == JournalReadResult::Stop::Gap;
        if (!pastGap)
            result.resumeAt = start;
        if (!parsed.ok) {
            if (!pastGap) {
                ++result.damaged;
                ++damagedRun;
            }
            continue;
        }
        const quint64 seq = parsed.entry.seq;
        result.highestSeq = std::max(result.highestSeq, seq);
        if (seq <= result.lastInOrder || pastGap)
            continue;
        if (seq > result.lastInOrder + 1 + damagedRun) {
            result.stop = JournalReadResult::Stop::Gap;
            result.resumeAt = start - line.size() - 1;
            continue;
        }
        result.lastInOrder = seq;
        damagedRun = 0;
        result.entries.append(parsed.entry);
    }
    return result;
}

} // namespace scrivlane::sync

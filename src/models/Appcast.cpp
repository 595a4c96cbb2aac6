#include "models/Appcast.h"

#include <QCoreApplication>
#include <QXmlStreamReader>

using namespace Qt::StringLiterals;

namespace {

struct Version {
    QList<qint64> numbers;
    QStringList preRelease; // empty: a release
};

std::optional<Version> parseVersion(const QString& text)
{
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return std::nullopt;
    const qsizetype dash = trimmed.indexOf(u'-');
    const QString main = dash < 0 ? trimmed : trimmed.left(dash);
    Version v;
    for (const QString& part : main.split(u'.')) {
        bool ok = false;
        const qint64 n = part.toLongLong(&ok);
        if (!ok || n < 0 || part.startsWith(u'+'))
            return std::nullopt;
        v.numbers.append(n);
    }
    if (dash >= 0) {
        v.preRelease = trimmed.mid(dash + 1).split(u'.');
        if (v.preRelease.contains(QString()))
            return std::nullopt;
    }
    return v;
}

int compareIdentifiers(const QString& a, const QString& b)
{
    bool aNumber = false;
    bool bNumber = false;
    const qint64 an = a.toLongLong(&aNumber);
    const qint64 bn = b.toLongLong(&bNumber);
    if (aNumber && bNumber)
        return an < bn ? -1 : an > bn ? 1 : 0;
    if (aNumber != bNumber)
        return aNumber ? -1 : 1; // numbers sort before words
    return a.compare(b);
}

QUrl webLink(const QString& text)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || (url.scheme() != u"https"_s && url.scheme() != u"http"_s))
        return {};
    return url;
}

AppcastItem readItem(QXmlStreamReader& xml)
{
    AppcastItem item;
    QString enclosureVersion;
    QString enclosureShort;
    QUrl enclosureUrl;
    while (xml.readNextStartElement()) {
        const bool sparkle = xml.namespaceUri() == Appcast::sparkleNamespace;
        const QStringView name = xml.name();
        if (sparkle && name == u"version"_s)
            item.version = xml.readElementText().trimmed();
        else if (sparkle && name == u"shortVersionString"_s)
            item.shownVersion = xml.readElementText().trimmed();
        else if (sparkle && name == u"channel"_s)
            item.channel = xml.readElementText().trimmed();
        else if (sparkle && name == u"releaseNotesLink"_s)
            item.releaseNotesLink = webLink(xml.readElementText());
        else if (!sparkle && name == u"title"_s)
            item.title = xml.readElementText().trimmed();
        else if (!sparkle && name == u"pubDate"_s)
            item.date = xml.readElementText().trimmed();
        else if (!sparkle && name == u"description"_s)
            item.notes = xml.readElementText().trimmed();
        else if (!sparkle && name == u"link"_s)
            item.downloadLink = webLink(xml.readElementText());
        else if (!sparkle && name == u"enclosure"_s) {
            const QXmlStreamAttributes attributes = xml.attributes();
            enclosureVersion = attributes.value(Appcast::sparkleNamespace, u"version"_s).toString();
            enclosureShort =
                attributes.value(Appcast::sparkleNamespace, u"shortVersionString"_s).toString();
            enclosureUrl = webLink(attributes.value(u"url"_s).toString());
            xml.skipCurrentElement();
        } else
            xml.skipCurrentElement();
    }
    if (item.version.isEmpty())
        item.version = enclosureVersion.trimmed();
    if (item.shownVersion.isEmpty())
        item.shownVersion = enclosureShort.trimmed();
    if (item.shownVersion.isEmpty())
        item.shownVersion = item.version;
    if (item.downloadLink.isEmpty())
        item.downloadLink = enclosureUrl;
    return item;
}

QString notValidXml(const QXmlStreamReader& xml)
{
    return QCoreApplication::translate("Appcast", "The update feed is not valid XML: %1")
        .arg(xml.errorString());
}

} // namespace

namespace Appcast {

std::variant<QList<AppcastItem>, QString> parse(const QByteArray& data)
{
    QXmlStreamReader xml(data);
    if (!xml.readNextStartElement() || xml.name() != u"rss"_s)
        return xml.hasError()
                   ? notValidXml(xml)
                   : QCoreApplication::translate("Appcast", "The update feed is not an RSS feed.");
    QList<AppcastItem> items;
    bool sawChannel = false;
    while (xml.readNextStartElement()) {
        if (xml.name() != u"channel"_s) {
            xml.skipCurrentElement();
            continue;
        }
        sawChannel = true;
        while (xml.readNextStartElement()) {
            if (xml.name() != u"item"_s) {
                xml.skipCurrentElement();
                continue;
            }
            AppcastItem item = readItem(xml);
            if (parseVersion(item.version))
                items.append(std::move(item));
        }
    }
    if (xml.hasError())
        return notValidXml(xml);
    if (!sawChannel)
        return QCoreApplication::translate("Appcast", "The update feed has no channel.");
    return items;
}

std::optional<int> compareVersions(const QString& a, const QString& b)
{
    const std::optional<Version> va = parseVersion(a);
    const std::optional<Version> vb = parseVersion(b);
    if (!va || !vb)
        return std::nullopt;
    const qsizetype parts = std::max(va->numbers.size(), vb->numbers.size());
    for (qsizetype i = 0; i < parts; ++i) {
        const qint64 x = va->numbers.value(i, 0);
        const qint64 y = vb->numbers.value(i, 0);
        if (x != y)
            return x < y ? -1 : 1;
    }
    if (va->preRelease.isEmpty() || vb->preRelease.isEmpty())
        return int(va->preRelease.isEmpty()) - int(vb->preRelease.isEmpty());
    const qsizetype identifiers = std::max(va->preRelease.size(), vb->preRelease.size());
    for (qsizetype i = 0; i < identifiers; ++i) {
        if (i == va->preRelease.size())
            return -1;
        if (i == vb->preRelease.size())
            return 1;
        if (const int c = compareIdentifiers(va->preRelease[i], vb->preRelease[i]); c != 0)
            return c < 0 ? -1 : 1;
    }
    return 0;
}

std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items,
                                      const QString& currentVersion, const QSet<QString>& channels)
{
    std::optional<AppcastItem> best;
    for (const AppcastItem& item : items) {
        if (!item.channel.isEmpty() && !channels.contains(item.channel))
            continue;
        if (compareVersions(item.version, currentVersion).value_or(0) <= 0)
            continue;
        if (!best || compareVersions(item.version, best->version).value_or(0) > 0)
            best = item;
    }
    return best;
}

} // namespace Appcast

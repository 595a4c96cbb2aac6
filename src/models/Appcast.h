#pragma once

#include <QList>
#include <QMetaType>
#include <QSet>
#include <QString>
#include <QUrl>
#include <optional>
#include <variant>

// One release in the update feed: an RSS item with the updater's version, channel and links.
struct AppcastItem {
    QString title;
    QString version;      // compared with ours
    QString shownVersion; // what the user reads ("0.3.0"); the version when the feed has none
    QString channel;      // empty: the default channel, offered to everyone
    QString date;         // as the feed writes it
    QString notes;        // the item's description, HTML or plain text
    QUrl releaseNotesLink;
    QUrl downloadLink; // the release's page, else its file
};

// The update feed: an RSS 2.0 document whose items carry the version ("sparkle:version",
// as an element or on the enclosure), an optional "sparkle:channel", the date, a release-notes
// link and a download link.
namespace Appcast {

inline const QString sparkleNamespace =
    QStringLiteral("http://www.andymatuschak.org/xml-namespaces/sparkle");

// The items in the feed's order, or why the feed cannot be read. Items without a usable
// version are left out; links other than http(s) are dropped.
std::variant<QList<AppcastItem>, QString> parse(const QByteArray& xml);

// Negative, zero or positive as `a` is older than, the same as or newer than `b`. Versions
// are dotted numbers with an optional pre-release after "-" (0.3.0-beta.2 comes before
// 0.3.0); missing parts count as zero. Nothing for a version that is not of that form.
std::optional<int> compareVersions(const QString& a, const QString& b);

// The newest item newer than `currentVersion` on the default channel or one of `channels`.
std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items,
                                      const QString& currentVersion, const QSet<QString>& channels);

} // namespace Appcast

Q_DECLARE_METATYPE(AppcastItem)

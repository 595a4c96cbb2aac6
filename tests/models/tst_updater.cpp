#include "common/Preferences.h"
#include "models/Appcast.h"
#include "models/CheckForUpdatesViewModel.h"
#include "models/GeneralSettingsModel.h"
#include "models/Updater.h"
#include "platform/qt/QtHttpClient.h"
#include "support/HttpTestServer.h"
#include "support/VirtualClock.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

QByteArray item(const QString& version, const QString& channel = {}, const QString& extra = {})
{
    QString text = u"<item><title>Version %1</title><pubDate>Mon, 23 Nov 2026 12:00:00 +0000"
                   u"</pubDate><sparkle:version>%1</sparkle:version>"_s.arg(version);
    if (!channel.isEmpty())
        text += u"<sparkle:channel>"_s + channel + u"</sparkle:channel>"_s;
    text += u"<link>https://example.org/releases/%1</link>"
            u"<description><![CDATA[<ul><li>Notes of %1</li></ul>]]></description>"_s.arg(version);
    return (text + extra + u"</item>"_s).toUtf8();
}

QByteArray feed(const QList<QByteArray>& items)
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" "
                     "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">"
                     "<channel><title>ScrivLane</title>";
    for (const QByteArray& i : items)
        xml += i;
    return xml + "</channel></rss>";
}

} // namespace

// The update feed and the check cycle, against a real HTTP server on 127.0.0.1.
class TestUpdater : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    HttpTestServer m_server;
    QtHttpClient m_http;
    VirtualClock m_clock;
    QDateTime m_now = QDateTime(QDate(2026, 11, 23), QTime(9, 0), Qt::UTC);

    std::unique_ptr<Updater> updater(const QString& version = u"0.2.0"_s)
    {
        return std::make_unique<Updater>(Updater::Dependencies{&m_http, m_settings.get(), &m_clock,
                                                               version, [this] { return m_now; },
                                                               std::chrono::seconds(30)});
    }
    // Runs a user-initiated check to its end.
    UpdateCheckResult check(Updater& u)
    {
        QSignalSpy finished(&u, &Updater::checkFinished);
        u.checkForUpdates();
        if (!finished.wait(15000))
            return {};
        return finished.first().first().value<UpdateCheckResult>();
    }

private Q_SLOTS:
    void initTestCase()
    {
        qRegisterMetaType<UpdateCheckResult>();
        QVERIFY(m_server.listen());
    }
    void init()
    {
        m_settings.reset();
        QFile::remove(m_dir.filePath(u"settings.ini"_s));
        m_settings =
            std::make_unique<QSettings>(m_dir.filePath(u"settings.ini"_s), QSettings::IniFormat);
        QVERIFY(Preferences::write(*m_settings, Preferences::updateFeedURL,
                                   QString(m_server.baseUrl() + u"/appcast.xml"_s)));
        m_server.clearRequests();
        m_clock.takePending();
    }

    void versionsCompare_data();
    void versionsCompare();
    void feedAddressMustBeSafe_data();
    void feedAddressMustBeSafe();
    void checkAgainstFeed_data();
    void checkAgainstFeed();
    void cannotCheckWhileChecking();
    void scheduledOnceADayAtMost();
    void betaSwitchResetsTheCycle();
};

void TestUpdater::versionsCompare_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<int>("expected"); // 2: not comparable
    QTest::newRow("patch") << u"0.2.1"_s << u"0.2.0"_s << 1;
    QTest::newRow("numbers, not text") << u"0.10.0"_s << u"0.9.0"_s << 1;
    QTest::newRow("missing part is zero") << u"1.0"_s << u"1.0.0"_s << 0;
    QTest::newRow("pre-release before release") << u"0.3.0-beta.2"_s << u"0.3.0"_s << -1;
    QTest::newRow("pre-release numbers") << u"0.3.0-beta.10"_s << u"0.3.0-beta.9"_s << 1;
    QTest::newRow("shorter pre-release first") << u"0.3.0-beta"_s << u"0.3.0-beta.1"_s << -1;
    QTest::newRow("pre-release of a newer version") << u"0.3.0-beta.1"_s << u"0.2.9"_s << 1;
    QTest::newRow("garbage") << u"latest"_s << u"0.1.0"_s << 2;
    QTest::newRow("empty part") << u"1..2"_s << u"1.0.2"_s << 2;
}

void TestUpdater::versionsCompare()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(int, expected);
    QCOMPARE(Appcast::compareVersions(a, b).value_or(2), expected);
    if (expected != 2)
        QCOMPARE(Appcast::compareVersions(b, a).value_or(2), -expected);
}

void TestUpdater::feedAddressMustBeSafe_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("https") << u"https://example.org/appcast.xml"_s << true;
    QTest::newRow("http elsewhere") << u"http://example.org/appcast.xml"_s << false;
    QTest::newRow("http loopback") << u"http://127.0.0.1:8080/appcast.xml"_s << true;
    QTest::newRow("file") << u"file:///tmp/appcast.xml"_s << false;
    QTest::newRow("not an address") << u"appcast"_s << false;
}

void TestUpdater::feedAddressMustBeSafe()
{
    QFETCH(QString, address);
    QFETCH(bool, accepted);
    QCOMPARE(Preferences::accept(Preferences::updateFeedURL, address).has_value(), accepted);
}

void TestUpdater::checkAgainstFeed_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("beta");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("found"); // the version, or a piece of the message
    using K = UpdateCheckResult::Kind;
    const QByteArray older = item(u"0.1.0"_s);
    QTest::newRow("newer") << 200 << feed({older, item(u"0.3.0"_s), item(u"0.2.5"_s)}) << false
                           << int(K::updateAvailable) << u"0.3.0"_s;
    QTest::newRow("same") << 200 << feed({item(u"0.2.0"_s), older}) << false << int(K::upToDate)
                          << QString();
    QTest::newRow("beta only, switch off")
        << 200 << feed({item(u"0.3.0-beta.1"_s, u"beta"_s), older}) << false << int(K::upToDate)
        << QString();
    QTest::newRow("beta only, switch on")
        << 200 << feed({item(u"0.3.0-beta.1"_s, u"beta"_s), older}) << true
        << int(K::updateAvailable) << u"0.3.0-beta.1"_s;
    QTest::newRow("an unknown channel is never offered")
        << 200 << feed({item(u"9.0.0"_s, u"nightly"_s)}) << true << int(K::upToDate) << QString();
    QTest::newRow("version on the enclosure")
        << 200
        << feed({"<item><title>x</title><enclosure url=\"https://example.org/a.AppImage\" "
                 "sparkle:version=\"0.4.0\" length=\"1\" type=\"application/octet-stream\"/>"
                 "</item>"})
        << false << int(K::updateAvailable) << u"0.4.0"_s;
    QTest::newRow("malformed") << 200 << QByteArray("<rss><channel><item>") << false
                               << int(K::failed) << u"not valid XML"_s;
    QTest::newRow("not a feed") << 200 << QByteArray("<html><body>hi</body></html>") << false
                                << int(K::failed) << u"not an RSS feed"_s;
    QTest::newRow("missing") << 404 << QByteArray("nope") << false << int(K::failed)
                             << u"HTTP status 404"_s;
}

void TestUpdater::checkAgainstFeed()
{
    QFETCH(int, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, beta);
    QFETCH(int, kind);
    QFETCH(QString, found);
    Preferences::write(*m_settings, Preferences::betaUpdatesEnabled, beta);
    m_server.setReply({status, body});
    auto u = updater();
    u->start();
    const UpdateCheckResult result = check(*u);
    QCOMPARE(int(result.kind), kind);
    QVERIFY(result.userInitiated);
    QCOMPARE(m_server.requests().size(), 1);
    QCOMPARE(m_server.requests().first().path, QByteArray("/appcast.xml"));
    if (kind == int(UpdateCheckResult::Kind::updateAvailable)) {
        QCOMPARE(result.item.version, found);
        QVERIFY(result.item.downloadLink.scheme() == u"https"_s);
    } else if (kind == int(UpdateCheckResult::Kind::failed)) {
        QVERIFY2(result.message.contains(found), qPrintable(result.message));
    }
    // Tried, whatever the outcome: the next scheduled check is a day away.
    QCOMPARE(Preferences::value(*m_settings, Preferences::lastUpdateCheck).toDateTime(), m_now);
    QCOMPARE(u->nextScheduledCheck(), m_now.addDays(1));
}

void TestUpdater::cannotCheckWhileChecking()
{
    m_server.setReply({200, feed({item(u"0.2.0"_s)}), std::chrono::milliseconds(300)});
    auto u = updater();
    CheckForUpdatesViewModel model(u.get());
    u->start();
    QSignalSpy finished(u.get(), &Updater::checkFinished);
    model.checkForUpdates();
    QVERIFY(!model.canCheckForUpdates());
    model.checkForUpdates(); // a second press while the first runs
    u->checkForUpdates();
    QVERIFY(finished.wait(15000));
    QVERIFY(model.canCheckForUpdates());
    QTest::qWait(400);
    QCOMPARE(finished.size(), 1);
    QCOMPARE(m_server.requests().size(), 1);

    // Nothing listens there: a failure the user is told about, and the button comes back.
    Preferences::write(
        *m_settings, Preferences::updateFeedURL,
        QVariant(u"http://127.0.0.1:%1/appcast.xml"_s.arg(HttpTestServer::unusedPort())));
    const UpdateCheckResult unreachable = check(*u);
    QCOMPARE(unreachable.kind, UpdateCheckResult::Kind::failed);
    QVERIFY2(unreachable.message.startsWith(u"The update server could not be reached"_s),
             qPrintable(unreachable.message));
    QVERIFY(model.canCheckForUpdates());
}

void TestUpdater::scheduledOnceADayAtMost()
{
    m_server.setReply({200, feed({item(u"0.3.0"_s)})});
    Preferences::write(*m_settings, Preferences::lastUpdateCheck, m_now.addSecs(-3600));
    auto u = updater();
    u->start();
    QCOMPARE(u->nextScheduledCheck(), m_now.addSecs(23 * 3600));
    // Nothing is asked before then.
    m_clock.advance(qint64(23) * 3600 * 1000 - 1);
    QTest::qWait(50);
    QVERIFY(m_server.requests().isEmpty());
    QSignalSpy finished(u.get(), &Updater::checkFinished);
    m_now = m_now.addSecs(23 * 3600);
    m_clock.advance(1);
    QVERIFY(finished.wait(15000));
    const auto result = finished.first().first().value<UpdateCheckResult>();
    QCOMPARE(result.kind, UpdateCheckResult::Kind::updateAvailable);
    QVERIFY(!result.userInitiated);
    QCOMPARE(m_server.requests().size(), 1);
    QCOMPARE(u->nextScheduledCheck(), m_now.addDays(1));

    // Never checked, or overdue: the check waits for the launch to settle, then runs once.
    m_settings->remove(Preferences::lastUpdateCheck);
    auto fresh = updater();
    fresh->start();
    QCOMPARE(fresh->nextScheduledCheck(), m_now.addSecs(30));
}

void TestUpdater::betaSwitchResetsTheCycle()
{
    m_server.setReply({200, feed({item(u"0.2.1-beta.1"_s, u"beta"_s)})});
    Preferences::write(*m_settings, Preferences::lastUpdateCheck, m_now.addSecs(-7200));
    auto u = updater();
    CheckForUpdatesViewModel updates(u.get());
    GeneralSettingsModel general({m_settings.get(), nullptr, &updates, u"0.2.0"_s});
    u->start();
    QCOMPARE(u->nextScheduledCheck(), m_now.addSecs(22 * 3600));
    m_now = m_now.addSecs(3600);
    general.setBetaUpdatesEnabled(true);
    QVERIFY(Preferences::flag(*m_settings, Preferences::betaUpdatesEnabled));
    // Planned afresh: still a day after the last check, and once only.
    QCOMPARE(u->nextScheduledCheck(), m_now.addSecs(21 * 3600));
    QSignalSpy finished(u.get(), &Updater::checkFinished);
    m_now = m_now.addSecs(21 * 3600);
    m_clock.advance(qint64(22) * 3600 * 1000);
    QVERIFY(finished.wait(15000));
    QTest::qWait(100);
    QCOMPARE(m_server.requests().size(), 1);
    const auto result = finished.first().first().value<UpdateCheckResult>();
    QCOMPARE(result.kind, UpdateCheckResult::Kind::updateAvailable);
    QCOMPARE(result.item.version, u"0.2.1-beta.1"_s);
}

QTEST_GUILESS_MAIN(TestUpdater)
#include "tst_updater.moc"

#include "sound/SoundService.h"
#include "support/RecordingSoundPlayer.h"
#include "support/TestFiles.h"

#include <QDir>
#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

using Played = RecordingSoundPlayer::Played;
Q_DECLARE_METATYPE(std::vector<Played>)

class TestSoundService : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QSettings> m_settings;
    RecordingSoundPlayer m_player;

    QString soundsFolder() const { return m_dir->filePath(u"data/Sounds"_s); }
    std::unique_ptr<SoundService> makeService()
    {
        return std::make_unique<SoundService>(
            SoundService::Dependencies{&m_player, m_settings.get(), soundsFolder()});
    }
    QString writeFile(const QString& relative, const QByteArray& bytes)
    {
        return TestFiles::write(m_dir->filePath(relative), bytes);
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_settings =
            std::make_unique<QSettings>(m_dir->filePath(u"settings.ini"_s), QSettings::IniFormat);
        m_player = {};
    }
    void initialValues_data();
    void initialValues();
    void changesAreStored();
    void volumeIsClamped_data();
    void volumeIsClamped();
    void playExpansionSound_data();
    void playExpansionSound();
    void importCopiesAndSelects();
    void importReplacesSameName();
    void failedImportKeepsSettings_data();
    void failedImportKeepsSettings();
};

void TestSoundService::initialValues_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<float>("volume");
    QTest::addColumn<QString>("customPath");

    QTest::newRow("nothing stored") << QVariantMap() << u"Tink"_s << true << 0.8f << QString();
    QTest::newRow("stored off and silent")
        << QVariantMap{{u"tw_soundEnabled"_s, false}, {u"tw_soundVolume"_s, 0.0}} << u"Tink"_s
        << false << 0.0f << QString();
    QTest::newRow("all stored") << QVariantMap{{u"tw_selectedSound"_s, u"Hero"_s},
                                               {u"tw_soundEnabled"_s, true},
                                               {u"tw_soundVolume"_s, 0.25},
                                               {u"tw_customSoundPath"_s, u"/x/My Ding.wav"_s}}
                                << u"Hero"_s << true << 0.25f << u"/x/My Ding.wav"_s;
    // A value the settings cannot take reads as its default, as it does for every reader.
    QTest::newRow("out of range volume")
        << QVariantMap{{u"tw_soundVolume"_s, 3.5}} << u"Tink"_s << true << 0.8f << QString();
    QTest::newRow("unreadable switch and path")
        << QVariantMap{{u"tw_soundEnabled"_s, u"no"_s}, {u"tw_customSoundPath"_s, u"x.wav"_s}}
        << u"Tink"_s << true << 0.8f << QString();
}

void TestSoundService::initialValues()
{
    QFETCH(QVariantMap, stored);
    QFETCH(QString, selected);
    QFETCH(bool, enabled);
    QFETCH(float, volume);
    QFETCH(QString, customPath);
    for (auto it = stored.cbegin(); it != stored.cend(); ++it)
        m_settings->setValue(it.key(), it.value());
    m_settings->sync();
    // Through the file, as at a real launch.
    m_settings =
        std::make_unique<QSettings>(m_dir->filePath(u"settings.ini"_s), QSettings::IniFormat);

    const auto service = makeService();
    QCOMPARE(service->selectedSoundName(), selected);
    QCOMPARE(service->soundEnabled(), enabled);
    QCOMPARE(service->volume(), volume);
    QCOMPARE(service->customSoundURL().toLocalFile(), customPath);
}

void TestSoundService::changesAreStored()
{
    {
        const auto service = makeService();
        service->setSelectedSoundName(u"Submarine"_s);
        service->setSoundEnabled(false);
        service->setVolume(0.3f);
        service->setCustomSoundURL(QUrl::fromLocalFile(u"/a/b.wav"_s));
    }
    m_settings->sync();
    const QByteArray ini = TestFiles::read(m_dir->filePath(u"settings.ini"_s));
    QVERIFY2(ini.contains("tw_soundVolume=0.3\n"), ini.constData());
    QVERIFY(ini.contains("tw_selectedSound=Submarine\n"));
    QVERIFY(ini.contains("tw_soundEnabled=false\n"));
    QVERIFY(ini.contains("tw_customSoundPath=/a/b.wav\n"));

    makeService()->setCustomSoundURL({});
    QVERIFY(!m_settings->contains(u"tw_customSoundPath"_s));
}

void TestSoundService::volumeIsClamped_data()
{
    QTest::addColumn<float>("set");
    QTest::addColumn<float>("expected");
    QTest::newRow("above one") << 1.7f << 1.0f;
    QTest::newRow("negative") << -0.2f << 0.0f;
    QTest::newRow("infinite") << std::numeric_limits<float>::infinity() << 1.0f;
    QTest::newRow("nan keeps the old volume") << std::nanf("") << 0.8f;
}

void TestSoundService::volumeIsClamped()
{
    QFETCH(float, set);
    QFETCH(float, expected);
    const auto service = makeService();
    service->setVolume(set);
    QCOMPARE(service->volume(), expected);
    QCOMPARE(m_settings->value(u"tw_soundVolume"_s, 0.8).toFloat(), expected);
}

void TestSoundService::playExpansionSound_data()
{
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<QString>("selected");
    QTest::addColumn<QString>("custom"); // "" none, "ok", "missing", "undecodable"
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("named") << true << u"Glass"_s << QString() << QStringList{u"Glass"_s};
    QTest::newRow("sounds off") << false << u"Glass"_s << u"ok"_s << QStringList();
    QTest::newRow("unknown name still asked")
        << true << u"Beep"_s << QString() << QStringList{u"Beep"_s};
    QTest::newRow("custom file") << true << u"custom"_s << u"ok"_s << QStringList{u"file"_s};
    QTest::newRow("custom unset") << true << u"custom"_s << QString() << QStringList();
    QTest::newRow("custom deleted falls back")
        << true << u"custom"_s << u"missing"_s << QStringList{u"Tink"_s};
    QTest::newRow("custom undecodable falls back")
        << true << u"custom"_s << u"undecodable"_s << QStringList{u"Tink"_s};
}

void TestSoundService::playExpansionSound()
{
    QFETCH(bool, enabled);
    QFETCH(QString, selected);
    QFETCH(QString, custom);
    QFETCH(QStringList, expected);

    const QString path = writeFile(u"picked/ding.wav"_s, "RIFF");
    if (custom == u"missing"_s)
        QVERIFY(QFile::remove(path));
    if (custom == u"undecodable"_s)
        m_player.undecodable.insert(path);
    const auto service = makeService();
    service->setSoundEnabled(enabled);
    service->setVolume(0.4f);
    service->setSelectedSoundName(selected);
    if (!custom.isEmpty())
        service->setCustomSoundURL(QUrl::fromLocalFile(path));

    service->playExpansionSound();
    QStringList played;
    for (const Played& p : m_player.played) {
        QCOMPARE(p.volume, 0.4f);
        played.append(p.what == u"file:"_s + path ? u"file"_s : p.what);
    }
    QCOMPARE(played, expected);
}

void TestSoundService::importCopiesAndSelects()
{
    const QString source = writeFile(u"Downloads/Chime Ding.wav"_s, "RIFF first");
    const auto service = makeService();
    QSignalSpy selected(service.get(), &SoundService::selectedSoundNameChanged);

    const std::optional<QString> stored = service->importCustomSound(source);
    const QString expected = QDir(soundsFolder()).absoluteFilePath(u"Chime Ding.wav"_s);
    QCOMPARE(stored, expected);
    QCOMPARE(TestFiles::read(expected), QByteArray("RIFF first"));
    QVERIFY(QFile::exists(source)); // copied, not moved
    QCOMPARE(service->customSoundURL(), QUrl::fromLocalFile(expected));
    QCOMPARE(service->selectedSoundName(), u"custom"_s);
    QCOMPARE(selected.count(), 1);
    QCOMPARE(m_settings->value(u"tw_customSoundPath"_s).toString(), expected);
    QCOMPARE(m_settings->value(u"tw_selectedSound"_s).toString(), u"custom"_s);

    service->playExpansionSound();
    QCOMPARE(m_player.played.size(), 1u);
    QCOMPARE(m_player.played.front().what, u"file:"_s + expected);
}

void TestSoundService::importReplacesSameName()
{
    const auto service = makeService();
    const QString first = writeFile(u"a/beep.wav"_s, "first copy, longer than the second");
    const QString second = writeFile(u"b/beep.wav"_s, "second");
    const std::optional<QString> one = service->importCustomSound(first);
    const std::optional<QString> two = service->importCustomSound(second);
    QVERIFY(one && two);
    QCOMPARE(*two, *one);
    QCOMPARE(TestFiles::read(*two), QByteArray("second"));
    QCOMPARE(QDir(soundsFolder()).entryList(QDir::Files), QStringList{u"beep.wav"_s});

    // Importing the stored copy itself leaves it intact.
    QCOMPARE(service->importCustomSound(*two), two);
    QCOMPARE(TestFiles::read(*two), QByteArray("second"));
}

void TestSoundService::failedImportKeepsSettings_data()
{
    QTest::addColumn<QString>("failure");
    QTest::newRow("missing source") << u"missing"_s;
    QTest::newRow("source is a folder") << u"folder"_s;
    QTest::newRow("sounds folder cannot be made") << u"blocked"_s;
    QTest::newRow("a link where the copy goes") << u"link"_s;
    QTest::newRow("a WAV at 1 Hz, which the player divides by") << u"1 Hz"_s;
    QTest::newRow("larger than a feedback sound") << u"huge"_s;
}

void TestSoundService::failedImportKeepsSettings()
{
    QFETCH(QString, failure);
    QString source = writeFile(u"new/tone.wav"_s, "new");
    if (failure == u"missing"_s)
        source = m_dir->filePath(u"new/none.wav"_s);
    if (failure == u"folder"_s)
        source = m_dir->filePath(u"new"_s);
    if (failure == u"1 Hz"_s) {
        // PCM, mono, 16-bit, one sample a second, two samples.
        source = writeFile(u"new/tone.wav"_s,
                           QByteArray("RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\1\0\0\0"
                                      "\2\0\0\0\2\0\x10\0data\4\0\0\0\1\0\2\0",
                                      48));
    }
    if (failure == u"huge"_s)
        source = writeFile(u"new/tone.wav"_s, QByteArray(9 * 1024 * 1024, 'x'));
    if (failure == u"blocked"_s)
        writeFile(u"data"_s, "a file where the data folder should be");
    const QString linkTarget = writeFile(u"Documents/letter.txt"_s, "Dear Sir");
    if (failure == u"link"_s) {
        QVERIFY(QDir().mkpath(soundsFolder()));
        QVERIFY(QFile::link(linkTarget, QDir(soundsFolder()).absoluteFilePath(u"tone.wav"_s)));
    }

    const auto service = makeService();
    service->setSelectedSoundName(u"Frog"_s);
    const QUrl previous = QUrl::fromLocalFile(u"/old/custom.wav"_s);
    service->setCustomSoundURL(previous);

    QVERIFY(!service->importCustomSound(source));
    QCOMPARE(service->selectedSoundName(), u"Frog"_s);
    QCOMPARE(service->customSoundURL(), previous);
    QCOMPARE(m_settings->value(u"tw_selectedSound"_s).toString(), u"Frog"_s);
    QCOMPARE(m_settings->value(u"tw_customSoundPath"_s).toString(), u"/old/custom.wav"_s);
    QCOMPARE(TestFiles::read(linkTarget), QByteArray("Dear Sir"));
}

QTEST_GUILESS_MAIN(TestSoundService)
#include "tst_soundservice.moc"

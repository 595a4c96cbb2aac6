#include "platform/qt/QtSoundPlayer.h"
#include "sound/SystemSounds.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {

QByteArray wavHeader(quint16 format, quint16 channels, quint32 dataSize, quint32 rate = 44100,
                     quint16 bits = 16, quint32 byteRate = 0)
{
    QByteArray b("RIFF....WAVEfmt ");
    const auto put32 = [&b](quint32 v) {
        char c[4];
        qToLittleEndian(v, c);
        b.append(c, 4);
    };
    const auto put16 = [&b](quint16 v) {
        char c[2];
        qToLittleEndian(v, c);
        b.append(c, 2);
    };
    put32(16);
    put16(format);
    put16(channels);
    put32(rate);
    put32(byteRate ? byteRate : rate * channels * (bits / 8));
    put16(quint16(channels * (bits / 8)));
    put16(bits);
    b.append("data");
    put32(dataSize);
    b.append(QByteArray(qsizetype(dataSize), '\0'));
    return b;
}

} // namespace

class TestQtSoundPlayer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void playableWav_data();
    void playableWav();
    void unknownNameOrNoDevicePlaysNothing();
};

void TestQtSoundPlayer::playableWav_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("playable");
    QTest::newRow("synthesised") << *SystemSounds::wavData(u"Tink"_s) << true;
    QTest::newRow("stereo pcm") << wavHeader(1, 2, 8) << true;
    QTest::newRow("float") << wavHeader(3, 1, 8) << true;
    QByteArray listFirst = wavHeader(1, 1, 8);
    listFirst.insert(36, QByteArray("LIST\4\0\0\0abcd", 12));
    QTest::newRow("chunk before data") << listFirst << true;
    QTest::newRow("six channels") << wavHeader(1, 6, 8) << false;
    QTest::newRow("compressed") << wavHeader(0x55, 1, 8) << false;
    QTest::newRow("no data") << wavHeader(1, 1, 0) << false;
    QTest::newRow("cut short") << wavHeader(1, 1, 8).left(30) << false;
    QTest::newRow("not riff") << QByteArray("ID3\3\0\0\0\0\0\0 an mp3 frame", 24) << false;
    QTest::newRow("empty") << QByteArray() << false;
    // Qt Multimedia divides by these fields: the process would die of SIGFPE.
    QTest::newRow("1 Hz") << wavHeader(1, 1, 8, 1) << false;
    QTest::newRow("0 Hz") << wavHeader(1, 1, 8, 0) << false;
    QTest::newRow("0 bits") << wavHeader(1, 1, 8, 44100, 0) << false;
    QTest::newRow("byte rate disagrees") << wavHeader(1, 1, 8, 44100, 16, 3) << false;
    QTest::newRow("8 kHz 8-bit") << wavHeader(1, 1, 8, 8000, 8) << true;
    QTest::newRow("longer than a feedback sound") << wavHeader(1, 1, 8000 * 2 * 11, 8000) << false;
}

void TestQtSoundPlayer::playableWav()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, playable);
    QTemporaryDir dir;
    const QString path = dir.filePath(u"sound.wav"_s);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    file.close();
    QCOMPARE(QtSoundPlayer::isPlayableWav(path), playable);

    QtSoundPlayer player({});
    // A file that cannot be played is refused at once, so the caller can fall back.
    QCOMPARE(player.playFile(path, 0.5f), playable);
}

void TestQtSoundPlayer::unknownNameOrNoDevicePlaysNothing()
{
    QTemporaryDir dir;
    QStringList asked;
    QtSoundPlayer player([&](const QString& name) {
        asked.append(name);
        return SystemSounds::ensureFile(dir.path(), name);
    });
    player.playNamed(u"Nope"_s, 1.0f);
    QCOMPARE(asked, QStringList{u"Nope"_s});
    QVERIFY(!player.isBusy());

    player.playNamed(u"Pop"_s, 0.2f);
    if (QtSoundPlayer::hasAudioOutput()) {
        QSignalSpy idle(&player, &QtSoundPlayer::becameIdle);
        QVERIFY(player.isBusy());
        QVERIFY(idle.wait(5000)); // a 0.08 s sound ends
    } else {
        QVERIFY(!player.isBusy()); // nothing to wait for without a device
    }
}

QTEST_GUILESS_MAIN(TestQtSoundPlayer)
#include "tst_qtsoundplayer.moc"

#include "WavReader.h"
#include "sound/SystemSounds.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// What tells two short sounds apart by ear: how long they last, their pitch (zero crossings
// per second) and where their energy sits in time.
struct Fingerprint {
    double seconds;
    double crossingsPerSecond;
    double energyCentre; // 0 = all at the start, 1 = all at the end
};

Fingerprint fingerprint(const std::vector<qint16>& samples)
{
    int crossings = 0;
    double energy = 0;
    double weighted = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i > 0 && (samples[i - 1] < 0) != (samples[i] < 0))
            ++crossings;
        const double e = double(samples[i]) * samples[i];
        energy += e;
        weighted += e * double(i) / double(samples.size());
    }
    const double seconds = double(samples.size()) / SystemSounds::sampleRate;
    return {seconds, crossings / seconds, weighted / energy};
}

bool near(double a, double b, double tolerance)
{
    return std::abs(a - b) <= tolerance * std::max(std::abs(a), std::abs(b));
}

} // namespace

class TestSystemSounds : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void eachSoundReadsBack_data();
    void eachSoundReadsBack();
    void soundsAreDistinct();
    void unknownNameHasNoSound();
    void ensureFileWritesAndRepairs();
};

void TestSystemSounds::eachSoundReadsBack_data()
{
    QTest::addColumn<QString>("name");
    for (const QString& name : SystemSounds::names())
        QTest::newRow(qPrintable(name)) << name;
}

void TestSystemSounds::eachSoundReadsBack()
{
    QFETCH(QString, name);
    const std::optional<QByteArray> bytes = SystemSounds::wavData(name);
    QVERIFY(bytes);
    const std::optional<WavContents> wav = readWav(*bytes);
    QVERIFY(wav);
    QCOMPARE(wav->riffSize, quint32(bytes->size() - 8));
    QCOMPARE(wav->format, quint16(1));
    QCOMPARE(wav->channels, quint16(1));
    QCOMPARE(wav->sampleRate, quint32(44100));
    QCOMPARE(wav->bitsPerSample, quint16(16));
    QCOMPARE(wav->blockAlign, quint16(2));
    QCOMPARE(wav->byteRate, quint32(88200));

    const double seconds = double(wav->samples.size()) / 44100;
    QVERIFY2(seconds >= 0.05 && seconds < 0.5, qPrintable(QString::number(seconds)));

    int peak = 0;
    for (const qint16 s : wav->samples)
        peak = std::max(peak, std::abs(int(s)));
    // Loud enough to hear, never at full scale (no clipping).
    QVERIFY2(peak > 0.7 * 32767 && peak <= 0.81 * 32767, qPrintable(QString::number(peak)));
    // Starts and ends at silence: no click.
    QVERIFY(std::abs(wav->samples.front()) < 500);
    QVERIFY(std::abs(wav->samples.back()) < 500);
}

void TestSystemSounds::soundsAreDistinct()
{
    const QStringList& names = SystemSounds::names();
    std::vector<Fingerprint> prints;
    for (const QString& name : names)
        prints.push_back(fingerprint(readWav(*SystemSounds::wavData(name))->samples));
    for (qsizetype a = 0; a < names.size(); ++a) {
        for (qsizetype b = a + 1; b < names.size(); ++b) {
            const Fingerprint& x = prints[size_t(a)];
            const Fingerprint& y = prints[size_t(b)];
            const bool alike = near(x.seconds, y.seconds, 0.1) &&
                               near(x.crossingsPerSecond, y.crossingsPerSecond, 0.15) &&
                               near(x.energyCentre, y.energyCentre, 0.15);
            QVERIFY2(!alike, qPrintable(names[a] + u" sounds like "_s + names[b]));
        }
    }
}

void TestSystemSounds::unknownNameHasNoSound()
{
    QVERIFY(!SystemSounds::wavData(u"tink"_s));
    QVERIFY(!SystemSounds::wavData(u"custom"_s));
    QVERIFY(!SystemSounds::wavData(QString()));
    QTemporaryDir dir;
    QVERIFY(!SystemSounds::ensureFile(dir.path(), u"Nope"_s));
    QVERIFY(QDir(dir.path()).isEmpty());
}

void TestSystemSounds::ensureFileWritesAndRepairs()
{
    QTemporaryDir dir;
    const QString folder = dir.filePath(u"cache/SystemSounds"_s);
    const std::optional<QString> path = SystemSounds::ensureFile(folder, u"Glass"_s);
    QVERIFY(path);
    QCOMPARE(*path, QDir(folder).absoluteFilePath(u"Glass.wav"_s));
    QFile file(*path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), *SystemSounds::wavData(u"Glass"_s));
    file.close();

    // A damaged or outdated file is written again.
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write("RIFF");
    file.close();
    QCOMPARE(SystemSounds::ensureFile(folder, u"Glass"_s), path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), *SystemSounds::wavData(u"Glass"_s));
    QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList{u"Glass.wav"_s});
    QCOMPARE(file.permissions() & (QFile::ReadGroup | QFile::ReadOther), 0);

    // A link in a sound's place is left alone, and so is what it leads to.
    const QString letter = dir.filePath(u"letter.txt"_s);
    QFile other(letter);
    QVERIFY(other.open(QIODevice::WriteOnly));
    other.write("Dear Sir");
    other.close();
    const QString linked = QDir(folder).absoluteFilePath(u"Hero.wav"_s);
    QVERIFY(QFile::link(letter, linked));
    QVERIFY(!SystemSounds::ensureFile(folder, u"Hero"_s));
    QVERIFY(QFileInfo(linked).isSymLink());
    QVERIFY(other.open(QIODevice::ReadOnly));
    QCOMPARE(other.readAll(), "Dear Sir");
}

QTEST_GUILESS_MAIN(TestSystemSounds)
#include "tst_systemsounds.moc"

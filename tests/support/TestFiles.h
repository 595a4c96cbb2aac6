#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

// Whole files, as a test lays them out and reads them back.
namespace TestFiles {

// The file's bytes; empty when it cannot be read.
inline QByteArray read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes the file whole, making its folder; the path, or empty when that failed.
inline QString write(const QString& path, const QByteArray& bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size())
        return {};
    return path;
}

// A WAV the player takes: 8 kHz, mono, 8-bit, four samples.
inline const QByteArray tinyWav("RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1f\0\0\x40\x1f\0\0"
                                "\1\0\x08\0data\4\0\0\0\x80\x90\x80\x70",
                                48);

} // namespace TestFiles

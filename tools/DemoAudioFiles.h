#pragma once

#include <QByteArray>
#include <QString>

// The audio part of the demo songs: byte strings that the tag readers accept
// as real files. MPEG-1 layer III frames (32 kbit/s, 32 kHz, mono) whose
// payload never contains a false frame sync, and a small MPEG-4 audio file
// (ftyp, moov with one sound track and an empty ilst, mdat) whose chunk
// offsets point into its own mdat. No tag is written here; the tags come
// from the core's own writers afterwards.
class DemoAudioFiles
{
public:
    // The four header bytes of every frame written here.
    static QByteArray mpegFrameHeader();
    // The length of one frame in bytes.
    static int mpegFrameLength();
    // About `seconds` of frames; `serial` varies the payload between songs.
    static QByteArray mpegAudio(int seconds, int serial);
    // A whole MPEG-4 audio file of about `seconds`.
    static QByteArray mpeg4Audio(int seconds, int serial);

    // Writes the bytes to `path` (folders made as needed); false with a
    // reason when it cannot.
    static bool writeFile(const QString& path, const QByteArray& bytes, QString* errorText);

private:
    static QByteArray be16(quint16 value);
    static QByteArray be32(quint32 value);
    static QByteArray atom(const char* name, const QByteArray& body);
    static QByteArray fullAtom(const char* name, quint32 versionAndFlags, const QByteArray& body);
    static QByteArray movie(int seconds, const QList<quint32>& chunkOffsets, quint32 chunkBytes);
};

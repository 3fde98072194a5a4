#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// ID3v2 tags and frames built byte by byte for the tag tests, and MP3 files
// made of such a tag, valid MPEG audio and an optional ID3v1 trailer.
class ID3TestData
{
public:
    static QByteArray bigEndian32(quint32 value);
    // An ID3v2.3/2.4 frame: id, size (plain or sync-safe), flags, body.
    static QByteArray frame(const char* id, const QByteArray& body, bool synchSafeSize = false,
                            quint8 flags2 = 0);
    // A text frame body: encoding 0 (ISO-8859-1) or 1 (UTF-16 with BOM).
    static QByteArray textBody(const QString& text, int encoding = 0);
    // An ID3v2.2 frame: 3-byte id, 24-bit size, body.
    static QByteArray frame22(const char* id, const QByteArray& body);
    // The whole tag: ten-byte header (sync-safe size) and the frames.
    static QByteArray tag(int major, const QList<QByteArray>& frames, int padding = 0, quint8 flags = 0);
    // Writes tag + `frameCount` MPEG-1 Layer III frames + trailer.
    static QString writeMp3(const QString& name, const QByteArray& tag,
                            const QByteArray& trailer = QByteArray(), int frameCount = 60);
    // The audio written by writeMp3 for that frame count.
    static QByteArray audio(int frameCount = 60);
    // A small valid PNG of the given size.
    static QByteArray png(int width, int height);
    // The path of a fresh file in the scratch folder.
    static QString scratchPath(const QString& name);

    // A song of our own making with a title and, when given, an artist.
    struct Song
    {
        QString title = QStringLiteral("Old Title");
        QString artist = QString();
        int length = 60;       // MPEG frames, or MPEG-4 chunks
        int freeSpace = -1;    // MPEG-4: bytes of free space after the item list
        int chunkBytes = 1024; // MPEG-4: bytes per chunk
    };
    // Writes it to `path`: an ID3v2.3 tag and MPEG audio, or for a ".m4a"
    // name an MPEG-4 file; gives the path, or an empty string on failure.
    static QString song(const QString& path, const Song& song);
};

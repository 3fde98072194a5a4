#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Reads album text in the xmcd disc-entry layout ("DTITLE=Artist / Album",
// "DYEAR=", "DGENRE=", "TTITLE0=" ...). Only the first line of each key
// counts. The text is read as ISO Latin-1; its size, its line count and the
// number of tracks are bounded, so hostile input costs little.
class CDDBTextParser
{
public:
    struct Result
    {
        // Null when the text has no usable "DTITLE=" line.
        QString artist;
        QString name;
        // Null when absent.
        QString year;
        QString genre;
        // Track names in album order; empty when there are none.
        QStringList tracks;
    };

    static Result parse(const QByteArray& data);

    // Bytes beyond this are not read: a disc entry is a few kilobytes.
    static constexpr qsizetype MaximumBytes = 1024 * 1024;
    static constexpr int MaximumLines = 20000;
    static constexpr int MaximumTracks = 999;
};

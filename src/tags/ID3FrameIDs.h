#pragma once

#include <QString>
#include <QStringList>

// The frame ids the ID3 reader knows. Both lists hold pairs: an ID3v2.2 id
// followed by its ID3v2.3/2.4 id (the year adds "TDRC" after "TYER").
class ID3FrameIDs
{
public:
    // The frames the tag model interprets.
    static const QStringList& internalRecognizedFrameIDs();
    // The interpreted frames plus those other players also know; kept even
    // when unknown frames are discarded.
    static const QStringList& iTunesRecognizedFrameIDs();
    // Frames that are logged and flagged when met (currently none).
    static const QStringList& dangerousFrameIDs();
    // The entry after the id in the internal list, else in the iTunes list;
    // the id itself when it is in neither ("TYE" gives "TYER").
    static QString frameIDUpgrade(const QString& frameID);
};

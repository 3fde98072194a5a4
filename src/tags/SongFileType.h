#pragma once

#include <QByteArray>
#include <QString>

class SongFileDevice;

// The audio type a file's bytes show.
enum class SongDataType
{
    Unknown = 0,
    MPEGAudio = 1,
    MPEG4Audio = 2
};

// What kind of song a file is: by its bytes, and by its name.
class SongFileType
{
public:
    // The audio type from the file's bytes: MPEG audio when enough MPEG-1
    // layer II/III frame headers appear, densely enough, within the first
    // 500,000 bytes after an ID3v2 tag; MPEG-4 audio when the "moov", "mdia"
    // and "udta" atom names appear before more than nine such headers.
    // Files shorter than 4096 bytes are Unknown; a pipe or device of that
    // name is never waited on.
    static SongDataType songDataTypeAtPath(const QString& path);
    // The same on a file already open, whose bytes the tag readers then
    // find read. With `claimed` MPEGAudio (the name claims MP3, which decides
    // whenever the bytes tell nothing) the walk ends as soon as the bytes
    // can no longer show MPEG-4 audio (more than nine frame headers seen) and
    // answers MPEGAudio: the type the file is read as is then MPEG audio
    // whatever the rest of the walk would find.
    static SongDataType songDataType(SongFileDevice& file, SongDataType claimed = SongDataType::Unknown);

    // Judgements by file name (and, where the platform keeps them, the old
    // four-letter type codes).
    static bool claimsToBeMP3(const QString& path);
    static bool claimsToBeAAC(const QString& path);
    static bool claimsToBeOGG(const QString& path);
    static bool claimsToBeAIFF(const QString& path);

private:
    // The file's four-letter type code; empty where the platform keeps none.
    static QByteArray typeCodeAtPath(const QString& path);
};

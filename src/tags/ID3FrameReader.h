#pragma once

#include <QByteArrayView>
#include <QString>

#include <stdexcept>

class MP3InfoTag;

// Damage that makes a tag unreadable (bad sizes, unknown versions, a broken
// picture while damaged data are kept). The tag's construction catches it
// and answers no tag.
class ID3ReadError : public std::runtime_error
{
public:
    ID3ReadError(const QString& reason, const char* kind)
        : std::runtime_error(reason.toStdString()), mReason(reason), mKind(kind)
    {}
    QString reason() const { return mReason; }
    const char* kind() const { return mKind; }

private:
    QString mReason;
    const char* mKind;
};

// Reads the frames of an ID3v2 tag into an MP3InfoTag's frame lists.
//
// The reader is tolerant: a frame size written the wrong way (sync-safe in a
// v2.3 tag, a plain integer in a v2.4 tag) is detected by looking at what
// follows each possible end; tolerated damage sets the tag's problem flag and
// logs a line. The class-wide switches of AudioInfoTag decide whether damaged
// frames and frames no player knows are dropped or kept.
class ID3FrameReader
{
public:
    explicit ID3FrameReader(MP3InfoTag& tag) : mTag(tag) {}

    // The whole tag, header included: dispatches on the major version.
    void readTag(QByteArrayView tag);
    void readID3v22(QByteArrayView tag);
    // ID3v2.3 and 2.4: the same layout; v2.4 prefers sync-safe frame sizes.
    void readID3v2x(QByteArrayView tag, bool assumeSynchSafeSizes);

    // True when a frame ending at `end` is followed by the end of the tag,
    // the next frame id, or padding.
    static bool isPlausibleFrameEnd(QByteArrayView tag, qint64 end);

private:
    QString frameIDAt(QByteArrayView tag, qsizetype position, qsizetype length) const;

    MP3InfoTag& mTag;
};

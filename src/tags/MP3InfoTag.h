#pragma once

#include "AudioInfoTag.h"
#include "ID3Image.h"

#include <QByteArrayView>
#include <QList>
#include <QStringList>
#include <QVariantMap>

#include <memory>
#include <variant>

class QIODevice;
class SongFileDevice;

// The value of one ID3 frame: the strings of a text frame (the first is the
// value), a text block ({"lang", "desc", "text"}) for lyrics, a picture, or
// the raw bytes of a frame the tag does not interpret (beginning with the
// frame's two flag bytes in ID3v2.3/2.4), carried over unchanged on writing.
using ID3FrameObject = std::variant<QStringList, QVariantMap, ID3Image, QByteArray>;

// A byte range of the file.
struct ID3Range
{
    qint64 location = 0;
    qint64 length = 0;
    bool operator==(const ID3Range&) const = default;
};

// The tag of an MP3 file: an ID3v2.2/2.3/2.4 tag at the start and an
// ID3v1/v1.1 tag in the last 128 bytes, kept as two parallel lists of frame
// ids and frame values in file order. Pictures are listed under "[image]".
// Reading is tolerant (see ID3FrameReader); writing keeps the file's ID3
// generation and rewrites the file in place, crash-safely.
class MP3InfoTag : public AudioInfoTag
{
public:
    MP3InfoTag();
    ~MP3InfoTag() override;

    // A tag read from the file (without file properties), or null.
    static std::unique_ptr<MP3InfoTag> tagAtPath(const QString& path);

    bool initWithPath(const QString& path) override;
    bool initWithFile(SongFileDevice& file) override;
    void gatherFileMetadataFromPath(const QString& path) override;

    QString title() const override;
    QString artist() const override;
    QString album() const override;
    QString track() const override;
    QString year() const override;
    QString genres() const override;
    QString lyrics() const override;
    QString bpm() const override;
    void setArtist(const QString& value) override;
    void setTitle(const QString& value) override;
    void setAlbum(const QString& value) override;
    void setYear(const QString& value) override;
    void setGenres(const QString& value) override;
    void setTrack(const QString& value) override;
    void setLyrics(const QString& value) override;
    void setBPM(const QString& value) override;
    void setIsPartOfCompilation(bool value) override;
    bool isPartOfCompilation() const override;

    int numberOfImages() const override;
    QList<ID3Image> images() const override;
    bool removeImageAtIndex(int index) override;
    bool addImage(const ID3Image& image) override;

    // Writes the tag into the file it belongs to. On failure the file is
    // unchanged and errorText holds a localised reason.
    bool modifySongFileAtPath(const QString& path, QString* errorText) override;
    QString readVersion() const override { return mReadVersionString; }
    void setReadVersion(const QString& version) { mReadVersionString = version; }
    // The version written: that of the file ("2.2.0", "2.4.0", "1.1" for an
    // ID3v1 tag that loses nothing), else "2.3.0".
    QString writeVersion() const override;

    // ---- the frame lists
    const QStringList& frameIDs() const { return mFrameIDs; }
    const QList<ID3FrameObject>& frameObjects() const { return mFrameObjects; }
    void appendFrame(const QString& frameID, ID3FrameObject object);
    // Index of the first frame with the first id, else with the second; -1.
    qsizetype indexOfFrame(const QString& id, const QString& otherID = QString()) const;
    // The first string of the first such text frame.
    QString stringForFrame(const QString& id23, const QString& id22) const;
    // Replaces the first entry of the id this tag's version uses, or appends
    // one; an empty value removes every entry of that id.
    void setStringForFrame(const QString& id23, const QString& id22, const QString& value);
    // The same with the id given directly (readers).
    void setStringForID(const QString& frameID, const QString& value);
    void removeFramesWithID(const QString& frameID);

    ID3Range id3v1Range() const { return mID3v1Range; }
    ID3Range id3v2Range() const { return mID3v2Range; }

    // ---- reading (the whole ID3v2 tag, header included; the last 128 bytes)
    void getAttributesFromID3v2(QByteArrayView tag);
    void getAttributesFromID3v1(QByteArrayView block);

    // ---- writing
    QByteArray dataForID3v11() const;
    QByteArray dataForID3v22() const;
    QByteArray dataForID3V23orV24(bool v24) const;
    // True when an ID3v1.1 block holds every value of this tag.
    bool canWriteID3v11WithoutLoss() const;

    // Frame sizes in ID3v2.4 tags: sync-safe (as the standard asks) when on,
    // plain 32-bit integers like ID3v2.3 when off (the default, which more
    // players read correctly).
    static void setWriteSynchSafeSizesInV24(bool synchSafe);
    static bool writeSynchSafeSizesInV24();

    // ---- frame ids and string readers (see ID3FrameIDs, ID3TextCodec)
    static const QStringList& internalRecognizedFrameIDs();
    static const QStringList& iTunesRecognizedFrameIDs();
    static const QStringList& dangerousFrameIDs();
    static QString frameIDUpgrade(const QString& frameID);
    static quint32 getSynchSafeIntIn(QByteArrayView data, qsizetype offset);
    static QString id3v1StringIn(QByteArrayView data, qsizetype offset, qsizetype maxLength);
    static QString id3v22StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype maxLength);
    static QString id3v23StringIn(QByteArrayView data, qsizetype offset, int encoding, qsizetype* length);
    static QStringList id3v23StringsIn(QByteArrayView data, qsizetype location, qsizetype length);
    static QVariantMap textBlockIn(QByteArrayView data, qsizetype location, qsizetype length);

    // Sets the problem flag (readers).
    void markProblemDecoding() { setEncounteredProblemDecoding(true); }

private:
    // Reads both tags; with `withAudioHeader` also the first MPEG frame.
    // Throws on damage that makes the file unreadable.
    void readTags(SongFileDevice& file, bool withAudioHeader);
    // Duration, bit rate and sampling rate: from the first MPEG frame, or,
    // when that search finds nothing usable, from scanning the frames.
    void readAudioProperties(QIODevice& file, const QString& path);
    QString frameIDForVersion(const QString& id23, const QString& id22) const;

    QStringList mFrameIDs;
    QList<ID3FrameObject> mFrameObjects;
    QString mReadVersionString;
    ID3Range mID3v1Range;
    ID3Range mID3v2Range;
    QVariantMap mAudioProperties;
};

#pragma once

#include "AudioInfoTag.h"
#include "ID3Image.h"

#include <QDateTime>
#include <QList>
#include <QVariantMap>

#include <memory>

class Atom;
class QIODevice;
class SongFileDevice;

// The tag of an MPEG-4 audio file (AAC/M4A): the iTunes-style item list
// "moov:udta:meta:ilst" read through the atom tree, with the values kept
// under "title", "artist", "album", "year", "track", "lyrics", "genre",
// "bpm" (strings) and "compilation" (boolean), and the "covr" pictures.
// Reading also takes duration, sample rate and bit rate from the movie and
// sample-description headers. Saving edits the item list in the tree, stamps
// new modification times and rewrites the file crash-safely: only the movie
// atom when free space absorbed the change, otherwise with the media data
// shifted and the chunk offsets corrected.
class AACInfoTag : public AudioInfoTag
{
public:
    AACInfoTag();
    ~AACInfoTag() override;

    // A tag read from the file (without the system's file properties), or null.
    static std::unique_ptr<AACInfoTag> tagAtPath(const QString& path);

    bool initWithPath(const QString& path) override;
    bool initWithFile(SongFileDevice& file) override;
    void gatherFileMetadataFromPath(const QString& path) override;
    // Reads the items and file properties from an open file; raises
    // AtomError when the atom structure is unreadable.
    void getAttributesFromAACFile(QIODevice* file);

    QString title() const override;
    QString artist() const override;
    QString album() const override;
    QString track() const override;
    // The first four characters of the stored date text; null when shorter.
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

    // Marks the tag modified; stores a non-empty value, removes the key for
    // a null or empty one.
    void setString(const QString& value, const QString& key);
    const QVariantMap& attributes() const { return mAttribs; }

    // Writes the tag into the file; a file without "moov:udta:meta:ilst" is
    // given one. Failures answer a reason.
    bool modifySongFileAtPath(const QString& path, QString* errorText) override;
    QString readVersion() const override;
    QString writeVersion() const override;

    // Adds newMdatOffset - oldMdatOffset to every entry of the first track's
    // 32-bit chunk offset table in `movie` (flattened bytes that start with
    // the "moov" atom) that points at or after the old media offset. False
    // when the table is missing, claims more entries than it holds, or an
    // entry would leave the 32-bit range.
    static bool adjustChunkOffsetsInAtomData(QByteArray& movie, qint64 oldMdatOffset, qint64 newMdatOffset);
    // Writes `date` (seconds since 1904, UTC) into the modification-time
    // fields of mvhd, the first tkhd and the first mdhd of `movie`. False
    // when one of them is missing (those before it are already stamped).
    static bool setModifiedTime(const QDateTime& date, QByteArray& movie);

    // Whether the last successful save of this tag replaced bytes without
    // moving the media data.
    bool lastSaveKeptMediaInPlace() const { return mLastSaveInPlace; }

private:
    QString stringFor(const QString& key) const;
    void readItems(Atom* ilst);
    void readFileProperties(Atom* root);

    QVariantMap mAttribs;
    QList<ID3Image> mImages;
    bool mLastSaveInPlace = false;
};

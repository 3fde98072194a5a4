#pragma once

#include "FileIdentity.h"
#include "ID3Image.h"

#include <QDataStream>
#include <QImage>
#include <QList>
#include <QSize>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <limits>
#include <memory>

class SongFileDevice;
enum class SongDataType;

// The tag of one song file: the one type through which the rest of the
// program reads and changes song metadata. The format classes (MP3InfoTag,
// the MP4 and cached tags) hold the values and override the accessors; this
// base holds what they share: construction by file type, the title from the
// file name, the file properties (duration, bit rate, sample rate), pictures
// taken from an iTunes artwork cache file, icons, the modified flag,
// playlist membership, genres and artist-name reordering.
//
// Values are strings or null; every setter marks the tag modified. A tag is
// used by one thread at a time.
class AudioInfoTag
{
public:
    // The largest signed 64-bit value: "no playlist position", "no genre".
    static constexpr qint64 NotFound = std::numeric_limits<qint64>::max();

    virtual ~AudioInfoTag();
    AudioInfoTag(const AudioInfoTag&) = delete;
    AudioInfoTag& operator=(const AudioInfoTag&) = delete;

    // ---- construction
    // The tag of an MP3 or MP4 file with its file properties, or null when
    // the type is unknown or the tag cannot be read.
    static std::unique_ptr<AudioInfoTag> tagWithPath(const QString& path);
    // The tag exactly as the file holds it (no title from the file name),
    // with or without the file properties; null as tagWithPath.
    static std::unique_ptr<AudioInfoTag> tagFromFileAtPath(const QString& path, bool withFileProperties);
    // The same on a file device (opened here unless it is open): the type
    // sniffing, the tag and the file properties all read through it, so the
    // file is opened once and its bytes are read once. `type` receives the
    // type the tag was read as: the bytes' type, else the name's, else
    // Unknown.
    static std::unique_ptr<AudioInfoTag> tagFromFile(SongFileDevice& file, bool withFileProperties,
                                                     SongDataType* type = nullptr);
    // A lazy tag made from one track of the iTunes library ("Name", "Artist",
    // "Year", "Track Number", "Total Time" ...); the class follows the path's
    // extension.
    static std::unique_ptr<AudioInfoTag> tagWithiTunesTrackInfo(const QVariantMap& track,
                                                                const QString& path);

    // Reads the file; false when it cannot be read (the tag is then unusable).
    virtual bool initWithPath(const QString& path);
    // The same through an open device; its identity becomes the source's.
    virtual bool initWithFile(SongFileDevice& file);
    // Takes the title from the file name when the tag has none.
    void gatherTagsFromPathname(const QString& path);
    // Fills the file properties from the system's metadata index, when there
    // is one (none on this platform); the format classes compute them first.
    virtual void gatherFileMetadataFromPath(const QString& path);

    // ---- values (the base holds none)
    virtual QString title() const;
    virtual QString artist() const;
    virtual QString album() const;
    virtual QString track() const;
    virtual QString year() const;
    virtual QString genres() const;
    virtual QString lyrics() const;
    virtual QString bpm() const;
    virtual void setArtist(const QString& value);
    virtual void setTitle(const QString& value);
    virtual void setAlbum(const QString& value);
    virtual void setYear(const QString& value);
    virtual void setGenres(const QString& value);
    virtual void setTrack(const QString& value);
    virtual void setLyrics(const QString& value);
    virtual void setBPM(const QString& value);
    virtual void setIsPartOfCompilation(bool value);
    virtual bool isPartOfCompilation() const;

    // ---- derived values
    int trackNumber() const;
    int numberOfTracksOnAlbum() const;
    // "Last, First" as "First Last".
    QString normalizedArtist() const;
    // "First Last" as "Last, First".
    QString reversedArtist() const;
    // Seconds, or -1 when unknown.
    double duration() const;
    // kbit/s rounded up, or -1 when unknown.
    int bitrate() const;
    // Hz, or -1 when unknown.
    int samplerate() const;
    // "1:16", "1:00:05"; null when the duration is unknown.
    QString formattedDuration() const;
    // True when the text occurs (ignoring case) in title, artist, album,
    // genres or year.
    bool matchString(const QString& text) const;

    // ---- pictures
    virtual int numberOfImages() const;
    virtual QList<ID3Image> images() const;
    virtual bool removeImageAtIndex(int index);
    virtual bool addImage(const ID3Image& image);
    virtual qint64 numberOfArtworkBytes() const;
    void removeAllImages();
    // An icon of the first picture no larger than the size; a null image
    // without pictures. The last rendered icon is shared process-wide.
    virtual QImage imageIconNoLargerThan(const QSize& size);
    // Takes the picture of an iTunes artwork cache file as the only iTunes
    // artwork of the tag; false when the file is not one.
    bool addiTunesArtworkAtPath(const QString& path);

    // ---- state
    bool tagHasBeenModified() const { return mTagModified; }
    void setTagHasBeenModified(bool modified) { mTagModified = modified; }
    bool encounteredProblemDecoding() const { return mEncounteredProblemDecoding; }
    bool isLazy() const { return mLazy; }
    void setIsLazy(bool lazy) { mLazy = lazy; }
    void setLazyNumberOfImages(qint32 count) { mLazyNumberOfImages = count; }
    void setPlayList(const QString& playlist, qint64 index);
    QString playlist() const { return mPlaylist; }
    qint64 playlistIndex() const { return mPlaylist.isNull() ? NotFound : mPlaylistIndex; }
    // "kMDItemDurationSeconds", "kMDItemAudioBitRate", "kMDItemAudioSampleRate".
    const QVariantMap& metadata() const { return mMetadata; }

    // ---- writing
    // Writes the tag into the file. When the values were read from that
    // file, the write is refused unless the file is still in the state they
    // were read from (sourceIdentity); the writers hold the file's write
    // lock (FileWriteLock) while they compare and write.
    virtual bool modifySongFileAtPath(const QString& path, QString* errorText);
    // The file the values were read from and its identity just before they
    // were; an empty path and an invalid identity for tags made otherwise.
    // After a write the tag describes the file as written.
    QString sourcePath() const { return mSourcePath; }
    const FileIdentity& sourceIdentity() const { return mSourceIdentity; }
    void setSource(const QString& path, const FileIdentity& identity);
    // What a write to `path` must find there: the identity the values were
    // read from when `path` names that file (or that name), otherwise the
    // file's identity now.
    FileIdentity expectedIdentityAt(const QString& path) const;
    virtual QString readVersion() const;
    virtual QString writeVersion() const;

    // ---- class-wide reader switches (from the preferences)
    static bool shouldDiscardMalformedInfo();
    static void setShouldDiscardMalformedInfo(bool discard);
    static bool shouldDiscardUnrecognizedInfo();
    static void setShouldDiscardUnrecognizedInfo(bool discard);

    // ---- genres
    static QStringList allGenres();
    static QString genreForIndex(qint64 index);
    static qint64 indexOfGenre(const QString& name);
    static QString standardizedGenreFrom(const QString& text);
    static QString expandedGenres(const QString& text);

    // ---- archiving: the playlist, its index and the modified flag only
    // Keyed: "playlist", "playlistIndex" (32-bit), "id3Modified".
    QVariantMap archived() const;
    void restoreArchived(const QVariantMap& archive);
    // Sequential: the same three in that order (string, qint32, qint8).
    void encode(QDataStream& out) const;
    void decode(QDataStream& in);

protected:
    AudioInfoTag();
    // Merges values over the file properties (the new values win).
    void mergeMetadata(const QVariantMap& values);
    void setEncounteredProblemDecoding(bool problem) { mEncounteredProblemDecoding = problem; }
    // The pictures taken from an iTunes artwork cache file (at most one).
    QList<ID3Image> miTunesArtworks;
    qint32 mLazyNumberOfImages = 0;
    bool mLazy = false;
    bool mTagModified = false;

private:
    void setMetadataFromiTunesTrack(const QVariantMap& track);

    QVariantMap mMetadata;
    QImage mCachedIcon;
    QString mSourcePath;
    FileIdentity mSourceIdentity;
    QString mPlaylist;
    qint64 mPlaylistIndex = NotFound;
    bool mEncounteredProblemDecoding = false;

    static std::atomic<bool> sDiscardMalformed;
    static std::atomic<bool> sDiscardUnrecognized;
};

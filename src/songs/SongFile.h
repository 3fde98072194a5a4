#pragma once

#include "FileReference.h"
#include "tags/SongFileType.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <limits>
#include <memory>
#include <optional>

class AudioInfoTag;

// What a song is doing in the current run; the song table shows it as an
// icon. Stored, so the values are fixed.
enum class SongActivityStatus : quint32
{
    Idle = 0,      // a writable file whose tag decoded without problem
    Queued = 1,    // on the work list of a gathering run
    Gathering = 2, // its lookup is running
    Locked = 3,    // the file was not writable
    Problem = 4    // the tag didn't decode, the file vanished or a write failed
};

// One audio file of the current song source: its path, a reference that
// finds the file again after a move or rename, the modification date last
// seen, the tag (loaded on first need, or stood in for by a cached or
// iTunes-built tag), the song's identity in iTunes, its playlist position
// and its activity status. Writes the tag back keeping the file's
// attributes. Also the class operations that sniff a file's audio type.
//
// Records are shared (the list of all songs, the visible list and the work
// list hold the same ones) and used by one thread at a time.
class SongFile : public std::enable_shared_from_this<SongFile>
{
    struct PrivateTag
    {};

public:
    // The platform's not-found value: no playlist position.
    static constexpr qint64 NotFound = std::numeric_limits<qint64>::max();

    // Use songWithPath.
    explicit SongFile(PrivateTag);
    ~SongFile();
    SongFile(const SongFile&) = delete;
    SongFile& operator=(const SongFile&) = delete;

    // ---- construction and identity
    // A record of the file, or null when the file is missing, shorter than
    // 255 bytes or has no modification date.
    static std::shared_ptr<SongFile> songWithPath(const QString& path);
    // The last record of the list whose path is `path`; null for an empty
    // path or no match.
    static std::shared_ptr<SongFile> songWithPath(const QString& path,
                                                  const QList<std::shared_ptr<SongFile>>& songs);
    // A new record of the same path with the same status, track ID,
    // persistent ID and playlist position, without the tag; null when the
    // file no longer qualifies.
    std::shared_ptr<SongFile> copy() const;
    QString description() const;

    // The folder below which a lost file is looked for (the song source's
    // folder); without one the search stays near the file's last folder.
    static void setSongSourceRoot(const QString& folder);
    static QString songSourceRoot();

    // ---- accessors
    QString path() const { return mPath; }
    // A different path replaces the old one and drops the file reference.
    void setPath(const QString& path);
    QString filename() const;
    QDateTime modificationDate() const { return mModDate; }
    QString playlist() const { return mPlaylist; }
    qint64 playlistIndex() const { return mPlaylistIndex; }
    // Also handed to a loaded tag.
    void setPlayList(const QString& playlist, qint64 index);
    QString persistentID() const { return mPersistentID; }
    void setPersistentID(const QString& persistentID) { mPersistentID = persistentID; }
    quint32 iTunesDBID() const { return miTunesDBID; }
    void setiTunesDBID(quint32 databaseID) { miTunesDBID = databaseID; }
    void flushiTunesDBID() { miTunesDBID = 0; }
    // -1 not known yet, 0 iTunes holds no artwork for the song, 1 it does.
    qint32 hasiTunesArtwork() const { return mHasiTunesArtwork; }
    void setHasiTunesArtwork(qint32 state) { mHasiTunesArtwork = state; }
    void gatheriTunesArtwork() {}
    SongActivityStatus activityStatus() const { return mStatus; }
    void setActivityStatus(SongActivityStatus status) { mStatus = status; }
    bool hasAlias() const { return mAlias.has_value(); }
    bool isWritableFile() const { return mIsWritableFile; }
    // The title and artist before the song was worked on ("Title", "Artist").
    QVariantMap originalProperties() const { return mOriginalProperties; }

    // ---- the tag
    // The loaded tag, reading the file when none is loaded (then the default
    // status is set again); null for a file of unknown type.
    AudioInfoTag* infotag();
    void setInfotag(std::unique_ptr<AudioInfoTag> tag);
    // Drops the tag; the next infotag() reads the file again.
    void uncacheInfotag();
    bool hasInfotagCached() const { return mInfotag != nullptr; }
    // Stands in a read-only tag made from a cache entry.
    void createInfotagUsingCachedInfoDict(const QVariantMap& info);
    // Takes the shared cache's entry for the file as the tag; false when it
    // has none that is valid.
    bool revertToCachedInfotag();
    // Stands in a lazy tag made from the iTunes library's track dictionary.
    void createLazyInfoTagFromDictionary(const QVariantMap& track, const QString& path);
    // Drops a lazy tag so that the next access reads the file.
    void ensureInfotagIsReal();
    // 4 when the loaded tag had problems decoding, else 0 for a writable
    // file and 3 for one that is not.
    void setDefaultActivityStatus();
    bool canWriteToOriginalPath() const;

    // ---- following the file
    void setAliasFromPath();
    // Takes the path from the file reference; status 4 when the file can't
    // be found.
    void updatePathFromAlias();
    void adoptCurrentModificationDate();
    // True when the file changed since it was last seen: the tag is dropped
    // and the artwork state forgotten. A vanished file gives status 4.
    bool refresh();
    void rememberOriginalValuesForLaterRefresh();

    // Writes the tag into the file, keeping its attributes. iTunes and the
    // media players of the session bus are paused around the write when they
    // play this file; iTunes is asked to re-read the track afterwards when
    // `refreshiTunes` and the song has a persistent ID.
    // True on success or without a path; on failure status 4 and the
    // writer's reason in `errorText`. Inside a write batch (WriteBatch) true
    // means staged: the attributes, the tag's new identity, the iTunes
    // refresh and the modification date follow when the batch has made the
    // write durable, and a failure then gives status 4; WriteBatch::afterWrite
    // waits for that.
    bool writeToOriginalPath(QString* errorText, bool refreshiTunes);

    // ---- type sniffing (SongFileType does the work)
    static SongDataType songDataTypeAtPath(const QString& path);
    static bool claimsToBeMP3(const QString& path);
    static bool claimsToBeAAC(const QString& path);
    static bool claimsToBeOGG(const QString& path);
    static bool claimsToBeAIFF(const QString& path);

    // Removes a leading ID3 version-4 tag, moving the rest of the file to
    // its start (in place, through the crash-safe rewrite). False for other
    // tag versions, a tag reaching the end of the file, or a write error.
    static bool removeID3v2TagFromFileAtPath(const QString& path);

private:
    bool initWithPath(const QString& path);
    // What follows a write once the file holds it.
    void adoptWrittenFile(bool refreshiTunes);

    QString mPath;
    std::optional<FileReference> mAlias;
    QDateTime mModDate;
    std::unique_ptr<AudioInfoTag> mInfotag;
    QVariantMap mOriginalProperties;
    bool mIsWritableFile = false;
    qint32 mHasiTunesArtwork = -1;
    SongActivityStatus mStatus = SongActivityStatus::Idle;
    quint32 miTunesDBID = 0;
    QString mPlaylist;
    qint64 mPlaylistIndex = NotFound;
    QString mPersistentID;
};

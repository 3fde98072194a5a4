#pragma once

#include "history/ChangeOrigin.h"
#include "history/TagSnapshot.h"
#include "web/AlbumAsset.h"
#include "web/AlbumChooser.h"
#include "web/AlbumInfo.h"
#include "web/SourceFailure.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <memory>
#include <optional>

class AudioInfoTag;
class ProgressIndicator;
class SiblingIndex;
class SongFile;
class WebDBInterface;

// Fills in what one song lacks. The run makes one task per song, says which
// assets to gather and which existing values may be replaced, and starts it.
// The task first borrows from sibling songs of the same album in the current
// song list (found through a SiblingIndex), then asks every configured web
// source (all at once, or one after another in serial mode), pools and
// prunes the albums they return, chooses one, sets its values in the song's
// tag and downloads artwork. It
// ends by calling the owner once, with itself as the argument. The tag is
// changed in memory only; writing the file is the run's business.
//
class SongInfoTask : public QObject
{
    Q_OBJECT
public:
    using SongList = QList<std::shared_ptr<SongFile>>;

    // `sourceLibrary`: the songs that may lend values; those of
    // `noOverwriteSourceLibrary` still wait for their own lookup.
    SongInfoTask(std::shared_ptr<SongFile> song, SongList sourceLibrary, SongList noOverwriteSourceLibrary,
                 QStringList sourcelist, QVariantMap resources, QObject* parent = nullptr);
    // The same with the songs already filed (the run keeps one index for all
    // its tasks).
    SongInfoTask(std::shared_ptr<SongFile> song, std::shared_ptr<SiblingIndex> siblings,
                 QStringList sourcelist, QVariantMap resources, QObject* parent = nullptr);
    ~SongInfoTask() override;

    // ---- settings (from the preferences)
    void setProgessIndicator(ProgressIndicator* indicator);
    void setAlbumSelectionMethod(AlbumChooser::Method method) { mAlbumSelectionMethod = method; }
    void setAllowSubstringTrackMatches(bool allow) { mAllowSubstrings = allow; }
    void setMinimumAcceptableImageSize(float width) { mMinImageWidth = width; }
    void setMaximumImageSize(float width) { mMaxImageWidth = width; }
    void setOverwriteImageSize(float width) { mOverwriteImageWidth = width; }
    void setIgnoreNonSquareArt(bool ignore) { mIgnoreNonSquareArt = ignore; }
    // What to gather; also works out what is still wanted from the tag.
    void setGatherFlags(AlbumAssets flags);
    void setOverwriteFlags(AlbumAssets flags);
    void setParallelMode(bool parallel) { mParallelMode = parallel; }
    // Never ask iTunes about artwork it keeps outside the file (the
    // preference "noiTunesArtwork"); read from the settings by default.
    void setNoiTunesArtwork(bool never) { mNoiTunesArtwork = never; }

    // Starts the task; at its end `object`'s
    // `Q_INVOKABLE void method(SongInfoTask* task)` is called once, on a
    // later turn of the event loop.
    void gatherNotifyingObject(QObject* object, const QByteArray& method);
    // Cancels every source still searching; the task then chooses nothing
    // and ends when the sources have ended.
    void cancel();
    bool wasCancelled() const { return mWasCancelled; }

    // ---- results
    const std::shared_ptr<SongFile>& song() const { return mSong; }
    AlbumAssets changedAssetFlags() const { return mChangedAssetFlags; }
    AlbumAssets desiredAssetFlags() const { return mDesiredAssetFlags; }
    QString errorMessage() const { return mErrorMessage; }
    // Where each value the task set came from: a sibling song, or a source
    // and the album record it gave.
    const QHash<TagAttribute, ChangeOrigin>& valueOrigins() const { return mValueOrigins; }
    // A web source's album as an origin: "MusicBrainz: Artist – Album" and
    // the record's address.
    static ChangeOrigin originOf(const AlbumInfo& album);
    void setErrorMessage(const QString& message) { mErrorMessage = message; }
    // The album title searched for: the song's album, with " Soundtrack"
    // added for soundtracks whose album name lacks it; null without album.
    QString albumTitle() const;
    // The album chosen, if any (for display and the command line).
    const std::optional<AlbumInfo>& chosenAlbum() const { return mChosenAlbum; }
    // Every album the sources returned, before pruning.
    const QList<AlbumInfo>& gatheredAlbums() const { return mGatheredAlbums; }
    // What each source asked came back with, in the order they ended.
    const QList<SourceReport>& sourceReports() const { return mSourceReports; }

    // The assets the named sources can supply together.
    static AlbumAssets assetsPossibleFromSources(const QStringList& sourceNames);

    // Answer methods of the sources and the HTTP queue.
    Q_INVOKABLE void parallelSearchCompleted(WebDBInterface* source);
    Q_INVOKABLE void serialSearchCompleted(WebDBInterface* source);
    Q_INVOKABLE void parallelNextArt(const QVariantMap& answer);
    Q_INVOKABLE void serialGotArt(const QVariantMap& answer);

private:
    AudioInfoTag* tag() const;
    void setUpDesiredAssetsFlags();
    void applyResourcesFromLibrary();
    void applyResourcesFromAlbum(const AlbumInfo& album);
    void parallelGatherDataOnline();
    void serialGatherDataOnline();
    // A configured source for this song, or none when it is not needed.
    std::unique_ptr<WebDBInterface> makeSource(const QString& className);
    // Prunes the candidates of one song and chooses among them.
    std::optional<AlbumInfo> pruneAndChoose(QList<AlbumInfo>& albums);
    // Pools the lyrics, prunes, chooses and applies the chosen album.
    void chooseAndApply(QList<AlbumInfo>& albums);
    // Artwork is still wanted and there are candidates to download.
    bool wantsArtworkCandidates() const;
    // Takes a downloaded picture; false when it is refused.
    bool takeArtworkAnswer(const QVariantMap& answer);
    // Queues the next usable artwork candidate; false when none is left.
    bool downloadNextArtCandidate(const QByteArray& method);
    void removeOldArtwork();
    void moveFlagToChanged(AlbumAsset asset, const ChangeOrigin& origin);
    void finishAndNotify();

    std::shared_ptr<SongFile> mSong;
    std::shared_ptr<SiblingIndex> mSiblings;
    QStringList mSources;
    QVariantMap mAllResources;
    AlbumAssets mGatherFlags;
    AlbumAssets mDesiredAssetFlags;
    AlbumAssets mChangedAssetFlags;
    AlbumAssets mOverwriteFlags;
    QHash<TagAttribute, ChangeOrigin> mValueOrigins;
    std::optional<AlbumInfo> mArtAlbumInFlight;
    AlbumChooser::Method mAlbumSelectionMethod = AlbumChooser::Method::None;
    bool mAllowSubstrings = false;
    float mMinImageWidth = 0.0f;
    float mMaxImageWidth = 32767.0f;
    float mOverwriteImageWidth = 0.0f;
    bool mIgnoreNonSquareArt = false;
    bool mParallelMode = true;
    bool mNoiTunesArtwork = false;
    bool mWantArtworkButNoAlbum = false;
    bool mWasCancelled = false;
    bool mFinished = false;
    QPointer<ProgressIndicator> mIndicator;
    QPointer<QObject> mNotifyObject;
    QByteArray mNotifyMethod;
    QString mErrorMessage;

    // Sources searching now (parallel) or the one searching (serial).
    std::vector<std::unique_ptr<WebDBInterface>> mParallelDBIsInUse;
    qsizetype mNextSerialSource = 0;
    QList<AlbumInfo> mParallelAlbums;
    QList<AlbumInfo> mGatheredAlbums;
    QList<SourceReport> mSourceReports;
    QList<AlbumInfo> mArtCandidates;
    std::optional<AlbumInfo> mChosenAlbum;
    QUrl mArtURLInFlight;
};

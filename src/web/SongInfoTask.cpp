#include "web/SongInfoTask.h"

#include "songs/SongFile.h"
#include "support/ProgressIndicator.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "web/SiblingIndex.h"
#include "web/WMHTTPQueue.h"
#include "web/WebDBInterface.h"

#include <QSettings>
#include <QTimer>

SongInfoTask::SongInfoTask(std::shared_ptr<SongFile> song, SongList sourceLibrary,
                           SongList noOverwriteSourceLibrary, QStringList sourcelist, QVariantMap resources,
                           QObject* parent)
    : SongInfoTask(std::move(song), std::make_shared<SiblingIndex>(std::move(sourceLibrary)),
                   std::move(sourcelist), std::move(resources), parent)
{
    for (const std::shared_ptr<SongFile>& waiting : std::as_const(noOverwriteSourceLibrary)) {
        if (waiting)
            mSiblings->setWaiting(waiting->path(), true);
    }
}

SongInfoTask::SongInfoTask(std::shared_ptr<SongFile> song, std::shared_ptr<SiblingIndex> siblings,
                           QStringList sourcelist, QVariantMap resources, QObject* parent)
    : QObject(parent), mSong(std::move(song)), mSiblings(std::move(siblings)),
      mSources(std::move(sourcelist)), mAllResources(std::move(resources))
{
    mNoiTunesArtwork = QSettings().value(QStringLiteral("noiTunesArtwork"), false).toBool();
}

SongInfoTask::~SongInfoTask()
{
    if (mArtURLInFlight.isValid())
        WMHTTPQueue::queue()->cancelURL(mArtURLInFlight);
    for (auto& source : mParallelDBIsInUse)
        source->cancelSearch();
}

AudioInfoTag* SongInfoTask::tag() const
{
    return mSong ? mSong->infotag() : nullptr;
}

void SongInfoTask::setProgessIndicator(ProgressIndicator* indicator)
{
    mIndicator = indicator;
}

void SongInfoTask::setGatherFlags(AlbumAssets flags)
{
    mGatherFlags = flags;
    setUpDesiredAssetsFlags();
}

void SongInfoTask::setOverwriteFlags(AlbumAssets flags)
{
    mOverwriteFlags = flags;
}

void SongInfoTask::setUpDesiredAssetsFlags()
{
    mDesiredAssetFlags = {};
    AudioInfoTag* t = tag();
    if (!t) {
        mWantArtworkButNoAlbum = false;
        return;
    }
    auto lacksOrOverwrites = [&](AlbumAsset asset, const QString& value) {
        return value.isEmpty() || mOverwriteFlags.testFlag(asset);
    };
    if (mGatherFlags.testFlag(AlbumAsset::Artwork) &&
        (t->numberOfImages() == 0 || mOverwriteFlags.testFlag(AlbumAsset::AlbumName)))
        mDesiredAssetFlags |= AlbumAsset::Artwork;
    if (mGatherFlags.testFlag(AlbumAsset::AlbumName) && lacksOrOverwrites(AlbumAsset::AlbumName, t->album()))
        mDesiredAssetFlags |= AlbumAsset::AlbumName;
    if (mGatherFlags.testFlag(AlbumAsset::Year) && lacksOrOverwrites(AlbumAsset::Year, t->year()))
        mDesiredAssetFlags |= AlbumAsset::Year;
    if (mGatherFlags.testFlag(AlbumAsset::Genre) && lacksOrOverwrites(AlbumAsset::Genre, t->genres()))
        mDesiredAssetFlags |= AlbumAsset::Genre;
    if (mGatherFlags.testFlag(AlbumAsset::Tempo) && lacksOrOverwrites(AlbumAsset::Tempo, t->bpm()))
        mDesiredAssetFlags |= AlbumAsset::Tempo;
    if (mGatherFlags.testFlag(AlbumAsset::Lyrics) && lacksOrOverwrites(AlbumAsset::Lyrics, t->lyrics()))
        mDesiredAssetFlags |= AlbumAsset::Lyrics;
    if (mGatherFlags.testFlag(AlbumAsset::SongTitle)) {
        // Titles on compilations are never replaced.
        if (t->title().isEmpty() ||
            (mOverwriteFlags.testFlag(AlbumAsset::SongTitle) && !t->isPartOfCompilation()))
            mDesiredAssetFlags |= AlbumAsset::SongTitle;
    }
    if (mGatherFlags.testFlag(AlbumAsset::Track) && lacksOrOverwrites(AlbumAsset::Track, t->track()))
        mDesiredAssetFlags |= AlbumAsset::Track;
    mWantArtworkButNoAlbum = mDesiredAssetFlags.testFlag(AlbumAsset::Artwork) &&
                             mDesiredAssetFlags.testFlag(AlbumAsset::AlbumName);
}

QString SongInfoTask::albumTitle() const
{
    AudioInfoTag* t = tag();
    if (!t || t->album().isEmpty())
        return QString();
    QString title = t->album();
    const QString soundtrack = QStringLiteral("soundtrack");
    if (t->genres().toLower().contains(soundtrack) && !title.toLower().contains(soundtrack))
        title += QStringLiteral(" Soundtrack");
    return title;
}

AlbumAssets SongInfoTask::assetsPossibleFromSources(const QStringList& sourceNames)
{
    AlbumAssets assets;
    for (const QString& name : sourceNames) {
        if (auto source = WebDBInterface::interfaceWithName(name, QVariantMap()))
            assets |= source->resourcesPossiblyAvailable();
    }
    return assets;
}

void SongInfoTask::gatherNotifyingObject(QObject* object, const QByteArray& method)
{
    mNotifyObject = object;
    mNotifyMethod = method;
    if (mIndicator) {
        mIndicator->setIndeterminate(true);
        mIndicator->startAnimation();
        mIndicator->setDoubleValue(0.0);
    }
    applyResourcesFromLibrary();
    if (mParallelMode)
        parallelGatherDataOnline();
    else
        serialGatherDataOnline();
}

void SongInfoTask::cancel()
{
    mWasCancelled = true;
    for (auto& source : mParallelDBIsInUse)
        source->cancelSearch();
}

std::unique_ptr<WebDBInterface> SongInfoTask::makeSource(const QString& className)
{
    AudioInfoTag* t = tag();
    if (!t)
        return nullptr;
    QVariantMap resources = mAllResources.value(QStringLiteral("res_") + className).toMap();
    // Sources that match by length (lyrics with timings) read the song's.
    if (t->duration() > 0 && !resources.contains(QStringLiteral("songDuration")))
        resources.insert(QStringLiteral("songDuration"), t->duration());
    std::unique_ptr<WebDBInterface> source = WebDBInterface::interfaceWithName(className, resources);
    if (!source)
        return nullptr;
    const int maxPossibleArtWidth = resources.value(QStringLiteral("maxPossibleArtWidth")).toInt();
    const AlbumAssets useful = source->resourcesPossiblyAvailable() & mDesiredAssetFlags;
    if (useful == AlbumAssets(AlbumAsset::Artwork) && mMinImageWidth > float(maxPossibleArtWidth))
        return nullptr;
    if (!useful)
        return nullptr;

    source->setAlbumSelectionMethod(int(mAlbumSelectionMethod));
    source->setAllowSubstringTrackMatches(mAllowSubstrings);
    source->setProgessIndicator(mIndicator);
    source->setMinimumAcceptableImageSize(mMinImageWidth);
    source->setAlternateArtist(t->reversedArtist());
    source->setArtist(t->normalizedArtist());
    if (!mDesiredAssetFlags.testFlag(AlbumAsset::SongTitle))
        source->setSongTitle(t->title());
    if (!mDesiredAssetFlags.testFlag(AlbumAsset::AlbumName))
        source->setAlbumTitle(albumTitle());
    const QString soundtrack = QStringLiteral("soundtrack");
    source->setIsCompilation(t->isPartOfCompilation() || t->genres().toLower().contains(soundtrack) ||
                             t->normalizedArtist().contains(QStringLiteral("various"), Qt::CaseInsensitive));
    return source;
}

void SongInfoTask::parallelGatherDataOnline()
{
    if (!mDesiredAssetFlags || mWasCancelled || !tag()) {
        finishAndNotify();
        return;
    }
    for (const QString& name : std::as_const(mSources)) {
        std::unique_ptr<WebDBInterface> source = makeSource(name);
        if (!source)
            continue;
        source->setNotify(QByteArrayLiteral("parallelSearchCompleted"), this);
        mParallelDBIsInUse.push_back(std::move(source));
    }
    if (mParallelDBIsInUse.empty()) {
        finishAndNotify();
        return;
    }
    // Started only once all are in the list, so that a source completing at
    // once cannot end the pooling early.
    for (qsizetype i = 0; i < qsizetype(mParallelDBIsInUse.size()); ++i)
        mParallelDBIsInUse[size_t(i)]->beginSearch();
}

void SongInfoTask::parallelSearchCompleted(WebDBInterface* source)
{
    auto it = std::find_if(mParallelDBIsInUse.begin(), mParallelDBIsInUse.end(),
                           [&](const auto& s) { return s.get() == source; });
    if (it == mParallelDBIsInUse.end())
        return;
    mParallelAlbums += source->albums();
    mSourceReports.append(SourceReport::of(*source));
    // The source is still on the call stack of its own notification.
    it->release()->deleteLater();
    mParallelDBIsInUse.erase(it);
    if (!mParallelDBIsInUse.empty())
        return;

    mGatheredAlbums = mParallelAlbums;
    // Artwork candidates, source by source in list order.
    mArtCandidates.clear();
    for (const QString& name : std::as_const(mSources)) {
        for (qsizetype i = mParallelAlbums.size() - 1; i >= 0; --i) {
            const AlbumInfo& album = mParallelAlbums[i];
            if (album.sourceInterfaceName() == name && !album.artURLString().isEmpty())
                mArtCandidates.append(album);
        }
    }
    chooseAndApply(mParallelAlbums);
    if (wantsArtworkCandidates()) {
        if (downloadNextArtCandidate(QByteArrayLiteral("parallelNextArt")))
            return;
    }
    finishAndNotify();
}

void SongInfoTask::chooseAndApply(QList<AlbumInfo>& albums)
{
    const QVariantMap lyrics = AlbumChooser::pooledLyrics(albums);
    std::optional<AlbumInfo> chosen = pruneAndChoose(albums);
    if (!chosen)
        return;
    chosen->setLyrics(lyrics);
    mChosenAlbum = chosen;
    applyResourcesFromAlbum(*chosen);
}

bool SongInfoTask::wantsArtworkCandidates() const
{
    return mDesiredAssetFlags.testFlag(AlbumAsset::Artwork) && !mWantArtworkButNoAlbum && !mNoiTunesArtwork &&
           !mArtCandidates.isEmpty() && !mWasCancelled;
}

std::optional<AlbumInfo> SongInfoTask::pruneAndChoose(QList<AlbumInfo>& albums)
{
    AudioInfoTag* t = tag();
    if (!t || mWasCancelled)
        return std::nullopt;
    const bool keepOwnAlbum = !mDesiredAssetFlags.testFlag(AlbumAsset::AlbumName);
    if (mDesiredAssetFlags.testFlag(AlbumAsset::SongTitle)) {
        const int tracksOnAlbum = t->numberOfTracksOnAlbum();
        if (tracksOnAlbum > 0)
            AlbumInfo::eliminateAlbumsFromArray(albums, tracksOnAlbum);
        if (keepOwnAlbum)
            AlbumChooser::eliminateAlbumsWithoutDesiredName(albums, t->album(), mAllowSubstrings);
        AlbumInfo::simplifyAlbumArray(albums, QString());
    } else {
        AlbumInfo::simplifyAlbumArray(albums, t->title());
        if (keepOwnAlbum)
            AlbumChooser::eliminateAlbumsWithoutDesiredName(albums, t->album(), mAllowSubstrings);
    }
    return AlbumChooser::chooseAlbum(albums, mAlbumSelectionMethod, t->artist(), t->title(), &mErrorMessage);
}

void SongInfoTask::serialGatherDataOnline()
{
    while (!mWasCancelled && mDesiredAssetFlags && tag() && mNextSerialSource < mSources.size()) {
        std::unique_ptr<WebDBInterface> source = makeSource(mSources[mNextSerialSource++]);
        if (!source)
            continue;
        source->setNotify(QByteArrayLiteral("serialSearchCompleted"), this);
        mParallelDBIsInUse.push_back(std::move(source));
        mParallelDBIsInUse.back()->beginSearch();
        return;
    }
    finishAndNotify();
}

void SongInfoTask::serialSearchCompleted(WebDBInterface* source)
{
    auto it = std::find_if(mParallelDBIsInUse.begin(), mParallelDBIsInUse.end(),
                           [&](const auto& s) { return s.get() == source; });
    if (it == mParallelDBIsInUse.end())
        return;
    QList<AlbumInfo> albums = source->albums();
    mSourceReports.append(SourceReport::of(*source));
    it->release()->deleteLater();
    mParallelDBIsInUse.erase(it);
    mGatheredAlbums += albums;

    mArtCandidates.clear();
    for (qsizetype i = albums.size() - 1; i >= 0; --i) {
        if (!albums[i].artURLString().isEmpty())
            mArtCandidates.append(albums[i]);
    }
    chooseAndApply(albums);
    if (wantsArtworkCandidates()) {
        // One download per source in serial mode.
        mArtCandidates = mArtCandidates.mid(0, 1);
        if (downloadNextArtCandidate(QByteArrayLiteral("serialGotArt")))
            return;
    }
    serialGatherDataOnline();
}

void SongInfoTask::parallelNextArt(const QVariantMap& answer)
{
    mArtURLInFlight.clear();
    if (!mWasCancelled && takeArtworkAnswer(answer)) {
        finishAndNotify();
        return;
    }
    if (mWasCancelled || !downloadNextArtCandidate(QByteArrayLiteral("parallelNextArt")))
        finishAndNotify();
}

void SongInfoTask::serialGotArt(const QVariantMap& answer)
{
    mArtURLInFlight.clear();
    if (!mWasCancelled)
        takeArtworkAnswer(answer);
    serialGatherDataOnline();
}

bool SongInfoTask::downloadNextArtCandidate(const QByteArray& method)
{
    while (!mArtCandidates.isEmpty()) {
        const AlbumInfo album = mArtCandidates.takeFirst();
        const QUrl url(album.artURLString());
        if (album.artURLString().isEmpty() || !url.isValid() || url.scheme().isEmpty())
            continue;
        mArtURLInFlight = url;
        mArtAlbumInFlight = album;
        WMHTTPQueue::queue()->addURL(url, this, method, mIndicator.data());
        return true;
    }
    return false;
}

namespace {

std::optional<TagAttribute> attributeOf(AlbumAsset asset)
{
    switch (asset) {
    case AlbumAsset::Artwork:
        return TagAttribute::Artwork;
    case AlbumAsset::AlbumName:
        return TagAttribute::Album;
    case AlbumAsset::Artist:
        return TagAttribute::Artist;
    case AlbumAsset::Year:
        return TagAttribute::Year;
    case AlbumAsset::SongTitle:
        return TagAttribute::Title;
    case AlbumAsset::Track:
        return TagAttribute::Track;
    case AlbumAsset::Genre:
        return TagAttribute::Genre;
    case AlbumAsset::Tempo:
        return TagAttribute::BPM;
    case AlbumAsset::Lyrics:
        return TagAttribute::Lyrics;
    case AlbumAsset::None:
        break;
    }
    return std::nullopt;
}

} // namespace

void SongInfoTask::moveFlagToChanged(AlbumAsset asset, const ChangeOrigin& origin)
{
    mDesiredAssetFlags &= ~AlbumAssets(asset);
    mChangedAssetFlags |= asset;
    if (const std::optional<TagAttribute> attribute = attributeOf(asset))
        mValueOrigins.insert(*attribute, origin);
}

ChangeOrigin SongInfoTask::originOf(const AlbumInfo& album)
{
    QString source = album.sourceInterfaceName();
    if (source.endsWith(QLatin1String("Interface")))
        source.chop(int(qstrlen("Interface")));
    QString detail = source + QStringLiteral(": ") + album.artist() + QStringLiteral(" – ") + album.name();
    if (!album.sourceReference().isEmpty())
        detail += QStringLiteral(" <") + album.sourceReference() + QLatin1Char('>');
    return ChangeOrigin{ChangeOrigin::Kind::WebSource, detail};
}

void SongInfoTask::finishAndNotify()
{
    if (mFinished)
        return;
    mFinished = true;
    if (mIndicator)
        mIndicator->stopAnimation();
    QPointer<QObject> target = mNotifyObject;
    const QByteArray method = mNotifyMethod;
    QPointer<SongInfoTask> self(this);
    QTimer::singleShot(0, this, [target, method, self]() {
        if (!target || !self || method.isEmpty())
            return;
        QMetaObject::invokeMethod(target.data(), method.constData(), Qt::DirectConnection,
                                  Q_ARG(SongInfoTask*, self.data()));
    });
}

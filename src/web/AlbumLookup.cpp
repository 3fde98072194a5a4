#include "web/AlbumLookup.h"

#include "text/WendmarkTextExtensions.h"
#include "web/WebDBInterface.h"

#include <QTimer>

AlbumLookup::AlbumLookup(Query query, QStringList sources, QVariantMap resources, QObject* parent)
    : QObject(parent), mQuery(std::move(query)), mSources(std::move(sources)),
      mResources(std::move(resources))
{}

AlbumLookup::~AlbumLookup()
{
    for (auto& source : mInUse)
        source->cancelSearch();
}

void AlbumLookup::start()
{
    for (const QString& name : std::as_const(mSources)) {
        const QVariantMap resources = mResources.value(QStringLiteral("res_") + name).toMap();
        std::unique_ptr<WebDBInterface> source = WebDBInterface::interfaceWithName(name, resources);
        if (!source)
            continue;
        const QString artist = mQuery.artist;
        source->setArtist(artist);
        source->setAlternateArtist(artist);
        if (!mQuery.title.isEmpty())
            source->setSongTitle(mQuery.title);
        if (!mQuery.album.isEmpty())
            source->setAlbumTitle(mQuery.album);
        source->setIsCompilation(artist.contains(QStringLiteral("various"), Qt::CaseInsensitive));
        source->setAlbumSelectionMethod(int(mMethod));
        source->setAllowSubstringTrackMatches(mAllowSubstrings);
        source->setMinimumAcceptableImageSize(mMinImageWidth);
        source->setNotify(QByteArrayLiteral("sourceCompleted"), this);
        mAsked.append(name);
        mInUse.push_back(std::move(source));
    }
    if (mInUse.empty()) {
        QTimer::singleShot(0, this, [this]() { finish(); });
        return;
    }
    for (size_t i = 0; i < mInUse.size(); ++i)
        mInUse[i]->beginSearch();
}

void AlbumLookup::cancel()
{
    for (auto& source : mInUse)
        source->cancelSearch();
}

void AlbumLookup::sourceCompleted(WebDBInterface* source)
{
    auto it = std::find_if(mInUse.begin(), mInUse.end(), [&](const auto& s) { return s.get() == source; });
    if (it == mInUse.end())
        return;
    mGathered += source->albums();
    mSourceReports.append(SourceReport::of(*source));
    it->release()->deleteLater();
    mInUse.erase(it);
    if (mInUse.empty())
        finish();
}

void AlbumLookup::finish()
{
    if (mFinished)
        return;
    mFinished = true;
    mPruned = mGathered;
    const QVariantMap lyrics = AlbumChooser::pooledLyrics(mPruned);
    if (!mQuery.title.isEmpty()) {
        AlbumInfo::simplifyAlbumArray(mPruned, mQuery.title);
        AlbumChooser::eliminateAlbumsWithoutDesiredName(mPruned, mQuery.album, mAllowSubstrings);
    } else {
        AlbumChooser::eliminateAlbumsWithoutDesiredName(mPruned, mQuery.album, mAllowSubstrings);
        AlbumInfo::simplifyAlbumArray(mPruned, QString());
    }
    // Albums that carry only lyrics are not albums to choose.
    QList<AlbumInfo> choosable;
    for (const AlbumInfo& album : std::as_const(mPruned)) {
        if (!album.name().isEmpty() || !album.trackNames().isEmpty())
            choosable.append(album);
    }
    mChosen = AlbumChooser::chooseAlbum(choosable, mMethod, mQuery.artist, mQuery.title, &mErrorMessage);
    if (mChosen && !lyrics.isEmpty())
        mChosen->setLyrics(lyrics);
    emit finished();
}

// The parts of the song lookup task that change the song's tag: values
// borrowed from sibling songs, the chosen album's values and downloaded
// artwork.
#include "web/SongInfoTask.h"

#include "library/iTunesBridge.h"
#include "library/iTunesScriptRunner.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/ID3Image.h"
#include "text/WendmarkTextExtensions.h"
#include "web/ArtworkFitter.h"
#include "web/SiblingIndex.h"

using WendmarkTextExtensions::simplified;

namespace {

const QString JPEGType = QStringLiteral("image/jpeg");

} // namespace

void SongInfoTask::applyResourcesFromLibrary()
{
    AudioInfoTag* t = tag();
    if (!t || !mSiblings || mSiblings->size() < 2 || t->artist().isEmpty() || t->album().isEmpty())
        return;
    const AlbumAssets borrowable = AlbumAssets(AlbumAsset::Artwork) | AlbumAsset::Year | AlbumAsset::Genre;
    if (!(mDesiredAssetFlags & borrowable))
        return;
    const QString album = simplified(t->album());
    const QString artist = simplified(t->artist());
    const bool compilation = t->isPartOfCompilation();

    // In the order of the song list, as a walk over all songs meets them.
    const SiblingIndex::SongList candidates = mSiblings->candidates(album, artist, compilation);
    for (const std::shared_ptr<SongFile>& other : candidates) {
        if (!(mDesiredAssetFlags & borrowable))
            break;
        if (!other || other == mSong)
            continue;
        AudioInfoTag* otherTag = other->infotag();
        if (!otherTag || simplified(otherTag->album()) != album)
            continue;
        if (compilation ? !otherTag->isPartOfCompilation() : simplified(otherTag->artist()) != artist)
            continue;

        // A song still waiting for its own lookup may yet change; only what
        // will not be overwritten is trusted. Its artwork stays unless
        // artwork is overwritten and its picture is narrower than the
        // threshold, so that the first song of an album borrows as the
        // later ones do.
        const ChangeOrigin sibling{ChangeOrigin::Kind::Sibling, other->path()};
        const bool untrusted = mSiblings->isWaiting(other->path());
        bool takeYear = true;
        bool takeGenre = true;
        bool takeArtwork = true;
        if (untrusted) {
            takeYear = !mOverwriteFlags.testFlag(AlbumAsset::Year);
            takeGenre = !mOverwriteFlags.testFlag(AlbumAsset::Genre);
            if (mOverwriteFlags.testFlag(AlbumAsset::Artwork) && otherTag->numberOfImages() > 0) {
                const QImage first = QImage::fromData(otherTag->images().value(0).imageData());
                takeArtwork = !first.isNull() && first.width() >= mOverwriteImageWidth;
            }
        }

        if (takeYear && mDesiredAssetFlags.testFlag(AlbumAsset::Year) && !otherTag->year().isEmpty()) {
            t->setYear(otherTag->year());
            moveFlagToChanged(AlbumAsset::Year, sibling);
        }
        if (takeGenre && mDesiredAssetFlags.testFlag(AlbumAsset::Genre) && !otherTag->genres().isEmpty()) {
            t->setGenres(otherTag->genres());
            moveFlagToChanged(AlbumAsset::Genre, sibling);
        }
        if (takeArtwork && mDesiredAssetFlags.testFlag(AlbumAsset::Artwork) &&
            otherTag->numberOfImages() > 0) {
            other->ensureInfotagIsReal();
            AudioInfoTag* realTag = other->infotag();
            if (!realTag || realTag->numberOfImages() == 0)
                continue;
            const ID3Image picture = realTag->images().first();
            if (picture.imageData().isEmpty() || picture.mimeFormat().isEmpty())
                continue;
            // A sibling's picture obeys the size rules of pictures from the
            // web; a refused one leaves the search to other siblings and
            // the sources.
            const std::optional<ArtworkFitter::Result> fitted = ArtworkFitter::adjustedImage(
                picture.imageData(), mMinImageWidth, mMaxImageWidth, !mIgnoreNonSquareArt);
            if (!fitted)
                continue;
            const QString mime = fitted->reencoded ? JPEGType : picture.mimeFormat();
            std::optional<ID3Image> image = ID3Image::imageWithData(fitted->data, mime);
            if (!image)
                continue;
            if (iTunesScriptRunner::isiTunesRunning())
                iTunesBridge::removeAllArtworkFromSongWithDBID(int(mSong->iTunesDBID()), t->title(),
                                                               mSong->path());
            t->removeAllImages();
            t->addImage(*image);
            moveFlagToChanged(AlbumAsset::Artwork, sibling);
        }
    }
}

void SongInfoTask::applyResourcesFromAlbum(const AlbumInfo& album)
{
    AudioInfoTag* t = tag();
    if (!t)
        return;
    const ChangeOrigin web = originOf(album);
    int trackNumber = 0;
    if (!t->title().isEmpty())
        trackNumber = album.numberOfTrackNamed(t->title(), mAllowSubstrings);

    if (!mDesiredAssetFlags.testFlag(AlbumAsset::SongTitle) && !album.trackNames().isEmpty() &&
        trackNumber == 0) {
        if (!mDesiredAssetFlags.testFlag(AlbumAsset::AlbumName) && !album.name().isEmpty() &&
            !t->album().isEmpty())
            mErrorMessage = LocalizedStrings::format(QStringLiteral("ErrorNotOnAlbum"), t->title(),
                                                     album.name(), album.trackSummary());
        return;
    }

    if (mDesiredAssetFlags.testFlag(AlbumAsset::AlbumName) && !album.name().isEmpty()) {
        const QString previous = t->album();
        t->setAlbum(album.name());
        moveFlagToChanged(AlbumAsset::AlbumName, web);
        if (!previous.isEmpty() && !WendmarkTextExtensions::isSimpleEqualTo(previous, album.name()) &&
            mOverwriteFlags.testFlag(AlbumAsset::AlbumName)) {
            // Another album: its artwork is no longer this song's.
            mDesiredAssetFlags |= AlbumAsset::Artwork;
            removeOldArtwork();
        }
    }
    if (mDesiredAssetFlags.testFlag(AlbumAsset::Lyrics) && !t->title().isEmpty()) {
        const QString text = album.lyrics().value(simplified(t->title())).toString();
        if (!text.isEmpty()) {
            if (text.split(QLatin1Char('\n')).size() < 2) {
                WMLog("%@ lyrics too few lines:\n%@", t->title(), text);
            } else {
                t->setLyrics(text);
                moveFlagToChanged(AlbumAsset::Lyrics, web);
            }
        }
    }
    if (mDesiredAssetFlags.testFlag(AlbumAsset::Track) && trackNumber > 0) {
        t->setTrack(QStringLiteral("%1/%2").arg(trackNumber).arg(album.trackNames().size()));
        moveFlagToChanged(AlbumAsset::Track, web);
    }
    if (mDesiredAssetFlags.testFlag(AlbumAsset::Year) && !album.year().isEmpty()) {
        t->setYear(album.year());
        moveFlagToChanged(AlbumAsset::Year, web);
    }
    if (mDesiredAssetFlags.testFlag(AlbumAsset::Genre) && !album.genre().isEmpty()) {
        t->setGenres(album.genre());
        moveFlagToChanged(AlbumAsset::Genre, web);
    }
    if (mDesiredAssetFlags.testFlag(AlbumAsset::SongTitle) && trackNumber > 0) {
        const QString title = album.trackNames().value(trackNumber - 1);
        if (!title.isEmpty()) {
            t->setTitle(title);
            moveFlagToChanged(AlbumAsset::SongTitle, web);
        }
    }
}

void SongInfoTask::removeOldArtwork()
{
    AudioInfoTag* t = tag();
    if (!t)
        return;
    if (!mNoiTunesArtwork && iTunesScriptRunner::isiTunesRunning()) {
        iTunesBridge::removeAllArtworkFromSongWithDBID(int(mSong->iTunesDBID()), t->title(), mSong->path());
        mSong->setHasiTunesArtwork(0);
    }
    t->removeAllImages();
}

bool SongInfoTask::takeArtworkAnswer(const QVariantMap& answer)
{
    AudioInfoTag* t = tag();
    const QByteArray body = answer.value(QStringLiteral("WMHTTPDataKey")).toByteArray();
    if (!t || body.isEmpty() || answer.contains(QStringLiteral("WMHTTPErrorKey")))
        return false;
    std::optional<ArtworkFitter::Result> fitted =
        ArtworkFitter::adjustedImage(body, mMinImageWidth, mMaxImageWidth, !mIgnoreNonSquareArt);
    if (!fitted)
        return false;
    const QString mime =
        fitted->reencoded ? JPEGType : answer.value(QStringLiteral("WMHTTPMIMETypeKey")).toString();
    std::optional<ID3Image> image = ID3Image::imageWithData(fitted->data, mime);
    if (!image)
        return false;

    if (mOverwriteFlags.testFlag(AlbumAsset::Artwork)) {
        if (mNoiTunesArtwork) {
            t->removeAllImages();
        } else if (mSong->hasiTunesArtwork() > 0) {
            const std::optional<QString> removed = iTunesBridge::removeAllArtworkFromSongWithDBID(
                int(mSong->iTunesDBID()), t->title(), mSong->path());
            if (removed && removed->toInt() > 0)
                mSong->setHasiTunesArtwork(0);
        } else {
            t->removeAllImages();
        }
    }
    t->addImage(*image);
    ChangeOrigin origin = mArtAlbumInFlight ? originOf(*mArtAlbumInFlight) : ChangeOrigin{ChangeOrigin::Kind::WebSource, {}};
    origin.detail += QStringLiteral(" <") + answer.value(QStringLiteral("WMHTTPURLKey")).toUrl().toString() +
                     QLatin1Char('>');
    moveFlagToChanged(AlbumAsset::Artwork, origin);
    return true;
}

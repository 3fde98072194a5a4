// The parts of the run that give a song values besides the lookup's: what
// its path says, and, in a dry run, whether its file could be written.
#include "MainController.h"

#include "songs/SongFile.h"
#include "songs/SongPathTags.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/SafeFileRewriter.h"

#include <QFileInfo>

void MainController::takeValuesFromPath(const SongFile& song, AudioInfoTag& tag)
{
    const SongPathTags path = SongPathTags::fromPath(song.path(), SongFile::songSourceRoot());
    if (path.isEmpty())
        return;
    const AlbumAssets checks = mWindowPrefs.checkFlags();
    SongPathTags& taken = mCurrentOutcome.fromPath;
    const ChangeOrigin origin{ChangeOrigin::Kind::FilePath, song.path()};
    if (tag.artist().isEmpty() && !path.artist.isEmpty()) {
        tag.setArtist(path.artist);
        taken.artist = path.artist;
        mCurrentPathAssets |= AlbumAsset::Artist;
        mCurrentOrigins.insert(TagAttribute::Artist, origin);
    }
    if (checks.testFlag(AlbumAsset::AlbumName) && tag.album().isEmpty() && !path.album.isEmpty()) {
        tag.setAlbum(path.album);
        taken.album = path.album;
        mCurrentPathAssets |= AlbumAsset::AlbumName;
        mCurrentOrigins.insert(TagAttribute::Album, origin);
    }
    const bool lacksTitle = tag.title().isEmpty() || SongPathTags::isFileNameTitle(tag.title(), song.path());
    if (checks.testFlag(AlbumAsset::SongTitle) && lacksTitle && !path.title.isEmpty() &&
        path.title != tag.title()) {
        tag.setTitle(path.title);
        taken.title = path.title;
        mCurrentPathAssets |= AlbumAsset::SongTitle;
        mCurrentOrigins.insert(TagAttribute::Title, origin);
    }
    if (checks.testFlag(AlbumAsset::Track) && tag.trackNumber() < 1 && path.track > 0) {
        tag.setTrack(QString::number(path.track));
        taken.track = path.track;
        mCurrentPathAssets |= AlbumAsset::Track;
        mCurrentOrigins.insert(TagAttribute::Track, origin);
    }
}

bool MainController::rehearseWrite(const SongFile& song, AudioInfoTag& tag, QString* error)
{
    const SafeFileRewriter::Rehearsal rehearsal;
    if (!QFileInfo::exists(song.path())) {
        *error = LocalizedStrings::text(QStringLiteral("ReasonVanished"));
        return false;
    }
    if (tag.modifySongFileAtPath(song.path(), error))
        return true;
    if (error->isEmpty())
        *error = LocalizedStrings::text(QStringLiteral("ErrorTagNotWritten"));
    return false;
}

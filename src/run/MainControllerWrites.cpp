// The writes: a run's songs staged in its write batch and told once their
// files hold the values, the front end's edits and commands outside a run
// (written and recorded in the change history), and a song taking the
// values another write of ours (an undo, a redo) gave its file.
#include "MainController.h"

#include "PrefsController.h"
#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"
#include "tags/WriteBatch.h"

#include <QColor>

namespace {

const QColor kRed(255, 0, 0);

} // namespace

bool MainController::writeSong(const std::shared_ptr<SongFile>& song, const TagSnapshot& before,
                               HistoryRecorder& history, const ChangeOrigin& origin)
{
    const AudioInfoTag* tag = song->infotag();
    if (!tag)
        return writeSong(song);
    // The values written, taken before the song gives its tag up for the
    // cache's summary.
    const TagSnapshot after = TagSnapshot::of(*tag);
    if (!writeSong(song))
        return false;
    history.record(FileChangeRecord::between(song->path(), before, after, origin));
    return true;
}

void MainController::takeValuesFromFile(SongFile& song)
{
    song.uncacheInfotag();
    song.adoptCurrentModificationDate();
    AudioInfoTag* tag = song.infotag();
    if (!tag)
        return;
    if (tag->numberOfImages() > 0)
        song.setHasiTunesArtwork(0);
    if (!tag->encounteredProblemDecoding())
        SongFileInfoCache::sharedCache().storeInfo(CachedInfoTag::infoDictForTag(*tag, song.path()),
                                                   song.path());
    keepCachedSummary(song);
}

bool MainController::writeSong(const std::shared_ptr<SongFile>& song)
{
    QString error;
    const bool written =
        song->writeToOriginalPath(&error, PrefsController::sharedInstance().keepiTunesRefreshed());
    return songWritten(song, written, error, nullptr);
}

void MainController::writeRunSong(SongResult result)
{
    const std::shared_ptr<SongFile> song = result.song;
    if (!mWriteBatch)
        mWriteBatch = std::make_unique<WriteBatch>();
    QString error;
    bool staged = false;
    {
        const WriteBatch::Scope writing(*mWriteBatch);
        staged = song->writeToOriginalPath(&error, PrefsController::sharedInstance().keepiTunesRefreshed());
    }
    if (!staged) {
        songWritten(song, false, error, &result);
        return;
    }
    // Songs that finish faster than a disk flush share one: the write waits
    // a moment in the run's batch, made durable at the latest when the run
    // ends; the song is told and recorded once its file holds the values.
    auto pending = std::make_shared<SongResult>(std::move(result));
    WriteBatch::afterWrite(song->path(), [this, pending](bool written, const QString& reason) {
        songWritten(pending->song, written, reason, pending.get());
    });
}

void MainController::commitWrites()
{
    if (mWriteBatch)
        mWriteBatch->commit();
}

bool MainController::songWritten(const std::shared_ptr<SongFile>& song, bool written, const QString& error,
                                 SongResult* run)
{
    AudioInfoTag* tag = song->infotag();
    if (!written || !tag) {
        // Refused or failed: the file keeps what it had (or what another
        // program wrote meanwhile), and the song is a problem of this run.
        const QString artist = tag ? tag->artist() : QString();
        const QString title = tag ? tag->title() : song->filename();
        addLog(LocalizedStrings::format(QStringLiteral("ErrorCannotModify"), artist, title, error), kRed);
        WMLog("    %@", song->path());
        if (run) {
            if (tag && run->report)
                run->outcome.changes = changeRecordOf(*run, *tag);
            run->outcome.kind = SongOutcome::Kind::WriteFailed;
            run->outcome.reason = error;
        }
        song->uncacheInfotag();
        song->setActivityStatus(SongActivityStatus::Problem);
        emit writeFailed(song, error);
        if (run)
            emit songDone(song, run->outcome);
        return false;
    }
    if (run) {
        // A run's song: its changes are told and recorded once the file
        // holds them.
        reportChanges(*run, tag);
        if (run->changed && mHistory && run->report)
            mHistory->record(changeRecordOf(*run, *tag));
    }
    if (tag->numberOfImages() > 0)
        song->setHasiTunesArtwork(0);
    else
        identifyiTunesArtworkForSong(*song);
    // The cache learns the new values.
    SongFileInfoCache::sharedCache().storeInfo(CachedInfoTag::infoDictForTag(*tag, song->path()),
                                               song->path());
    keepCachedSummary(*song);
    if (run)
        emit songDone(song, run->outcome);
    return true;
}

void MainController::keepCachedSummary(SongFile& song)
{
    // A song done with keeps only the cache's summary of its tag, so that a
    // long run doesn't hold every file's pictures; a tag read from the file
    // is cached first when it decoded.
    SongFileInfoCache& cache = SongFileInfoCache::sharedCache();
    QVariantMap info = cache.infoForSongFileAtPath(song.path());
    if (info.isEmpty()) {
        AudioInfoTag* tag = song.infotag();
        if (!tag || tag->isLazy() || tag->encounteredProblemDecoding() || tag->tagHasBeenModified())
            return;
        info = CachedInfoTag::infoDictForTag(*tag, song.path());
        cache.storeInfo(info, song.path());
    }
    song.createInfotagUsingCachedInfoDict(info);
}

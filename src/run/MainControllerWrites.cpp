// The writes of the front end outside a run: an edit or a command of the
// window, written and recorded in the change history, and a song taking
// the values another write of ours (an undo, a redo) gave its file.
#include "MainController.h"

#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "songs/SongFileInfoCache.h"
#include "tags/AudioInfoTag.h"

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

#include "SongCells.h"

#include "songs/CachedInfoTag.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"

namespace {

constexpr int kFullLyrics = 100;

QString text(const char* key)
{
    return LocalizedStrings::text(QLatin1String(key));
}

QString tagText(AudioInfoTag* tag, SongColumn column)
{
    if (!tag)
        return {};
    switch (column) {
    case SongColumn::Artist:
        return tag->artist();
    case SongColumn::Title:
        return tag->title();
    case SongColumn::Album:
        return tag->album();
    case SongColumn::Track:
        return tag->track();
    case SongColumn::Year:
        return tag->year();
    case SongColumn::Genre:
        return tag->genres();
    case SongColumn::BPM:
        return tag->bpm();
    case SongColumn::Version:
        return tag->readVersion();
    case SongColumn::Duration:
        return tag->formattedDuration();
    default:
        return {};
    }
}

// 0 no lyrics, 1 a few lines, 2 full lyrics.
int lyricsLevel(AudioInfoTag* tag)
{
    const qsizetype length = tag ? tag->lyrics().size() : 0;
    return length == 0 ? 0 : (length < kFullLyrics ? 1 : 2);
}

enum class ArtState
{
    None = 0,
    Unknown = 1,
    HeldByiTunes = 2,
    Embedded = 3
};

ArtState artState(SongFile& song, AudioInfoTag* tag, bool noiTunesArtwork)
{
    if (!tag)
        return ArtState::None;
    if (SongCells::hasUnreadLibraryTag(song) && tag->numberOfImages() > 0)
        return ArtState::Unknown;
    if (tag->numberOfImages() > 0)
        return ArtState::Embedded;
    if (noiTunesArtwork)
        return ArtState::None;
    if (song.hasiTunesArtwork() < 0)
        return ArtState::Unknown;
    return song.hasiTunesArtwork() == 1 ? ArtState::HeldByiTunes : ArtState::None;
}

} // namespace

AudioInfoTag* SongCells::tagForDisplay(SongFile& song)
{
    // A file that is gone is not looked for again at every repaint.
    if (!song.hasInfotagCached() && song.activityStatus() == SongActivityStatus::Problem)
        return nullptr;
    return song.infotag();
}

bool SongCells::hasUnreadLibraryTag(SongFile& song)
{
    AudioInfoTag* tag = song.hasInfotagCached() ? song.infotag() : nullptr;
    return tag && tag->isLazy() && !dynamic_cast<CachedInfoTag*>(tag);
}

QString SongCells::displayText(SongFile& song, SongColumn column, int row)
{
    AudioInfoTag* tag = tagForDisplay(song);
    switch (column) {
    case SongColumn::Index: {
        const qint64 index = tag ? tag->playlistIndex() : AudioInfoTag::NotFound;
        return QString::number(index == AudioInfoTag::NotFound ? qint64(row) + 1 : index);
    }
    case SongColumn::Year:
        return tagText(tag, column).left(4);
    case SongColumn::Title:
        // A song whose tag can't be read is at least shown by its file name.
        return tag ? tag->title() : song.filename();
    case SongColumn::Active:
    case SongColumn::Compilation:
    case SongColumn::Lyrics:
    case SongColumn::Art:
        return {};
    default:
        return tagText(tag, column);
    }
}

QString SongCells::editText(SongFile& song, SongColumn column)
{
    return tagText(tagForDisplay(song), column);
}

QString SongCells::iconName(SongFile& song, SongColumn column, bool noiTunesArtwork)
{
    switch (column) {
    case SongColumn::Active:
        switch (song.activityStatus()) {
        case SongActivityStatus::Queued:
            return QStringLiteral("pending");
        case SongActivityStatus::Gathering:
            return QStringLiteral("search");
        case SongActivityStatus::Locked:
            return QStringLiteral("locked");
        case SongActivityStatus::Problem:
            return QStringLiteral("problem");
        default:
            return {};
        }
    case SongColumn::Lyrics: {
        const int level = lyricsLevel(tagForDisplay(song));
        return level == 0 ? QString()
                          : (level == 1 ? QStringLiteral("has_lyrics_few") : QStringLiteral("has_lyrics"));
    }
    case SongColumn::Art:
        switch (artState(song, tagForDisplay(song), noiTunesArtwork)) {
        case ArtState::Unknown:
            return QStringLiteral("iTunesMini-Unknown-Placeholder");
        case ArtState::HeldByiTunes:
            return QStringLiteral("iTunesMini-Artwork-Placeholder");
        default:
            return {};
        }
    default:
        return {};
    }
}

QImage SongCells::artwork(SongFile& song, bool noiTunesArtwork)
{
    AudioInfoTag* tag = tagForDisplay(song);
    if (artState(song, tag, noiTunesArtwork) != ArtState::Embedded)
        return {};
    return tag->imageIconNoLargerThan(QSize(kArtWidth, kArtHeight));
}

QString SongCells::toolTip(SongFile& song, SongColumn column)
{
    switch (column) {
    case SongColumn::Active:
        switch (song.activityStatus()) {
        case SongActivityStatus::Queued:
            return text("ToolTipStatusPending");
        case SongActivityStatus::Gathering:
            return text("ToolTipStatusScanning");
        case SongActivityStatus::Locked:
            return text("ToolTipStatusLocked");
        case SongActivityStatus::Problem:
            return text("ToolTipStatusProblem");
        default:
            return {};
        }
    case SongColumn::Compilation:
        return isCompilation(song) ? text("ToolTipIsCompilation") : text("ToolTipIsNotCompilation");
    case SongColumn::Lyrics:
        return lyricsLevel(tagForDisplay(song)) > 0 ? text("ToolTipHasLyrics") : text("ToolTipNoLyrics");
    case SongColumn::Title:
        return song.path();
    default:
        return {};
    }
}

QString SongCells::accessibleText(SongFile& song, SongColumn column, bool noiTunesArtwork)
{
    switch (column) {
    case SongColumn::Active: {
        const QString tip = toolTip(song, column);
        return tip.isEmpty() ? text("AccessibleStatusIdle") : tip;
    }
    case SongColumn::Compilation:
        return toolTip(song, column);
    case SongColumn::Lyrics: {
        const int level = lyricsLevel(tagForDisplay(song));
        return level == 0 ? text("ToolTipNoLyrics")
                          : (level == 1 ? text("AccessibleFewLyrics") : text("ToolTipHasLyrics"));
    }
    case SongColumn::Art:
        switch (artState(song, tagForDisplay(song), noiTunesArtwork)) {
        case ArtState::Embedded:
            return text("AccessibleArtwork");
        case ArtState::Unknown:
            return text("AccessibleArtworkUnknown");
        case ArtState::HeldByiTunes:
            return text("AccessibleArtworkiTunes");
        default:
            return text("AccessibleNoArtwork");
        }
    default:
        return {};
    }
}

bool SongCells::isCompilation(SongFile& song)
{
    AudioInfoTag* tag = tagForDisplay(song);
    return tag && tag->isPartOfCompilation();
}

bool SongCells::canChangeCompilation(SongFile& song)
{
    const SongActivityStatus status = song.activityStatus();
    return status != SongActivityStatus::Gathering && status != SongActivityStatus::Locked &&
           status != SongActivityStatus::Problem;
}

#include "SongEditor.h"

#include "SongCells.h"
#include "WindowHistory.h"
#include "WindowOperation.h"

#include "history/TagSnapshot.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"

namespace {

// Applies a text to the tag when it differs; empty and absent are equal.
bool setText(AudioInfoTag& tag, SongColumn column, const QString& value)
{
    using Getter = QString (AudioInfoTag::*)() const;
    using Setter = void (AudioInfoTag::*)(const QString&);
    Getter getter = nullptr;
    Setter setter = nullptr;
    switch (column) {
    case SongColumn::Artist:
        getter = &AudioInfoTag::artist, setter = &AudioInfoTag::setArtist;
        break;
    case SongColumn::Title:
        getter = &AudioInfoTag::title, setter = &AudioInfoTag::setTitle;
        break;
    case SongColumn::Album:
        getter = &AudioInfoTag::album, setter = &AudioInfoTag::setAlbum;
        break;
    case SongColumn::Year:
        getter = &AudioInfoTag::year, setter = &AudioInfoTag::setYear;
        break;
    case SongColumn::Genre:
        getter = &AudioInfoTag::genres, setter = &AudioInfoTag::setGenres;
        break;
    case SongColumn::Track:
        getter = &AudioInfoTag::track, setter = &AudioInfoTag::setTrack;
        break;
    case SongColumn::BPM:
        getter = &AudioInfoTag::bpm, setter = &AudioInfoTag::setBPM;
        break;
    default:
        return false;
    }
    const QString old = (tag.*getter)();
    if (old == value || (old.isEmpty() && value.isEmpty()))
        return false;
    (tag.*setter)(value.isEmpty() ? QString() : value);
    return true;
}

} // namespace

SongEditor::SongEditor(WindowHistory& history, QObject* parent) : QObject(parent), mHistory(history) {}

QString SongEditor::refusal(SongFile& song)
{
    const QString name = song.filename();
    switch (song.activityStatus()) {
    case SongActivityStatus::Gathering:
        return LocalizedStrings::format(QStringLiteral("EditBusy"), name);
    case SongActivityStatus::Locked:
        return LocalizedStrings::format(QStringLiteral("EditReadOnly"), name);
    case SongActivityStatus::Problem:
        return LocalizedStrings::format(QStringLiteral("EditDamaged"), name);
    default:
        break;
    }
    song.setAliasFromPath();
    // refresh() finds a moved file, and drops the tag of one changed since
    // it was read: what the user saw is no longer what the file holds.
    if (song.refresh())
        return LocalizedStrings::format(QStringLiteral("EditFileChanged"), name);
    if (song.activityStatus() == SongActivityStatus::Problem)
        return LocalizedStrings::format(QStringLiteral("EditFileGone"), name);
    return {};
}

bool SongEditor::setValue(const std::shared_ptr<SongFile>& song, SongColumn column, const QVariant& value)
{
    if (!song)
        return false;
    const bool textColumn = SongColumns::isEditableText(column);
    if (!textColumn && column != SongColumn::Compilation) {
        WMLog("setObjectValue %@ for %@", value, SongColumns::identifier(column));
        return false;
    }
    // The value shown again (Enter without a change) reads no file.
    if (textColumn) {
        const QString shown = SongCells::editText(*song, column);
        const QString wanted = value.toString();
        if (shown == wanted || (shown.isEmpty() && wanted.isEmpty()))
            return false;
    } else if (SongCells::isCompilation(*song) == value.toBool()) {
        return false;
    }
    const QString refused = refusal(*song);
    if (!refused.isEmpty()) {
        WMLog("Edit of %@ refused: %@", song->path(), refused);
        emit problem(refused);
        return false;
    }
    song->ensureInfotagIsReal();
    AudioInfoTag* tag = song->infotag();
    if (!tag || tag->encounteredProblemDecoding()) {
        const QString reason = LocalizedStrings::format(
            tag ? QStringLiteral("EditDamaged") : QStringLiteral("EditUnreadable"), song->filename());
        emit problem(reason);
        return false;
    }
    song->rememberOriginalValuesForLaterRefresh();
    const TagSnapshot before = TagSnapshot::of(*tag);
    bool changed = false;
    if (textColumn) {
        changed = setText(*tag, column, value.toString());
    } else if (tag->isPartOfCompilation() != value.toBool()) {
        tag->setIsPartOfCompilation(value.toBool());
        changed = true;
    }
    if (!changed || !tag->tagHasBeenModified()) {
        // The file's tag was read only to compare: the cache's summary
        // stands in for it again.
        song->revertToCachedInfotag();
        return false;
    }
    WindowOperation operation(
        mHistory, OperationKind::Edit,
        LocalizedStrings::format(QStringLiteral("HistoryNameEdit"), SongColumns::title(column)),
        {song->path()});
    if (!operation.write(song, before))
        return false;
    operation.finish();
    emit valueChanged(song, column);
    return true;
}

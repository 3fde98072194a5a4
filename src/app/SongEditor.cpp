#include "SongEditor.h"

#include "SongCells.h"
#include "WindowHistory.h"
#include "WindowOperation.h"

#include "run/MainController.h"
#include "run/SongChangeBatch.h"
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
    // The write goes the way of every change the window makes.
    WindowOperation operation(
        mHistory, OperationKind::Edit,
        LocalizedStrings::format(QStringLiteral("HistoryNameEdit"), SongColumns::title(column)),
        {song->path()});
    SongChangeBatch batch(mHistory.controller(), OperationKind::Edit);
    connect(&batch, &SongChangeBatch::problem, this, &SongEditor::problem);
    const QString text = value.toString();
    const bool compilation = value.toBool();
    const SongChangeBatch::Result result = batch.apply(
        {song},
        [column, textColumn, &text, compilation](SongFile&, AudioInfoTag& tag) {
            if (textColumn)
                return setText(tag, column, text);
            if (tag.isPartOfCompilation() == compilation)
                return false;
            tag.setIsPartOfCompilation(compilation);
            return true;
        },
        &operation.recorder());
    if (result.written == 0)
        return false;
    operation.finish();
    emit valueChanged(song, column);
    return true;
}

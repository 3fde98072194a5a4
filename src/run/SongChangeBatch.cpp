#include "SongChangeBatch.h"

#include "MainController.h"
#include "history/HistoryRecorder.h"
#include "history/TagSnapshot.h"
#include "songs/SongFile.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"
#include "tags/AudioInfoTag.h"

#include <QCoreApplication>

#include <optional>

SongChangeBatch::SongChangeBatch(MainController& controller, OperationKind kind, QObject* parent)
    : QObject(parent), mController(controller), mKind(kind)
{}

QString SongChangeBatch::refusal(SongFile& song)
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

SongChangeBatch::Result SongChangeBatch::apply(const SongList& songs, const Change& change,
                                               HistoryRecorder* recorder)
{
    Result result;
    mCancelled = false;
    // What the operation ran on: the song, or the folder holding them all.
    QStringList paths;
    for (const std::shared_ptr<SongFile>& song : songs)
        paths.append(song ? song->path() : QString());
    std::optional<HistoryRecorder> own;
    if (!recorder)
        recorder = &own.emplace(mKind, HistoryRecorder::sourceOfFiles(paths));
    HistoryRecorder& history = *recorder;
    const auto total = qint64(songs.size());
    qint64 done = 0;
    emit progress(0, total);
    for (const std::shared_ptr<SongFile>& song : songs) {
        if (total > 1) {
            // Cancel is pressed between two songs, never inside a write.
            QCoreApplication::processEvents();
            if (mCancelled) {
                result.cancelled = true;
                break;
            }
        }
        QString why;
        if (!song) {
            ++result.unchanged;
        } else if (applyTo(song, change, &why, history)) {
            ++result.written;
        } else if (why.isEmpty()) {
            ++result.unchanged;
        } else {
            result.problems.append(why);
        }
        emit progress(++done, total);
    }
    if (own) {
        own->finish();
        if (!own->problem().isEmpty())
            emit problem(own->problem());
    }
    return result;
}

bool SongChangeBatch::applyTo(const std::shared_ptr<SongFile>& song, const Change& change, QString* why,
                              HistoryRecorder& history)
{
    *why = refusal(*song);
    if (why->isEmpty()) {
        song->ensureInfotagIsReal();
        AudioInfoTag* read = song->infotag();
        if (!read || read->encounteredProblemDecoding())
            *why = LocalizedStrings::format(
                read ? QStringLiteral("EditDamaged") : QStringLiteral("EditUnreadable"), song->filename());
    }
    if (!why->isEmpty()) {
        WMLog("Change of %@ refused: %@", song->path(), *why);
        emit problem(*why);
        return false;
    }
    AudioInfoTag* tag = song->infotag();
    song->rememberOriginalValuesForLaterRefresh();
    const TagSnapshot before = TagSnapshot::of(*tag);
    if (!change(*song, *tag) || !tag->tagHasBeenModified()) {
        // The file's tag was read only to compare: the cache's summary
        // stands in for it again.
        song->revertToCachedInfotag();
        return false;
    }
    QString error;
    const QMetaObject::Connection failed =
        connect(&mController, &MainController::writeFailed, this,
                [&error](const std::shared_ptr<SongFile>&, const QString& reason) { error = reason; });
    const bool written = mController.writeSong(song, before, history);
    disconnect(failed);
    if (!written) {
        // The controller has logged it in red and told the front end.
        *why = LocalizedStrings::format(QStringLiteral("WriteFailedNotice"), song->filename(), error);
        return false;
    }
    return true;
}

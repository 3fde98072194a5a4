#include "HistoryUndo.h"

#include "ChangeHistory.h"
#include "HistoryRecorder.h"
#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileWriteLock.h"

#include <QFileInfo>

#include <algorithm>

bool HistoryUndo::Result::complete() const
{
    return found && std::all_of(files.cbegin(), files.cend(), [](const FileResult& file) {
               return file.outcome == Outcome::Restored || file.outcome == Outcome::WouldRestore ||
                      file.outcome == Outcome::AlreadyRestored;
           });
}

QStringList HistoryUndo::Result::writtenPaths() const
{
    QStringList paths;
    for (const FileResult& file : files) {
        if (file.outcome == Outcome::Restored)
            paths.append(file.path);
    }
    return paths;
}

HistoryUndo::Result HistoryUndo::undo(ChangeHistory& history, qint64 operation, bool dryRun, bool force)
{
    return apply(history, operation, false, dryRun, force);
}

HistoryUndo::Result HistoryUndo::redo(ChangeHistory& history, qint64 operation, bool dryRun, bool force)
{
    return apply(history, operation, true, dryRun, force);
}

HistoryUndo::Result HistoryUndo::apply(ChangeHistory& history, qint64 operation, bool again, bool dryRun,
                                       bool force)
{
    Result result;
    const std::optional<HistoryOperation> entry = history.operation(operation, &result.historyProblem);
    if (!entry)
        return result;
    result.found = true;
    const QList<FileChangeRecord> records = history.filesOf(operation, &result.historyProblem);
    std::optional<HistoryRecorder> recorder;
    if (!dryRun)
        recorder.emplace(again ? OperationKind::Redo : OperationKind::Undo, entry->source, operation,
                         history);
    // An undo's values come from the undo; a redo's from where they first came.
    const ChangeOrigin undoOrigin{ChangeOrigin::Kind::Undo, QString::number(operation)};

    for (const FileChangeRecord& record : records) {
        // What the operation left the file with, and what it is to hold now.
        const TagSnapshot& expected = again ? record.before : record.after;
        const TagSnapshot& wanted = again ? record.after : record.before;
        FileResult file{record.path, Outcome::Failed, {}, {}};
        if (!QFileInfo(record.path).isFile()) {
            file.outcome = Outcome::Vanished;
            result.files.append(file);
            continue;
        }
        // Held from the read to the end of the write, as every writer of ours.
        const FileWriteLock lock = FileWriteLock::acquire(record.path, &file.reason);
        if (!lock.isLocked()) {
            result.files.append(file);
            continue;
        }
        const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(record.path, false);
        if (!tag) {
            file.reason = LocalizedStrings::text(QStringLiteral("UndoUnreadable"));
            result.files.append(file);
            continue;
        }
        const TagSnapshot current = TagSnapshot::of(*tag);
        QList<TagAttribute> changedSince, toWrite;
        for (TagAttribute attribute : record.attributes) {
            if (current.sameValue(wanted, attribute))
                continue;
            toWrite.append(attribute);
            if (!current.sameValue(expected, attribute))
                changedSince.append(attribute);
        }
        if (!changedSince.isEmpty() && !force) {
            file.outcome = Outcome::ChangedSince;
            file.attributes = changedSince;
            result.files.append(file);
            continue;
        }
        file.attributes = toWrite;
        if (toWrite.isEmpty()) {
            file.outcome = Outcome::AlreadyRestored;
        } else if (dryRun) {
            file.outcome = Outcome::WouldRestore;
        } else {
            for (TagAttribute attribute : std::as_const(toWrite))
                wanted.applyTo(*tag, attribute);
            if (tag->modifySongFileAtPath(record.path, &file.reason)) {
                file.outcome = Outcome::Restored;
                recorder->record(
                    again
                        ? FileChangeRecord::between(record.path, current, TagSnapshot::of(*tag), undoOrigin,
                                                    record.origins)
                        : FileChangeRecord::between(record.path, current, TagSnapshot::of(*tag), undoOrigin));
            }
        }
        result.files.append(file);
    }
    if (recorder) {
        recorder->finish();
        result.undoOperation = recorder->operationID();
        if (!recorder->problem().isEmpty())
            result.historyProblem = recorder->problem();
    }
    return result;
}

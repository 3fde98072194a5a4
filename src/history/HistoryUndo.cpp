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

HistoryUndo::Result HistoryUndo::undo(ChangeHistory& history, qint64 operation, bool dryRun, bool force)
{
    Result result;
    const std::optional<HistoryOperation> entry = history.operation(operation, &result.historyProblem);
    if (!entry)
        return result;
    result.found = true;
    const QList<FileChangeRecord> records = history.filesOf(operation, &result.historyProblem);
    std::optional<HistoryRecorder> recorder;
    if (!dryRun)
        recorder.emplace(OperationKind::Undo, entry->source, operation, history);
    const ChangeOrigin origin{ChangeOrigin::Kind::Undo, QString::number(operation)};

    for (const FileChangeRecord& record : records) {
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
        QList<TagAttribute> changedSince, toRestore;
        for (TagAttribute attribute : record.attributes) {
            if (current.sameValue(record.before, attribute))
                continue;
            toRestore.append(attribute);
            if (!current.sameValue(record.after, attribute))
                changedSince.append(attribute);
        }
        if (!changedSince.isEmpty() && !force) {
            file.outcome = Outcome::ChangedSince;
            file.attributes = changedSince;
            result.files.append(file);
            continue;
        }
        file.attributes = toRestore;
        if (toRestore.isEmpty()) {
            file.outcome = Outcome::AlreadyRestored;
        } else if (dryRun) {
            file.outcome = Outcome::WouldRestore;
        } else {
            for (TagAttribute attribute : std::as_const(toRestore))
                record.before.applyTo(*tag, attribute);
            if (tag->modifySongFileAtPath(record.path, &file.reason)) {
                file.outcome = Outcome::Restored;
                recorder->record(FileChangeRecord::between(record.path, current, TagSnapshot::of(*tag), origin));
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

#pragma once

#include "history/ChangeOrigin.h"
#include "history/FileChangeRecord.h"
#include "history/HistoryOperation.h"
#include "history/HistoryRecorder.h"

#include <QString>
#include <QStringList>

#include <memory>

class SongFile;
class TagSnapshot;
class WindowHistory;

// One edit or command of the window as one operation of the change history,
// however many files it writes:
//
//     WindowOperation operation(window.history(), OperationKind::Artwork, {}, paths);
//     for (const auto& song : songs) {
//         const TagSnapshot before = TagSnapshot::of(*song->infotag());
//         ... change the tag ...
//         operation.write(song, before);
//     }
//
// Each file is recorded right after its write. When the operation ends
// (finish(), or the end of its scope) it goes on the undo stack under its
// name ("Edit Year": Edit > Undo Edit Year), and what the history could not
// record is told on the notice bar. Recording never stops a write.
class WindowOperation
{
public:
    // `paths`: the files the command is about to write (they name its
    // source); `name`: what Edit > Undo calls it, "Artwork on Alpha.mp3"
    // (the kind on the source) when empty.
    WindowOperation(WindowHistory& history, OperationKind kind, QString name, const QStringList& paths);
    ~WindowOperation();
    WindowOperation(const WindowOperation&) = delete;
    WindowOperation& operator=(const WindowOperation&) = delete;

    // Writes a song whose tag was changed, through the run's own write (the
    // crash-safe rewrite under the write lock; a failure is told as every
    // failed write), and records what changed since `before`. True when the
    // file was written.
    bool write(const std::shared_ptr<SongFile>& song, const TagSnapshot& before,
               const ChangeOrigin& origin = {});
    // Records a file the command wrote itself (a rebuilt tag).
    void record(const FileChangeRecord& record);
    void finish();
    // The recorder, for the core's batches that write and record songs
    // themselves (SongChangeBatch).
    HistoryRecorder& recorder() { return mRecorder; }

private:
    WindowHistory& mOwner;
    QString mName;
    HistoryRecorder mRecorder;
    bool mFinished = false;
};

#pragma once

#include "history/HistoryOperation.h"
#include "history/HistoryRecorder.h"

#include <QString>
#include <QStringList>

class WindowHistory;

// One edit or command of the window as one operation of the change history,
// however many files it writes:
//
//     WindowOperation operation(window.history(), OperationKind::Artwork, {}, paths);
//     SongChangeBatch(controller, OperationKind::Artwork)
//         .apply(songs, change, &operation.recorder());
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

    void finish();
    // What records the operation's files: the core's SongChangeBatch writes
    // and records each song through it.
    HistoryRecorder& recorder() { return mRecorder; }

private:
    WindowHistory& mOwner;
    QString mName;
    HistoryRecorder mRecorder;
    bool mFinished = false;
};

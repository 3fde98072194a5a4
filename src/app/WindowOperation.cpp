#include "WindowOperation.h"

#include "WindowHistory.h"

#include "run/MainController.h"

#include <utility>

WindowOperation::WindowOperation(WindowHistory& history, OperationKind kind, QString name,
                                 const QStringList& paths)
    : mOwner(history), mName(std::move(name)),
      mRecorder(kind, HistoryRecorder::sourceOfFiles(paths), 0, history.history())
{
    if (mName.isEmpty())
        mName = WindowHistory::nameOf(kind, HistoryRecorder::sourceOfFiles(paths));
}

WindowOperation::~WindowOperation()
{
    finish();
}

bool WindowOperation::write(const std::shared_ptr<SongFile>& song, const TagSnapshot& before,
                            const ChangeOrigin& origin)
{
    return mOwner.controller().writeSong(song, before, mRecorder, origin);
}

void WindowOperation::record(const FileChangeRecord& record)
{
    mRecorder.record(record);
}

void WindowOperation::finish()
{
    if (mFinished)
        return;
    mFinished = true;
    mRecorder.finish();
    if (!mRecorder.problem().isEmpty())
        emit mOwner.notice(mRecorder.problem());
    if (mRecorder.recordedFiles() > 0)
        mOwner.operationDone(mRecorder.operationID(), mName);
}

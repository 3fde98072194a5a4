#include "WindowOperation.h"

#include "WindowHistory.h"

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

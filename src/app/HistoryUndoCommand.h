#pragma once

#include <QUndoCommand>

class WindowHistory;

// One entry of the window's undo stack: an operation of the change history,
// done when it is pushed. undo() takes it back and redo() does it again,
// through the window's history. An entry whose step wrote no file (every
// file left alone, or the operation gone from the history) leaves the stack.
class HistoryUndoCommand : public QUndoCommand
{
public:
    HistoryUndoCommand(WindowHistory& owner, qint64 operation, const QString& name);

    qint64 operation() const { return mOperation; }

    void undo() override;
    void redo() override;

private:
    void step(bool again);

    WindowHistory& mOwner;
    qint64 mOperation;
    bool mPushed = false;
};

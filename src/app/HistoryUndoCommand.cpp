#include "HistoryUndoCommand.h"

#include "WindowHistory.h"

#include "support/LocalizedStrings.h"

#include <algorithm>

HistoryUndoCommand::HistoryUndoCommand(WindowHistory& owner, qint64 operation, const QString& name)
    : mOwner(owner), mOperation(operation)
{
    setText(name);
}

void HistoryUndoCommand::undo()
{
    step(false);
}

void HistoryUndoCommand::redo()
{
    // Pushing an operation that is done already writes nothing.
    if (!mPushed) {
        mPushed = true;
        return;
    }
    step(true);
}

void HistoryUndoCommand::step(bool again)
{
    const QString what = LocalizedStrings::format(
        again ? QStringLiteral("MenuRedoNamed") : QStringLiteral("MenuUndoNamed"), text());
    const HistoryUndo::Result result = mOwner.stackStep(mOperation, again, what);
    const bool wroteAny = std::any_of(result.files.cbegin(), result.files.cend(), [](const auto& file) {
        return file.outcome == HistoryUndo::Outcome::Restored ||
               file.outcome == HistoryUndo::Outcome::AlreadyRestored;
    });
    // Nothing to walk back to: the entry goes (the operation stays listed
    // in the History window).
    if (!wroteAny)
        setObsolete(true);
}

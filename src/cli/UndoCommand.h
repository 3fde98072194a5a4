#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli undo (ID | --last) [--dry-run] [--force]` takes an operation
// of the change history back: every file it changed gets its old values
// through the crash-safe write. A file changed since (by the user or another
// program) is left alone and named, unless --force. The undo is recorded as
// an operation of its own. Exit status 0 when every file was restored (or
// would be), 1 when a file was left alone or failed, 2 for bad arguments or
// an unknown operation.
class UndoCommand
{
public:
    UndoCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};

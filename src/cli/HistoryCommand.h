#pragma once

#include <QStringList>

#include <cstdio>

// `quillbeat-cli history [--json]` lists the operations of the change
// history, newest first; `history ID [--json]` shows each file an operation
// changed, with every attribute's old and new value and where the new value
// came from. Exit status 0, 1 when the history can't be read, 2 for bad
// arguments.
class HistoryCommand
{
public:
    HistoryCommand(QStringList arguments, std::FILE* out, std::FILE* err);
    int run();

private:
    int list(bool json);
    int show(qint64 id, bool json);

    QStringList mArguments;
    std::FILE* mOut;
    std::FILE* mErr;
};

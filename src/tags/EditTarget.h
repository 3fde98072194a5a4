#pragma once

#include "FileEdit.h"
#include "FileIdentity.h"
#include "FileWriteLock.h"
#include "PosixFile.h"

#include <QList>
#include <QString>

#include <optional>

// A file about to take edits, as every write of ours and its rehearsal
// find it first: its write lock held (for as long as this lives), open for
// reading and writing, its state as it is now, and the edits checked to be
// in order and within it. `open` refuses, with the reason in words, a file
// that cannot be locked or opened, one that is no regular file, one that is
// no longer in the state `expected` (when valid) the caller read it in, and
// edits that overlap or fall outside the file.
struct EditTarget
{
    FileWriteLock lock;
    PosixFile file;
    FileIdentity before;

    static std::optional<EditTarget> open(const QString& path, const QList<FileEdit>& edits,
                                          const FileIdentity& expected, QString* errorText);
};

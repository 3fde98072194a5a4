// Rewrite journals as recovery finds them on disk, damaged in any way: read,
// and when valid compared with (and put back into) a scratch file.
#include "tags/PosixFile.h"
#include "tags/RewriteJournal.h"

#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

#include <fcntl.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QTemporaryDir folder;
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString journalPath = folder.filePath(QStringLiteral("slot-0.journal"));
    const QString targetPath = folder.filePath(QStringLiteral("target"));
    for (const QString& path : {journalPath, targetPath}) {
        PosixFile file = PosixFile::open(path, O_RDWR | O_CREAT | O_TRUNC);
        if (!file.isOpen() || !file.writeAt(0, bytes))
            return 0;
    }
    RewriteJournal journal;
    QString reason;
    if (journal.openExisting(journalPath, &reason) == RewriteJournal::OpenResult::Valid) {
        const PosixFile target = PosixFile::open(targetPath, O_RDWR);
        for (int i = 0; i < journal.entries().size(); ++i) {
            journal.compare(i, target);
            journal.restoreInto(i, target, false, &reason);
        }
    }
    journal.abandon();
    return 0;
}

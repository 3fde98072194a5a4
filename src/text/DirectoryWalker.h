#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

// Lists the regular files below a folder.
class DirectoryWalker
{
public:
    // Paths of the regular files below dir, depth-first, folders in name
    // order; hidden files and folders are skipped, symbolic links to folders
    // already visited are not followed again, and the listing stops after
    // maxCount paths. Packages (folders named like "x.app", "x.bundle",
    // "x.pkg") are entered only when enterPackages is true.
    //
    // A name that is not valid UTF-8 has no QString that opens it again
    // (the bad bytes would come back as U+FFFD): such files and folders are
    // not listed, and when `unrepresentable` is given their paths go there as
    // the raw bytes of the file system (at most maxCount of them), so that
    // they can be reported.
    static QStringList recursiveFilePathsInDirectory(const QString& dir, bool enterPackages, int maxCount,
                                                     QList<QByteArray>* unrepresentable = nullptr);
};

#pragma once

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
    static QStringList recursiveFilePathsInDirectory(const QString& dir, bool enterPackages, int maxCount);
};

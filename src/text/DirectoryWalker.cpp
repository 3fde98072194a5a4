#include "DirectoryWalker.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

constexpr int kMaxDepth = 256;

bool isPackage(const QFileInfo& info)
{
    static const QStringList kPackageSuffixes = {
        QStringLiteral("app"),       QStringLiteral("bundle"), QStringLiteral("component"),
        QStringLiteral("framework"), QStringLiteral("kext"),   QStringLiteral("mpkg"),
        QStringLiteral("pkg"),       QStringLiteral("plugin"), QStringLiteral("rtfd")};
    return kPackageSuffixes.contains(info.suffix(), Qt::CaseInsensitive);
}

struct Walk
{
    bool enterPackages = false;
    int maxCount = 0;
    QStringList paths;
    QSet<QString> visitedFolders;

    bool full() const { return paths.size() >= maxCount; }

    void visit(const QString& folder, int depth)
    {
        if (full() || depth > kMaxDepth)
            return;
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || visitedFolders.contains(canonical))
            return;
        visitedFolders.insert(canonical);
        const QFileInfoList entries =
            QDir(folder).entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
        for (const QFileInfo& entry : entries) {
            if (full())
                return;
            if (entry.fileName().startsWith(QLatin1Char('.')))
                continue;
            if (entry.isDir()) {
                if (enterPackages || !isPackage(entry))
                    visit(entry.filePath(), depth + 1);
            } else if (entry.isFile()) {
                paths.append(entry.filePath());
            }
        }
    }
};

} // namespace

QStringList DirectoryWalker::recursiveFilePathsInDirectory(const QString& dir, bool enterPackages,
                                                           int maxCount)
{
    Walk walk;
    walk.enterPackages = enterPackages;
    walk.maxCount = std::max(0, maxCount);
    if (walk.maxCount > 0 && !dir.isEmpty())
        walk.visit(dir, 0);
    return walk.paths;
}

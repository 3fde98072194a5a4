#include "DirectoryWalker.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <vector>

#include <dirent.h>
#include <sys/stat.h>

namespace {

constexpr int kMaxDepth = 256;

bool isPackage(const QString& name)
{
    static const QStringList kPackageSuffixes = {
        QStringLiteral("app"),       QStringLiteral("bundle"), QStringLiteral("component"),
        QStringLiteral("framework"), QStringLiteral("kext"),   QStringLiteral("mpkg"),
        QStringLiteral("pkg"),       QStringLiteral("plugin"), QStringLiteral("rtfd")};
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    return dot > 0 && kPackageSuffixes.contains(name.mid(dot + 1), Qt::CaseInsensitive);
}

// One entry of a folder as the file system names it.
struct Entry
{
    QString name;
    QByteArray raw;
    unsigned char type = DT_UNKNOWN;
};

struct Walk
{
    bool enterPackages = false;
    int maxCount = 0;
    QStringList paths;
    QList<QByteArray>* unrepresentable = nullptr;
    QSet<QString> visitedFolders;

    bool full() const { return paths.size() >= maxCount; }

    void noteUnrepresentable(const QByteArray& rawPath)
    {
        struct stat info = {};
        if (!unrepresentable || unrepresentable->size() >= maxCount ||
            ::stat(rawPath.constData(), &info) != 0)
            return;
        if (S_ISDIR(info.st_mode) || S_ISREG(info.st_mode))
            unrepresentable->append(rawPath);
    }

    void visit(const QString& folder, int depth)
    {
        if (full() || depth > kMaxDepth)
            return;
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || visitedFolders.contains(canonical))
            return;
        visitedFolders.insert(canonical);
        const QDir dir(folder);
        const QByteArray rawFolder = QFile::encodeName(dir.path());

        // Read by hand rather than through QDir, which hands out names that
        // are not UTF-8 already changed.
        std::vector<Entry> entries;
        if (DIR* stream = ::opendir(rawFolder.constData())) {
            while (const dirent* item = ::readdir(stream)) {
                if (item->d_name[0] == '.') // hidden, and "." and ".."
                    continue;
                const QByteArray raw(item->d_name);
                entries.push_back({QFile::decodeName(raw), raw, item->d_type});
            }
            ::closedir(stream);
        }
        std::sort(entries.begin(), entries.end(),
                  [](const Entry& a, const Entry& b) { return a.name < b.name; });

        for (const Entry& entry : entries) {
            if (full())
                return;
            if (QFile::encodeName(entry.name) != entry.raw) {
                noteUnrepresentable(rawFolder + '/' + entry.raw);
                continue;
            }
            const QString path = dir.filePath(entry.name);
            // The file system's own word where it gives one; links and the
            // rest are looked at.
            bool isDir = entry.type == DT_DIR;
            bool isFile = entry.type == DT_REG;
            if (!isDir && !isFile) {
                const QFileInfo info(path);
                isDir = info.isDir();
                isFile = info.isFile();
            }
            if (isDir) {
                if (enterPackages || !isPackage(entry.name))
                    visit(path, depth + 1);
            } else if (isFile) {
                paths.append(path);
            }
        }
    }
};

} // namespace

QStringList DirectoryWalker::recursiveFilePathsInDirectory(const QString& dir, bool enterPackages,
                                                           int maxCount, QList<QByteArray>* unrepresentable)
{
    Walk walk;
    walk.enterPackages = enterPackages;
    walk.maxCount = std::max(0, maxCount);
    walk.unrepresentable = unrepresentable;
    if (walk.maxCount > 0 && !dir.isEmpty())
        walk.visit(dir, 0);
    return walk.paths;
}

#include "FileReference.h"

#include <QDir>
#include <QFile>
#include <QList>
#include <QPair>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <memory>

namespace {

struct DirCloser
{
    void operator()(DIR* dir) const { ::closedir(dir); }
};

QString parentOf(const QString& path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    if (slash <= 0)
        return slash == 0 && path.size() > 1 ? QStringLiteral("/") : QString();
    return path.left(slash);
}

bool isDirectory(const QString& path)
{
    struct stat info = {};
    return ::lstat(QFile::encodeName(path).constData(), &info) == 0 && S_ISDIR(info.st_mode);
}

// True when `folder` is `root` or lies below it.
bool isWithin(const QString& folder, const QString& root)
{
    if (root == QLatin1String("/"))
        return folder.startsWith(QLatin1Char('/'));
    return folder == root || folder.startsWith(root + QLatin1Char('/'));
}

} // namespace

std::optional<FileReference> FileReference::fromPath(const QString& path)
{
    struct stat info = {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISREG(info.st_mode))
        return std::nullopt;
    FileReference reference;
    reference.mDevice = info.st_dev;
    reference.mInode = info.st_ino;
    reference.mLastPath = QDir::cleanPath(QDir(path).absolutePath());
    return reference;
}

QString FileReference::resolve(const QString& searchRoot)
{
    if (mLastPath.isEmpty())
        return QString();
    struct stat info = {};
    const bool exists = ::stat(QFile::encodeName(mLastPath).constData(), &info) == 0 && S_ISREG(info.st_mode);
    if (exists && info.st_dev == mDevice && info.st_ino == mInode)
        return mLastPath;

    const QString root = searchRoot.isEmpty() ? QString() : QDir::cleanPath(searchRoot);
    QString folder = parentOf(mLastPath);
    // The last folder may be gone with the file: start at the nearest folder
    // that still exists.
    int levelsLeft = kLevelsUpWithoutRoot;
    while (!folder.isEmpty() && !isDirectory(folder)) {
        folder = parentOf(folder);
        --levelsLeft;
    }
    const bool rootApplies = !root.isEmpty() && isWithin(folder, root);
    int budget = kMaxEntries;
    QString searched;
    while (!folder.isEmpty() && budget > 0) {
        if (rootApplies ? !isWithin(folder, root) : levelsLeft < 0)
            break;
        const QString found = searchBelow(folder, searched, budget);
        if (!found.isEmpty()) {
            mLastPath = found;
            return found;
        }
        if ((rootApplies && folder == root) || folder == QLatin1String("/"))
            break;
        searched = folder;
        folder = parentOf(folder);
        --levelsLeft;
    }
    return exists ? mLastPath : QString();
}

QString FileReference::searchBelow(const QString& folder, const QString& skip, int& budget) const
{
    QList<QPair<QString, int>> pending = {{folder, 0}};
    while (!pending.isEmpty() && budget > 0) {
        const auto [dirPath, depth] = pending.takeLast();
        const std::unique_ptr<DIR, DirCloser> dir(::opendir(QFile::encodeName(dirPath).constData()));
        if (!dir)
            continue;
        const int fd = ::dirfd(dir.get());
        while (const dirent* entry = ::readdir(dir.get())) {
            const char* name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            if (--budget <= 0)
                return QString();
            struct stat info = {};
            if (::fstatat(fd, name, &info, AT_SYMLINK_NOFOLLOW) != 0)
                continue;
            const QString child = (dirPath == QLatin1String("/") ? QString() : dirPath) + QLatin1Char('/') +
                                  QFile::decodeName(name);
            if (S_ISREG(info.st_mode) && info.st_ino == mInode && info.st_dev == mDevice)
                return child;
            if (S_ISDIR(info.st_mode) && depth < kMaxDepth && child != skip && info.st_dev == mDevice)
                pending.append({child, depth + 1});
        }
    }
    return QString();
}

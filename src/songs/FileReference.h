#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// A reference that finds a file again after it was renamed or moved within
// the song source: the device and inode of the file and the path it was last
// seen at. Resolving answers that path while it still names the same file;
// otherwise the file is looked for by its inode, first in its last folder,
// then in the folders above it up to the search root (or, without one, up to
// two folders above its last folder). The search is bounded in depth and in
// the number of entries it looks at, and follows no symbolic links.
class FileReference
{
public:
    // Bounds of one search.
    static constexpr int kMaxDepth = 8;
    static constexpr int kMaxEntries = 20000;
    static constexpr int kLevelsUpWithoutRoot = 2;

    // The reference of an existing regular file; none otherwise.
    static std::optional<FileReference> fromPath(const QString& path);

    // The file's current path, or an empty string when it can't be found.
    // A found file becomes the reference's last path. When the inode is gone
    // but a file exists at the last path (it was replaced by a save that
    // writes a new file), that path is answered.
    QString resolve(const QString& searchRoot = QString());

    QString lastPath() const { return mLastPath; }
    quint64 device() const { return mDevice; }
    quint64 inode() const { return mInode; }

private:
    // Looks below `folder` (skipping the subtree `skip`) for the inode;
    // `budget` counts down the entries looked at.
    QString searchBelow(const QString& folder, const QString& skip, int& budget) const;

    quint64 mDevice = 0;
    quint64 mInode = 0;
    QString mLastPath;
};

#include "FileAttributes.h"

#include "support/WMLog.h"

#include <QFile>

#include <cerrno>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace {

// The kernel caps one value at 64 KB and a name list at 64 KB; anything
// claiming more is not read.
constexpr ssize_t kMaxListBytes = 64 * 1024;
constexpr ssize_t kMaxValueBytes = 64 * 1024;

QByteArray attributeValue(const QByteArray& file, const char* name)
{
    const ssize_t size = ::getxattr(file.constData(), name, nullptr, 0);
    if (size < 0 || size > kMaxValueBytes)
        return QByteArray();
    QByteArray value(size, '\0');
    const ssize_t read = ::getxattr(file.constData(), name, value.data(), size_t(value.size()));
    if (read < 0)
        return QByteArray();
    value.truncate(read);
    return value;
}

QList<QPair<QByteArray, QByteArray>> extendedAttributesOf(const QByteArray& file)
{
    QList<QPair<QByteArray, QByteArray>> result;
    const ssize_t size = ::listxattr(file.constData(), nullptr, 0);
    if (size <= 0 || size > kMaxListBytes)
        return result;
    QByteArray names(size, '\0');
    const ssize_t read = ::listxattr(file.constData(), names.data(), size_t(names.size()));
    if (read <= 0)
        return result;
    names.truncate(read);
    for (const QByteArray& name : names.split('\0')) {
        if (name.isEmpty())
            continue;
        // Read again by name: the value may be empty, which is a value too.
        if (::getxattr(file.constData(), name.constData(), nullptr, 0) < 0)
            continue;
        result.append({name, attributeValue(file, name.constData())});
    }
    return result;
}

} // namespace

std::optional<FileAttributes> FileAttributes::ofFileAtPath(const QString& path)
{
    const QByteArray file = QFile::encodeName(path);
    struct stat info = {};
    if (path.isEmpty() || ::stat(file.constData(), &info) != 0)
        return std::nullopt;
    FileAttributes attributes;
    attributes.mMode = info.st_mode & 07777;
    attributes.mOwner = info.st_uid;
    attributes.mGroup = info.st_gid;
    attributes.mExtendedAttributes = extendedAttributesOf(file);
    return attributes;
}

bool FileAttributes::restoreToFileAtPath(const QString& path) const
{
    const QByteArray file = QFile::encodeName(path);
    struct stat info = {};
    if (::stat(file.constData(), &info) != 0)
        return false;
    // Owner and group first: changing them may clear the set-id bits, which
    // the permissions then put back.
    if (info.st_uid != mOwner || info.st_gid != mGroup) {
        const uid_t owner = info.st_uid != mOwner ? mOwner : uid_t(-1);
        const gid_t group = info.st_gid != mGroup ? mGroup : gid_t(-1);
        if (::chown(file.constData(), owner, group) != 0 && group != gid_t(-1) && owner != uid_t(-1)) {
            // Not allowed to give the file away: keep at least the group
            // when we are a member of it.
            if (::chown(file.constData(), uid_t(-1), group) != 0)
                errno = 0;
        }
    }
    const bool modeSet = (info.st_mode & 07777) == mMode || ::chmod(file.constData(), mMode) == 0;
    if (!modeSet)
        WMLog("Couldn't restore the permissions %@ of %@", QString::number(mMode, 8), path);
    for (const auto& [name, value] : mExtendedAttributes) {
        if (attributeValue(file, name.constData()) == value &&
            ::getxattr(file.constData(), name.constData(), nullptr, 0) >= 0)
            continue;
        if (::setxattr(file.constData(), name.constData(), value.constData(), size_t(value.size()), 0) != 0)
            WMLog("Couldn't restore the attribute %@ of %@", QString::fromUtf8(name), path);
    }
    return modeSet;
}

QDateTime FileAttributes::modificationDate(const QString& path)
{
    struct stat info = {};
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &info) != 0)
        return QDateTime();
    return modificationDate(info);
}

QDateTime FileAttributes::modificationDate(const struct stat& info)
{
    const qint64 ms = qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000;
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

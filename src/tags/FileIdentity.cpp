#include "FileIdentity.h"

#include <QFile>

#include <sys/stat.h>

FileIdentity FileIdentity::fromStat(const struct stat& st)
{
    FileIdentity identity;
    if (!S_ISREG(st.st_mode))
        return identity;
    identity.device = static_cast<quint64>(st.st_dev);
    identity.inode = static_cast<quint64>(st.st_ino);
    identity.size = static_cast<qint64>(st.st_size);
    identity.mtimeNs = static_cast<qint64>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
    identity.ctimeNs = static_cast<qint64>(st.st_ctim.tv_sec) * 1000000000LL + st.st_ctim.tv_nsec;
    return identity;
}

FileIdentity FileIdentity::of(const QString& path)
{
    struct stat st;
    if (path.isEmpty() || ::stat(QFile::encodeName(path).constData(), &st) != 0)
        return FileIdentity();
    return fromStat(st);
}

FileIdentity FileIdentity::ofDescriptor(int fd)
{
    struct stat st;
    if (fd < 0 || ::fstat(fd, &st) != 0)
        return FileIdentity();
    return fromStat(st);
}

QString FileIdentity::description() const
{
    return QStringLiteral("dev %1 inode %2 size %3 mtime %4ns ctime %5ns")
        .arg(device)
        .arg(inode)
        .arg(size)
        .arg(mtimeNs)
        .arg(ctimeNs);
}

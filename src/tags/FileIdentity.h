#pragma once

#include <QString>
#include <QtGlobal>

struct stat;

// What identifies one state of a file on disk: the device and inode (the
// file itself, whatever its names), its length, and its modification and
// change times in nanoseconds. A writer remembers the identity it read and
// refuses to write when the file has changed since. The change time is what
// makes that sure: every write, truncation and time change moves it to now,
// and no program can set it back, so a file rewritten to the same length
// with its modification time put back still shows as changed.
struct FileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = -1;
    qint64 mtimeNs = 0;
    qint64 ctimeNs = 0;

    bool isValid() const { return size >= 0; }
    bool operator==(const FileIdentity&) const = default;
    // Same file (device and inode), whatever its length and time.
    bool isSameFile(const FileIdentity& other) const
    {
        return isValid() && other.isValid() && device == other.device && inode == other.inode;
    }
    // Same file with the same length and modification time, whatever its
    // change time (which the rewrite journal does not keep).
    bool hasSameContentStamp(const FileIdentity& other) const
    {
        return isSameFile(other) && size == other.size && mtimeNs == other.mtimeNs;
    }

    // The identity of the file at `path` (symbolic links followed); invalid
    // when the file is missing or not a regular file.
    static FileIdentity of(const QString& path);
    // The identity of an open file descriptor.
    static FileIdentity ofDescriptor(int fd);
    // The identity a stat() or fstat() answered; invalid for anything but a
    // regular file.
    static FileIdentity fromStat(const struct stat& st);
    QString description() const;
};

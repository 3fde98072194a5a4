#pragma once

#include <QString>
#include <QtGlobal>

// What identifies one state of a file on disk: the device and inode (the
// file itself, whatever its names), its length and its modification time in
// nanoseconds. A writer remembers the identity it read and refuses to write
// when the file has changed since.
struct FileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = -1;
    qint64 mtimeNs = 0;

    bool isValid() const { return size >= 0; }
    bool operator==(const FileIdentity&) const = default;
    // Same file (device and inode), whatever its length and time.
    bool isSameFile(const FileIdentity& other) const
    {
        return isValid() && other.isValid() && device == other.device && inode == other.inode;
    }

    // The identity of the file at `path` (symbolic links followed); invalid
    // when the file is missing or not a regular file.
    static FileIdentity of(const QString& path);
    // The identity of an open file descriptor.
    static FileIdentity ofDescriptor(int fd);
    QString description() const;
};

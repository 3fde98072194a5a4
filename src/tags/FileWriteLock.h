#pragma once

#include <QString>
#include <QtGlobal>

// The advisory lock that every Quillbeat process holds on a song file while
// it reads the tag it is about to change, compares and rewrites it. A second
// writer waits (a bounded time) until the first is done and then reads what
// the first wrote, so no change is lost between two writers of ours; changes
// made by other programs are caught by the file identity instead.
//
// It is flock() on the file itself: it goes with the file through renames
// and hard links, needs no lock file beside it, and is let go when its
// holder ends, however it ends. Within one process it is re-entrant for the
// thread that holds it (a command holds it around the read and the tag's
// own write takes it again); other threads wait as other processes do.
//
// Names that are not regular files (pipes, sockets, devices, folders) are
// refused without being opened in a way that could block.
class FileWriteLock
{
public:
    FileWriteLock() = default;
    FileWriteLock(FileWriteLock&& other) noexcept;
    FileWriteLock& operator=(FileWriteLock&& other) noexcept;
    FileWriteLock(const FileWriteLock&) = delete;
    FileWriteLock& operator=(const FileWriteLock&) = delete;
    ~FileWriteLock() { release(); }

    // Takes the lock on the file at `path`, waiting at most `timeoutMs`
    // milliseconds for another holder (kDefaultTimeoutMs when negative).
    // Not locked, with a localised reason in `errorText`, when the file is
    // missing, is not a regular file, or stays held for longer than that.
    static FileWriteLock acquire(const QString& path, QString* errorText, int timeoutMs = -1);

    bool isLocked() const { return mLocked; }
    void release();

    static constexpr int kDefaultTimeoutMs = 10000;

private:
    quint64 mDevice = 0;
    quint64 mInode = 0;
    bool mLocked = false;
};

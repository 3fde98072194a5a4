#include "FileWriteLock.h"

#include "FileIdentity.h"
#include "PosixFile.h"
#include "WriteBatch.h"

#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QDeadlineTimer>
#include <QHash>
#include <QMutex>
#include <QPair>
#include <QThread>

#include <cerrno>

#include <sys/file.h>
#include <unistd.h>

namespace {

using Key = QPair<quint64, quint64>; // device, inode

// The locks this process holds: one descriptor per file, however often the
// holding thread has taken it.
struct Holder
{
    int fd = -1;
    int depth = 0;
    Qt::HANDLE thread = nullptr;
};

struct Registry
{
    QMutex mutex;
    QHash<Key, Holder> held;
};

Registry& registry()
{
    static Registry shared;
    return shared;
}

constexpr int kLongestPauseMs = 20;

} // namespace

FileWriteLock::FileWriteLock(FileWriteLock&& other) noexcept
    : mDevice(other.mDevice), mInode(other.mInode), mLocked(other.mLocked)
{
    other.mLocked = false;
}

FileWriteLock& FileWriteLock::operator=(FileWriteLock&& other) noexcept
{
    if (this != &other) {
        release();
        mDevice = other.mDevice;
        mInode = other.mInode;
        mLocked = other.mLocked;
        other.mLocked = false;
    }
    return *this;
}

FileWriteLock FileWriteLock::acquire(const QString& path, QString* errorText, int timeoutMs)
{
    const auto fail = [errorText](const QString& text) {
        if (errorText)
            *errorText = text;
        WMLog("%@", text);
        return FileWriteLock();
    };
    const auto notRegular = [&] {
        return fail(LocalizedStrings::format(QStringLiteral("ErrorNotRegularFile"), path));
    };
    if (PosixFile::isSpecialFile(path))
        return notRegular();
    PosixFile file = PosixFile::openForReading(path);
    if (!file.isOpen()) {
        if (errno == EISDIR || errno == ENODEV)
            return notRegular();
        return fail(
            LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path, PosixFile::lastError()));
    }
    const FileIdentity identity = FileIdentity::ofDescriptor(file.fd());
    const Key key(identity.device, identity.inode);
    const Qt::HANDLE thread = QThread::currentThreadId();

    FileWriteLock lock;
    lock.mDevice = identity.device;
    lock.mInode = identity.inode;
    // A write of this file still waiting in a batch of this thread is made
    // first, so that whoever takes the lock reads what was written.
    WriteBatch::commitWritesOf(identity.device, identity.inode);
    const int waitMs = timeoutMs < 0 ? kDefaultTimeoutMs : timeoutMs;
    QDeadlineTimer deadline(waitMs);
    int pauseMs = 1;
    bool waited = false;
    for (;;) {
        {
            Registry& shared = registry();
            QMutexLocker locker(&shared.mutex);
            const auto held = shared.held.find(key);
            if (held != shared.held.end() && held->thread == thread) {
                ++held->depth;
                lock.mLocked = true;
                return lock;
            }
            if (held == shared.held.end()) {
                const int result = ::flock(file.fd(), LOCK_EX | LOCK_NB);
                if (result == 0 || (errno != EWOULDBLOCK && errno != EINTR)) {
                    // A file system without locks (some network mounts) is
                    // written all the same: the identity check still holds.
                    if (result != 0)
                        WMLog("No write lock on %@ (%@); going on without one", path, PosixFile::lastError());
                    shared.held.insert(key, Holder{file.release(), 1, thread});
                    lock.mLocked = true;
                    break;
                }
            }
        }
        if (!waited) {
            // Never wait while holding the locks of a batch: the writer
            // waited for may be waiting for one of them.
            waited = true;
            WriteBatch::commitBeforeWaiting();
            continue;
        }
        if (deadline.hasExpired())
            return fail(LocalizedStrings::format(QStringLiteral("RewriteErrorBusy"), path,
                                                 qMax(1, (waitMs + 999) / 1000)));
        QThread::msleep(static_cast<unsigned long>(pauseMs));
        pauseMs = qMin(pauseMs * 2, kLongestPauseMs);
    }
    // The name may have been given to another file while this one was
    // waited for; that file is not the one locked.
    if (!FileIdentity::of(path).isSameFile(identity)) {
        lock.release();
        return fail(LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path));
    }
    return lock;
}

void FileWriteLock::release()
{
    if (!mLocked)
        return;
    mLocked = false;
    Registry& shared = registry();
    QMutexLocker locker(&shared.mutex);
    const auto held = shared.held.find(Key(mDevice, mInode));
    if (held == shared.held.end() || --held->depth > 0)
        return;
    // Unlocked explicitly: a child forked but not yet started may share the
    // descriptor for a moment.
    ::flock(held->fd, LOCK_UN);
    ::close(held->fd);
    shared.held.erase(held);
}

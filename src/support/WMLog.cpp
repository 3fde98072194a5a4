#include "WMLog.h"

#include "BundleInfo.h"
#include "LogArchiver.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

struct LogState
{
    std::recursive_mutex lock;
    QString path;
    int fd = -1;
    bool fileIsNew = false;
};

LogState& state()
{
    static LogState s;
    return s;
}

// Remembers the log's folder in the settings (the crash reporter looks for
// the log there). Only a change is written: a command that writes nothing
// else then writes no settings and flushes nothing to disk.
void rememberLogFolder(const QString& folder)
{
    QSettings settings;
    const QString key = QStringLiteral("logDirectory");
    if (settings.value(key).toString() != folder)
        settings.setValue(key, folder);
}

void writeToConsole(const QString& message)
{
    const QByteArray bytes = QStringLiteral("WM> %1\n").arg(message).toUtf8();
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
}

bool writeAll(int fd, const QByteArray& bytes)
{
    const char* p = bytes.constData();
    qsizetype left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, static_cast<size_t>(left));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        p += n;
        left -= n;
    }
    return true;
}

// Opens the log for update; creates its folder and an empty file first when
// there is none. Called under the lock.
void openLog(LogState& s)
{
    const QString path = s.path.isEmpty() ? WMLogLocation() : s.path;
    const QByteArray native = QFile::encodeName(path);
    s.fileIsNew = false;
    if (!QFileInfo::exists(path)) {
        if (!QDir().mkpath(QFileInfo(path).absolutePath()))
            return;
        const int created = ::open(native.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (created < 0)
            return;
        s.fd = created;
        s.fileIsNew = true;
        return;
    }
    s.fd = ::open(native.constData(), O_RDWR | O_CLOEXEC);
    if (s.fd >= 0)
        ::lseek(s.fd, 0, SEEK_END);
}

void closeHandle(LogState& s)
{
    if (s.fd >= 0) {
        ::close(s.fd);
        s.fd = -1;
    }
}

} // namespace

QString WMLogLocation()
{
    LogState& s = state();
    std::lock_guard guard(s.lock);
    if (!s.path.isEmpty())
        return s.path;

    QString appName = BundleInfo::executableName();
    if (appName.isEmpty())
        appName = BundleInfo::identifier();
    const QString fileName =
        QStringLiteral("Log-%1-(%2).txt").arg(BundleInfo::shortVersion(), BundleInfo::version());
    const QStringList folders = QStandardPaths::standardLocations(QStandardPaths::AppDataLocation);
    if (!folders.isEmpty() && !folders.first().isEmpty())
        s.path = folders.first() + QLatin1Char('/') + appName + QLatin1Char('/') + fileName;
    else
        s.path = QDir::homePath() + QStringLiteral("/Library/Application Support/") + appName +
                 QLatin1Char('/') + fileName;

    rememberLogFolder(QFileInfo(s.path).absolutePath());
    return s.path;
}

void WMLogMessage(const QString& message)
{
    LogState& s = state();
    std::lock_guard guard(s.lock);
    try {
        if (s.fd < 0)
            openLog(s);
        if (s.fd >= 0) {
            const QString stamp =
                QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
            QByteArray entry;
            if (!s.fileIsNew)
                entry += '\n';
            s.fileIsNew = false;
            entry += QStringLiteral("[%1] %2").arg(stamp, message).toUtf8();
            if (writeAll(s.fd, entry))
                return;
        }
        writeToConsole(message);
    } catch (const std::exception& e) {
        const QByteArray bytes =
            QStringLiteral("%1 (WMLog exc: %2)\n").arg(message, QString::fromUtf8(e.what())).toUtf8();
        std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stderr);
    }
}

void WMLogFlushFinal(bool pack)
{
    LogState& s = state();
    std::lock_guard guard(s.lock);
    closeHandle(s);
    WMLog("WMLogFlushFinal %d", pack ? 1 : 0);

    const QString path = WMLogLocation();
    if (!pack || !QFileInfo::exists(path))
        return;
    // The text file goes into the archive and is removed: later entries
    // start a new one.
    closeHandle(s);
    QString archive = path;
    const qsizetype dot = archive.lastIndexOf(QLatin1Char('.'));
    archive =
        (dot > archive.lastIndexOf(QLatin1Char('/')) ? archive.left(dot) : archive) + QStringLiteral(".zip");
    QFile::remove(archive);
    LogArchiver::packFile(path, archive);
    QFile::remove(path);
}

void WMLogSetLocation(const QString& path)
{
    LogState& s = state();
    std::lock_guard guard(s.lock);
    closeHandle(s);
    s.path = path;
    s.fileIsNew = false;
    rememberLogFolder(QFileInfo(path).absolutePath());
}

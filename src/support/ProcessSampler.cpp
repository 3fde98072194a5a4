#include "ProcessSampler.h"

#include "WMLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <atomic>

qint64 ProcessSampler::processIdentifierForName(const QString& processName)
{
    if (processName.isEmpty())
        return 0;
    const QDir proc(QStringLiteral("/proc"));
    const QStringList entries = proc.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& entry : entries) {
        bool ok = false;
        const qint64 pid = entry.toLongLong(&ok);
        if (!ok || pid <= 0)
            continue;
        QFile comm(proc.filePath(entry + QStringLiteral("/comm")));
        if (comm.open(QIODevice::ReadOnly) && QString::fromUtf8(comm.readAll()).trimmed() == processName)
            return pid;
        // comm is cut at 15 bytes; the executable's name is not.
        const QString exe = QFileInfo(proc.filePath(entry + QStringLiteral("/exe"))).symLinkTarget();
        if (!exe.isEmpty() && QFileInfo(exe).fileName() == processName)
            return pid;
    }
    return 0;
}

qint64 ProcessSampler::logActivityForProcess(const QString& processName, float seconds)
{
    const qint64 pid = processIdentifierForName(processName);
    if (pid == 0)
        return 0;

    QStringList arguments;
    QString sampler = QStandardPaths::findExecutable(QStringLiteral("eu-stack"));
    if (!sampler.isEmpty()) {
        arguments << QStringLiteral("-p") << QString::number(pid);
    } else {
        sampler = QStandardPaths::findExecutable(QStringLiteral("gdb"));
        if (sampler.isEmpty())
            return 0;
        arguments << QStringLiteral("-batch") << QStringLiteral("-p") << QString::number(pid)
                  << QStringLiteral("-ex") << QStringLiteral("thread apply all bt");
    }

    static std::atomic<long> calls{0};
    const long call = ++calls;
    const double now = static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
    QString temp = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    if (!temp.endsWith(QLatin1Char('/')))
        temp += QLatin1Char('/');
    const QString path = temp + WMFormat::string("activitylog-%ld-%.2f.txt", call, now);

    QProcess process;
    process.setStandardOutputFile(path);
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(sampler, arguments);
    // A stack dump is a snapshot; the duration bounds how long we wait for it.
    const int waitMs = std::max(5000, static_cast<int>(seconds * 1000.0f) + 5000);
    if (!process.waitForFinished(waitMs)) {
        process.kill();
        process.waitForFinished(1000);
    }

    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        const QString text = QString::fromUtf8(file.readAll());
        WMLog("Sample of PID %d:\n%@", pid, text);
    }
    QFile::remove(path);
    return pid;
}

#pragma once

#include <QDateTime>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>

// One crash report as quillbeat-crashreporter saves it: the arguments it was
// started with ("-pidToWatch 1234", "-description ..."), the trace entries
// found at the end of the activity log, and that end of the log itself.
// Everything read from outside is bounded: at most 64 argument pairs of at
// most 64 KB each, and the last 256 KB of the log.
class CrashReport
{
public:
    // The arguments after the program's own name, taken as "-key value" pairs.
    explicit CrashReport(const QStringList& arguments);

    const QList<QPair<QString, QString>>& arguments() const { return mArguments; }
    // The value of the first pair with that key, or a null string.
    QString value(const QString& key) const;
    // The process to wait for ("-pidToWatch"), or 0.
    qint64 pidToWatch() const;
    // Waits until the watched process has ended, at most maxMilliseconds;
    // false when it still runs.
    bool waitForWatchedProcess(int maxMilliseconds) const;
    // The name the report file starts with: the bundle identifier or process
    // name given, reduced to characters safe in a file name.
    QString identifier() const;

    // The report's text.
    QString text(const QString& logPath, const QStringList& logTail, const QDateTime& now) const;
    // Reads the log, writes the report into folder and answers its path, or
    // an empty string and the reason.
    QString save(const QString& folder, const QString& logPath, const QDateTime& now, QString* error) const;

    // "CrashReports" in the application's Application Support folder.
    static QString reportsFolder();
    // The activity log the crashed program wrote: the expected file in the
    // folder remembered under "logDirectory", else the newest log there,
    // else the default location.
    static QString activityLogPath();
    // The last maxLines lines of the file, read from at most its last
    // maxBytes bytes.
    static QStringList tailOfFile(const QString& path, int maxLines, qint64 maxBytes);
    // The lines of the log entries that report a signal or an exception and
    // their traces.
    static QStringList traceLines(const QStringList& logTail);

    static constexpr int kMaxPairs = 64;
    static constexpr qsizetype kMaxValueLength = 64 * 1024;
    static constexpr int kTailLines = 200;
    static constexpr qint64 kTailBytes = 256 * 1024;

private:
    QList<QPair<QString, QString>> mArguments;
};

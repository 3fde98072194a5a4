#include "CrashReport.h"

#include "support/BundleInfo.h"
#include "support/WMLog.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>
#include <QThread>

#include <cerrno>
#include <csignal>

namespace {

constexpr qsizetype kMaxKeyLength = 256;
constexpr int kMaxSameNameReports = 100;

// The start of a log entry: "[2026-01-31 12:00:00.000] ".
const QRegularExpression& entryStart()
{
    static const QRegularExpression re(QStringLiteral(R"(^\[\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}\] )"));
    return re;
}

// Messages of the entries that the signal and exception handlers write.
bool isTraceMessage(QStringView message)
{
    static const QLatin1String kPrefixes[] = {QLatin1String("Signal "),
                                              QLatin1String("An exception of type "),
                                              QLatin1String("Stack Trace: ("),
                                              QLatin1String("Stacktrace ("),
                                              QLatin1String("Exception \""),
                                              QLatin1String("Affected object(s):"),
                                              QLatin1String("Terminated without an exception")};
    for (const QLatin1String& prefix : kPrefixes) {
        if (message.startsWith(prefix))
            return true;
    }
    return false;
}

QString safeFileNamePart(const QString& text)
{
    QString out;
    for (const QChar c : text.left(kMaxKeyLength)) {
        const bool safe = (c >= QLatin1Char('a') && c <= QLatin1Char('z')) ||
                          (c >= QLatin1Char('A') && c <= QLatin1Char('Z')) ||
                          (c >= QLatin1Char('0') && c <= QLatin1Char('9')) || c == QLatin1Char('.') ||
                          c == QLatin1Char('-') || c == QLatin1Char('_');
        out += safe ? c : QLatin1Char('_');
    }
    while (out.startsWith(QLatin1Char('.')))
        out.remove(0, 1);
    return out;
}

bool processExists(qint64 pid)
{
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

} // namespace

CrashReport::CrashReport(const QStringList& arguments)
{
    for (qsizetype i = 0; i < arguments.size() && mArguments.size() < kMaxPairs; i += 2) {
        const QString key = arguments[i].left(kMaxKeyLength);
        const QString value = i + 1 < arguments.size() ? arguments[i + 1].left(kMaxValueLength) : QString();
        mArguments.append({key, value});
    }
}

QString CrashReport::value(const QString& key) const
{
    for (const auto& pair : mArguments) {
        if (pair.first == key)
            return pair.second;
    }
    return QString();
}

qint64 CrashReport::pidToWatch() const
{
    bool ok = false;
    const qint64 pid = value(QStringLiteral("-pidToWatch")).toLongLong(&ok);
    return ok && pid > 0 && pid <= 0x7fffffff ? pid : 0;
}

bool CrashReport::waitForWatchedProcess(int maxMilliseconds) const
{
    const qint64 pid = pidToWatch();
    if (pid == 0)
        return true;
    QElapsedTimer timer;
    timer.start();
    while (processExists(pid)) {
        if (timer.elapsed() >= maxMilliseconds)
            return false;
        QThread::msleep(50);
    }
    return true;
}

QString CrashReport::identifier() const
{
    QString name = safeFileNamePart(value(QStringLiteral("-processBundleIdentifier")));
    if (name.isEmpty())
        name = safeFileNamePart(value(QStringLiteral("-processName")));
    if (name.isEmpty())
        name = BundleInfo::identifier();
    return name;
}

QString CrashReport::text(const QString& logPath, const QStringList& logTail, const QDateTime& now) const
{
    QStringList out;
    out << BundleInfo::executableName() + QStringLiteral(" crash report");
    out << QStringLiteral("Saved: ") + now.toUTC().toString(Qt::ISODate);
    const QString to = value(QStringLiteral("-reportAddr"));
    if (!to.isEmpty())
        out << QStringLiteral("Please send this file to ") + to + QLatin1Char('.');
    out << QString() << QStringLiteral("Arguments:");
    for (const auto& pair : mArguments)
        out << pair.first + QLatin1Char(' ') + pair.second;

    const QString description = value(QStringLiteral("-description"));
    if (!description.isEmpty())
        out << QString() << QStringLiteral("Description:") << description;

    out << QString() << QStringLiteral("Trace:");
    const QStringList traces = traceLines(logTail);
    if (traces.isEmpty())
        out << QStringLiteral("(none in the activity log)");
    else
        out << traces;

    out << QString() << QStringLiteral("Activity log: %1 (last %2 lines)").arg(logPath).arg(logTail.size());
    out << logTail;
    return out.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QString CrashReport::save(const QString& folder, const QString& logPath, const QDateTime& now,
                          QString* error) const
{
    if (!QDir().mkpath(folder)) {
        if (error)
            *error = QStringLiteral("cannot create the folder ") + folder;
        return QString();
    }
    const QString base = folder + QLatin1Char('/') + identifier() + QLatin1Char('-') +
                         now.toUTC().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString path = base + QStringLiteral(".txt");
    for (int n = 2; QFileInfo::exists(path) && n <= kMaxSameNameReports; ++n)
        path = base + QLatin1Char('-') + QString::number(n) + QStringLiteral(".txt");

    const QStringList tail = logPath.isEmpty() ? QStringList() : tailOfFile(logPath, kTailLines, kTailBytes);
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text(logPath, tail, now).toUtf8()) < 0 ||
        !file.commit()) {
        if (error)
            *error = QStringLiteral("cannot write ") + path + QStringLiteral(": ") + file.errorString();
        return QString();
    }
    return path;
}

QString CrashReport::reportsFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
           QStringLiteral("/CrashReports");
}

QString CrashReport::activityLogPath()
{
    const QString folder = QSettings().value(QStringLiteral("logDirectory")).toString();
    if (!folder.isEmpty()) {
        const QString expected =
            folder +
            QStringLiteral("/Log-%1-(%2).txt").arg(BundleInfo::shortVersion(), BundleInfo::version());
        if (QFileInfo::exists(expected))
            return expected;
        const QFileInfoList logs =
            QDir(folder).entryInfoList({QStringLiteral("Log-*.txt")}, QDir::Files, QDir::Time);
        if (!logs.isEmpty())
            return logs.first().absoluteFilePath();
    }
    return WMLogLocation();
}

QStringList CrashReport::tailOfFile(const QString& path, int maxLines, qint64 maxBytes)
{
    QFile file(path);
    if (maxLines <= 0 || maxBytes <= 0 || !file.open(QIODevice::ReadOnly))
        return {};
    const qint64 size = file.size();
    const qint64 start = size > maxBytes ? size - maxBytes : 0;
    if (!file.seek(start))
        return {};
    const QByteArray bytes = file.read(maxBytes);
    QStringList lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    // A line cut by the start of the window is not a whole line.
    if (start > 0 && !lines.isEmpty())
        lines.removeFirst();
    if (lines.size() > maxLines)
        lines = lines.mid(lines.size() - maxLines);
    return lines;
}

QStringList CrashReport::traceLines(const QStringList& logTail)
{
    QStringList out;
    bool inTraceEntry = false;
    for (const QString& line : logTail) {
        const QRegularExpressionMatch start = entryStart().match(line);
        if (start.hasMatch())
            inTraceEntry = isTraceMessage(QStringView(line).mid(start.capturedLength()));
        if (inTraceEntry)
            out.append(line);
    }
    return out;
}

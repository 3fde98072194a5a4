#include "CrashReporterLauncher.h"

#include "BundleInfo.h"
#include "WMExceptionHandler.h"
#include "WMLog.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QProcess>

#include <array>
#include <spawn.h>
#include <string>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace {

const char* const kReporterName = "quillbeat-crashreporter";

// Everything the signal path needs, made in advance. The argument vector
// points into `strings`; the slot after "-pidToWatch" points into `pidText`,
// which is filled at the moment of the crash (a forked copy of the process
// has another identifier).
struct PreparedLaunch
{
    bool ready = false;
    std::string path;
    std::vector<std::string> strings;
    std::array<char*, 32> argv{};
    std::array<char, 24> pidText{};
    int pidSlot = -1;
};

PreparedLaunch& prepared()
{
    static PreparedLaunch p;
    return p;
}

QString& storedPath()
{
    static QString path;
    return path;
}

bool isExecutableFile(const QString& path)
{
    const QFileInfo info(path);
    return !path.isEmpty() && info.isFile() && info.isExecutable();
}

// Decimal text of a number without the C library's formatting.
void formatPid(long pid, std::array<char, 24>& out)
{
    char digits[24];
    int n = 0;
    unsigned long value = pid < 0 ? 0 : static_cast<unsigned long>(pid);
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value > 0 && n < 20);
    for (int i = 0; i < n; ++i)
        out[static_cast<size_t>(i)] = digits[n - 1 - i];
    out[static_cast<size_t>(n)] = '\0';
}

void prepareSignalLaunch(const QString& path)
{
    PreparedLaunch& p = prepared();
    p.ready = false;
    p.strings.clear();
    p.argv.fill(nullptr);
    p.pidSlot = -1;
    if (path.isEmpty())
        return;
    p.path = QFile::encodeName(path).toStdString();
    p.strings.push_back(p.path);
    for (const QString& argument : CrashReporterLauncher::argumentsForSignal(0))
        p.strings.push_back(argument.toStdString());
    if (p.strings.size() + 1 > p.argv.size())
        return;
    for (size_t i = 0; i < p.strings.size(); ++i) {
        p.argv[i] = p.strings[i].data();
        if (p.strings[i] == "-pidToWatch" && i + 1 < p.strings.size())
            p.pidSlot = static_cast<int>(i + 1);
    }
    if (p.pidSlot >= 0)
        p.argv[static_cast<size_t>(p.pidSlot)] = p.pidText.data();
    p.ready = true;
}

} // namespace

QString CrashReporterLauncher::reportAddress()
{
    return QStringLiteral("crashes@wendmark.example");
}

QString CrashReporterLauncher::fromAddress()
{
    return QStringLiteral("quillbeat-user@wendmark.example");
}

QString CrashReporterLauncher::locateReporter()
{
    QStringList candidates;
    const QString fromEnvironment = qEnvironmentVariable("QUILLBEAT_CRASHREPORTER");
    if (!fromEnvironment.isEmpty())
        candidates.append(fromEnvironment);
    if (QCoreApplication::instance())
        candidates.append(QCoreApplication::applicationDirPath() + QLatin1Char('/') +
                          QLatin1String(kReporterName));
#ifdef QB_CRASHREPORTER_BUILD_DIR
    candidates.append(QStringLiteral(QB_CRASHREPORTER_BUILD_DIR "/") + QLatin1String(kReporterName));
#endif
    for (const QString& candidate : candidates) {
        if (isExecutableFile(candidate))
            return candidate;
    }
    return QString();
}

void CrashReporterLauncher::setReporterPath(const QString& path)
{
    const QString resolved = path.isEmpty() ? QString() : QFileInfo(path).canonicalFilePath();
    storedPath() = resolved;
    prepareSignalLaunch(resolved);
}

QString CrashReporterLauncher::reporterPath()
{
    return storedPath();
}

QStringList CrashReporterLauncher::argumentsForException(const QString& description)
{
    return {QStringLiteral("-processName"),
            BundleInfo::executableName(),
            QStringLiteral("-processBundleIdentifier"),
            BundleInfo::identifier(),
            QStringLiteral("-version"),
            BundleInfo::shortVersion(),
            QStringLiteral("-buildnum"),
            BundleInfo::version(),
            QStringLiteral("-company"),
            BundleInfo::organizationName(),
            QStringLiteral("-reportAddr"),
            reportAddress(),
            QStringLiteral("-fromAddr"),
            fromAddress(),
            QStringLiteral("-noCrashLog"),
            QStringLiteral("YES"),
            QStringLiteral("-description"),
            description};
}

QStringList CrashReporterLauncher::argumentsForSignal(qint64 pid)
{
    return {QStringLiteral("-pidToWatch"),
            QString::number(pid),
            QStringLiteral("-processBundleIdentifier"),
            BundleInfo::identifier(),
            QStringLiteral("-version"),
            BundleInfo::version(),
            QStringLiteral("-buildnum"),
            BundleInfo::version(),
            QStringLiteral("-company"),
            BundleInfo::organizationName(),
            QStringLiteral("-reportAddr"),
            reportAddress(),
            QStringLiteral("-fromAddr"),
            fromAddress()};
}

bool CrashReporterLauncher::launchForException(const QString& description)
{
    const QString path = reporterPath();
    if (path.isEmpty()) {
        WMLog("No crash reporter to report the exception with");
        return false;
    }
    const bool started = QProcess::startDetached(path, argumentsForException(description));
    if (!started)
        WMLog("Couldn't start the crash reporter %@", path);
    return started;
}

bool CrashReporterLauncher::launchFromSignalHandler()
{
    PreparedLaunch& p = prepared();
    if (!p.ready)
        return false;
    formatPid(static_cast<long>(::getpid()), p.pidText);
    pid_t child = 0;
    return ::posix_spawn(&child, p.path.c_str(), nullptr, nullptr, p.argv.data(), environ) == 0;
}

void InitializeErrorHandling()
{
    CrashReporterLauncher::setReporterPath(CrashReporterLauncher::locateReporter());
    WMExceptionHandler::install();
}

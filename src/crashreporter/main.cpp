// quillbeat-crashreporter: saves a crash report the user can send. Started by
// the program's signal and exception handlers with a table of "-key value"
// arguments; waits briefly for the crashed process to end, writes the report
// into the Application Support folder and prints where it is.
#include "CrashReport.h"

#include "support/BundleInfo.h"

#include <QCoreApplication>
#include <QDateTime>

#include <cstdio>

namespace {

constexpr int kWaitForCrashedProcessMs = 5000;

void printLine(std::FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace

int main(int argc, char** argv)
{
    // The same organisation and application names as the program, so that the
    // settings and the Application Support folder are the program's own.
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);

    const CrashReport report(app.arguments().mid(1));
    // The crashed process is still writing its last log lines.
    report.waitForWatchedProcess(kWaitForCrashedProcessMs);

    QString error;
    const QString path = report.save(CrashReport::reportsFolder(), CrashReport::activityLogPath(),
                                     QDateTime::currentDateTimeUtc(), &error);
    if (path.isEmpty()) {
        printLine(stderr, QStringLiteral("quillbeat-crashreporter: ") + error);
        return 1;
    }
    printLine(stdout, path);
    printLine(stderr, QStringLiteral("Crash report saved to ") + path);
    return 0;
}

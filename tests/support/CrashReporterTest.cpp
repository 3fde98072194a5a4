#include "TestSupport.h"

#include "crashreporter/CrashReport.h"
#include "support/BundleInfo.h"
#include "support/CrashReporterLauncher.h"

#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

// A log as the handlers leave it: ordinary entries around a signal and its trace.
QByteArray crashLog()
{
    return "[2026-01-02 10:00:00.000] Scanning 12 songs\n"
           "[2026-01-02 10:00:01.000] Signal 11 (SIGSEGV) received \n"
           "[2026-01-02 10:00:01.001] Signal stack trace (11, 7):\n"
           "0x5555  0x6666  0x7777\n"
           "[2026-01-02 10:00:01.002] Stacktrace (7, x86_64):\n"
           "frame one\n"
           "frame two";
}

} // namespace

TEST(CrashReport, ArgumentsArePairsAndBounded)
{
    const CrashReport report({QStringLiteral("-pidToWatch"), QStringLiteral("123"),
                              QStringLiteral("-description"), QStringLiteral("-starts with a dash"),
                              QStringLiteral("-dangling")});
    ASSERT_EQ(report.arguments().size(), 3);
    EXPECT_EQ(report.pidToWatch(), 123);
    EXPECT_EQ(report.value(QStringLiteral("-description")), QStringLiteral("-starts with a dash"));
    EXPECT_TRUE(report.value(QStringLiteral("-dangling")).isEmpty());
    EXPECT_TRUE(report.value(QStringLiteral("-absent")).isNull());

    QStringList many;
    for (int i = 0; i < 500; ++i)
        many << QStringLiteral("-k%1").arg(i) << QString(100000, QLatin1Char('v'));
    const CrashReport bounded(many);
    EXPECT_EQ(bounded.arguments().size(), CrashReport::kMaxPairs);
    EXPECT_EQ(bounded.arguments().first().second.size(), CrashReport::kMaxValueLength);

    EXPECT_EQ(CrashReport({QStringLiteral("-pidToWatch"), QStringLiteral("-5")}).pidToWatch(), 0);
    EXPECT_EQ(CrashReport({QStringLiteral("-pidToWatch"), QStringLiteral("x")}).pidToWatch(), 0);
}

TEST(CrashReport, IdentifierIsSafeInAFileName)
{
    const QString hostile =
        CrashReport({QStringLiteral("-processName"), QStringLiteral("../../etc/pass wd")}).identifier();
    EXPECT_FALSE(hostile.contains(QLatin1Char('/')));
    EXPECT_FALSE(hostile.startsWith(QLatin1Char('.')));
    EXPECT_EQ(CrashReport({}).identifier(), BundleInfo::identifier());
}

TEST(CrashReport, TailAndTraceOfTheLog)
{
    const QString folder = TestSupport::testFolder(QStringLiteral("crash"));
    const QString path = folder + QStringLiteral("/Log.txt");
    QByteArray big;
    for (int i = 0; i < 500; ++i)
        big += "[2026-01-02 09:00:00.000] line " + QByteArray::number(i) + '\n';
    big += crashLog();
    ASSERT_TRUE(TestSupport::writeFile(path, big));

    const QStringList tail = CrashReport::tailOfFile(path, 200, CrashReport::kTailBytes);
    ASSERT_EQ(tail.size(), 200);
    EXPECT_EQ(tail.last(), QStringLiteral("frame two"));
    // A window that starts inside a line drops that partial line.
    const QStringList small = CrashReport::tailOfFile(path, 200, 12);
    ASSERT_FALSE(small.isEmpty());
    EXPECT_EQ(small, QStringList{QStringLiteral("frame two")});
    EXPECT_TRUE(CrashReport::tailOfFile(folder + QStringLiteral("/missing"), 200, 1000).isEmpty());

    const QStringList traces = CrashReport::traceLines(tail);
    EXPECT_EQ(traces, QString::fromUtf8(crashLog()).split(QLatin1Char('\n')).mid(1));
}

TEST(CrashReport, ReporterSavesArgumentsAndTraceAndPrintsWhere)
{
    const QString folder = TestSupport::testFolder(QStringLiteral("crash"));
    const QString logFolder = folder + QStringLiteral("/logs");
    ASSERT_TRUE(TestSupport::writeFile(logFolder + QStringLiteral("/Log-old.txt"), crashLog()));

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), folder);
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder + QStringLiteral("/config"));
    environment.insert(QStringLiteral("XDG_DATA_HOME"), folder + QStringLiteral("/data"));
    {
        QSettings settings(folder + QStringLiteral("/config/Wendmark/Quillbeat.conf"), QSettings::IniFormat);
        settings.setValue(QStringLiteral("logDirectory"), logFolder);
    }

    // A watched process that has already ended is not waited for.
    QProcess ended;
    ended.start(QStringLiteral("/bin/true"));
    ASSERT_TRUE(ended.waitForFinished(30000));
    const qint64 endedPid = ended.processId() > 0 ? ended.processId() : 0;
    QStringList arguments = CrashReporterLauncher::argumentsForException(QStringLiteral("It broke"));
    arguments << QStringLiteral("-pidToWatch") << QString::number(endedPid);

    QProcess reporter, again;
    const auto report = [&](QProcess& process) {
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(QB_CRASHREPORTER_PATH), arguments);
        EXPECT_TRUE(process.waitForFinished(60000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
    };
    const QString printed = report(reporter);
    EXPECT_TRUE(printed.startsWith(folder + QStringLiteral("/data/Wendmark/Quillbeat/CrashReports/") +
                                   BundleInfo::identifier() + QLatin1Char('-')))
        << printed.toStdString();
    EXPECT_TRUE(QString::fromUtf8(reporter.readAllStandardError()).contains(printed));

    const QString saved = QString::fromUtf8(TestSupport::readFile(printed));
    for (qsizetype i = 0; i + 1 < arguments.size(); i += 2)
        EXPECT_TRUE(saved.contains(QLatin1Char('\n') + arguments[i] + QLatin1Char(' ') + arguments[i + 1] +
                                   QLatin1Char('\n')))
            << arguments[i].toStdString();
    for (const QString& part :
         QStringList{QStringLiteral("Please send this file to ") + CrashReporterLauncher::reportAddress(),
                     QStringLiteral("Description:\nIt broke\n"),
                     QStringLiteral("Trace:\n[2026-01-02 10:00:01.000] Signal 11 (SIGSEGV) received"),
                     QStringLiteral("Activity log: ") + logFolder + QStringLiteral("/Log-old.txt")})
        EXPECT_TRUE(saved.contains(part)) << part.toStdString();

    // A second report in the same second gets a name of its own.
    const QString second = report(again);
    EXPECT_NE(second, printed);
    EXPECT_TRUE(QFileInfo::exists(second));
}

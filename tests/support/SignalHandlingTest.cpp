#include "TestSupport.h"

#include "support/BundleInfo.h"
#include "support/CrashReporterLauncher.h"
#include "support/SignalHandling.h"
#include "support/WMLog.h"

#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/mman.h>
#include <unistd.h>

namespace {

class SignalHandlingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFolder = TestSupport::testFolder(QStringLiteral("signals"));
        mLogPath = mFolder + QStringLiteral("/Log.txt");
        WMLogSetLocation(mLogPath);
        SignalHandling::configureToHandleSignals();
    }
    void TearDown() override
    {
        SignalHandling::removeSignalHandlers();
        SignalHandling::setHandlerProbe(nullptr);
        WMLogSetLocation(TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt"));
    }
    QString log() const { return QString::fromUtf8(TestSupport::readFile(mLogPath)); }

    // A shell script that records its arguments, one per line, in "<script>.args".
    QString fakeReporter() const
    {
        const QString path = mFolder + QStringLiteral("/fake-reporter");
        TestSupport::writeFile(path, "#!/bin/sh\nprintf '%s\\n' \"$@\" > \"$0.args.tmp\"\n"
                                     "mv \"$0.args.tmp\" \"$0.args\"\n");
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return path;
    }

    QString mFolder;
    QString mLogPath;
};

// A write to a page that may not be written: a real fault, as a broken pointer
// would cause, that neither sanitizer intercepts first.
void writeToProtectedPage()
{
    void* page = ::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    *static_cast<volatile int*>(page) = 1;
    ::munmap(page, 4096);
}

void raiseFloatingPointSignal(int signal)
{
    if (signal == SIGSEGV)
        std::raise(SIGFPE);
}

} // namespace

TEST_F(SignalHandlingTest, SignalInIgnoreModeReturnsToTheJumpPoint)
{
    volatile bool continued = false;
    EXPECT_FALSE(runIgnoringSignals([&] {
        std::raise(SIGSEGV);
        continued = true;
    }));
    EXPECT_FALSE(continued) << "the work is abandoned at the signal";
    QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("] Signal 11 (SIGSEGV) received AND IGNORED")))
        << text.toStdString();
    const QString tracePrefix =
        QStringLiteral("] Signal stack trace (11, %1):\n0x").arg(BundleInfo::version());
    EXPECT_TRUE(text.contains(tracePrefix)) << text.toStdString();

    // The handler is ready for the next signal, and work without one finishes.
    EXPECT_FALSE(runIgnoringSignals([] { std::raise(SIGFPE); }));
    EXPECT_TRUE(log().contains(QStringLiteral("Signal 8 (SIGFPE) received AND IGNORED")));
    bool ran = false;
    EXPECT_TRUE(runIgnoringSignals([&] { ran = true; }));
    EXPECT_TRUE(ran);
}

TEST_F(SignalHandlingTest, RealFaultInIgnoreModeIsSurvived)
{
    EXPECT_FALSE(runIgnoringSignals(writeToProtectedPage));
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("Signal 11 (SIGSEGV) received AND IGNORED")))
        << text.toStdString();
    // Frames are "%p" texts separated by two blanks.
    const qsizetype traceAt = text.indexOf(QStringLiteral("Signal stack trace (11, "));
    ASSERT_GE(traceAt, 0);
    const QString frames = text.mid(text.indexOf(QLatin1Char('\n'), traceAt) + 1);
    EXPECT_TRUE(frames.startsWith(QStringLiteral("0x")));
    EXPECT_TRUE(frames.contains(QStringLiteral("  0x")));
}

TEST_F(SignalHandlingTest, NestedRisksRestoreTheOuterJumpPoint)
{
    volatile bool innerResult = true;
    volatile bool continued = false;
    const bool outer = runIgnoringSignals([&] {
        innerResult = runIgnoringSignals([] { std::raise(SIGFPE); });
        continued = true;
        std::raise(SIGSEGV);
    });
    EXPECT_FALSE(innerResult);
    EXPECT_TRUE(continued);
    EXPECT_FALSE(outer);
}

TEST_F(SignalHandlingTest, SecondSignalInsideTheHandlerReturnsAtOnce)
{
    SignalHandling::setHandlerProbe(&raiseFloatingPointSignal);
    EXPECT_FALSE(runIgnoringSignals([] { std::raise(SIGSEGV); }));
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("Signal 11 (SIGSEGV) received AND IGNORED")));
    EXPECT_FALSE(text.contains(QStringLiteral("Signal 8"))) << text.toStdString();
    EXPECT_EQ(text.count(QStringLiteral("Signal stack trace")), 1);
}

TEST(SignalNames, TableUsesThisSystemsNumbers)
{
    for (const auto& [signal, name] :
         {std::pair{SIGSEGV, "SIGSEGV"}, std::pair{SIGBUS, "SIGBUS"}, std::pair{SIGSYS, "SIGSYS"},
          std::pair{SIGABRT, "SIGABRT"}, std::pair{SIGINT, "unknown"}})
        EXPECT_STREQ(SignalHandling::signalName(signal), name);
    const std::vector<int> handled = SignalHandling::handledSignals();
    EXPECT_EQ(handled.size(), 9u);
    EXPECT_EQ(std::count(handled.begin(), handled.end(), SIGABRT), 0)
        << "the handler itself ends with an abort";
    EXPECT_EQ(std::count(handled.begin(), handled.end(), SIGINT), 0);
}

TEST_F(SignalHandlingTest, ReporterIsFoundThroughTheEnvironment)
{
    const QString script = fakeReporter();
    qputenv("QUILLBEAT_CRASHREPORTER", QFile::encodeName(script));
    const QString found = CrashReporterLauncher::locateReporter();
    qunsetenv("QUILLBEAT_CRASHREPORTER");
    EXPECT_EQ(QFileInfo(found).canonicalFilePath(), QFileInfo(script).canonicalFilePath());
}

#if defined(__SANITIZE_ADDRESS__)
#define QB_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QB_UNDER_ASAN 1
#endif
#endif

TEST_F(SignalHandlingTest, FatalFaultLogsAndStartsTheReporterBeforeAborting)
{
#ifdef QB_UNDER_ASAN
    GTEST_SKIP() << "AddressSanitizer owns the fault path of a dying process";
#endif
    GTEST_FLAG_SET(death_test_style, "fast");
    const QString script = fakeReporter();
    EXPECT_EXIT(
        {
            CrashReporterLauncher::setReporterPath(script);
            writeToProtectedPage();
        },
        ::testing::KilledBySignal(SIGABRT), "");

    const QString argsPath = script + QStringLiteral(".args");
    for (int i = 0; i < 200 && !QFileInfo::exists(argsPath); ++i)
        QThread::msleep(50);
    const QStringList args = QString::fromUtf8(TestSupport::readFile(argsPath)).split(QLatin1Char('\n'));
    ASSERT_GE(args.size(), 14) << "the reporter was not started";
    EXPECT_EQ(args[0], QStringLiteral("-pidToWatch"));
    EXPECT_GT(args[1].toLongLong(), 0);
    EXPECT_NE(args[1].toLongLong(), static_cast<qint64>(::getpid())) << "the dying child's own identifier";
    EXPECT_EQ(args.mid(2, 12), CrashReporterLauncher::argumentsForSignal(0).mid(2, 12));
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("] Signal 11 (SIGSEGV) received \n["))) << text.toStdString();
    EXPECT_FALSE(text.contains(QStringLiteral("AND IGNORED")));
    EXPECT_TRUE(text.contains(QStringLiteral("Signal stack trace (11, ")));
}

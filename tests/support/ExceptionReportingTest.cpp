#include "TestSupport.h"

#include "support/BundleInfo.h"
#include "support/CrashReporterLauncher.h"
#include "support/EventLoopExceptionGuard.h"
#include "support/WMException.h"
#include "support/WMExceptionDelegate.h"
#include "support/WMExceptionHandler.h"
#include "support/WMLog.h"
#include "support/WMStackTrace.h"

#include <QSettings>

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

namespace {

class ExceptionReportingTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mLogPath = TestSupport::testFolder(QStringLiteral("exceptions")) + QStringLiteral("/Log.txt");
        WMLogSetLocation(mLogPath);
    }
    void TearDown() override
    {
        WMExceptionDelegate::setReportExceptionHandler({});
        QSettings().remove(WMExceptionDelegate::autoReportSettingKey());
        WMLogSetLocation(TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt"));
    }
    QString log() const { return QString::fromUtf8(TestSupport::readFile(mLogPath)); }

    QString mLogPath;
};

[[gnu::noinline]] void makeHere(std::optional<WMException>& slot)
{
    slot.emplace(QStringLiteral("WMTestError"), QStringLiteral("first"));
}

[[gnu::noinline]] void makeThere(std::optional<WMException>& slot)
{
    slot.emplace(QStringLiteral("WMTestError"), QStringLiteral("second"));
}

} // namespace

TEST_F(ExceptionReportingTest, OnlyOwnExceptionsCarryATrace)
{
    EXPECT_EQ(WMStackTrace::stackTrace(std::runtime_error("boom")), QStringLiteral("-"));

    const WMException e(QStringLiteral("WMTestError"), QStringLiteral("boom"));
    EXPECT_STREQ(e.what(), "boom");
    const QStringList all = WMStackTrace::stackTrace(e).split(QLatin1Char('\n'));
    EXPECT_GE(all.size(), 2);
    EXPECT_EQ(static_cast<size_t>(all.size()), e.callStackReturnAddresses().size());
    const QString two = WMStackTrace::stackTraceWithMaxLines(e, 2);
    EXPECT_EQ(two, all.mid(0, 2).join(QLatin1Char('\n')));
    // A copy is the same exception with the same trace.
    const WMException copy = e;
    EXPECT_EQ(WMStackTrace::stackTrace(copy), WMStackTrace::stackTrace(e));
}

TEST_F(ExceptionReportingTest, CacheDoesNotConfuseExceptionsAtTheSameAddress)
{
    std::optional<WMException> slot;
    makeHere(slot);
    const QString first = WMStackTrace::stackTrace(*slot);
    EXPECT_EQ(WMStackTrace::stackTrace(*slot), first);
    makeThere(slot);
    const QString second = WMStackTrace::stackTrace(*slot);
    EXPECT_NE(second, first) << "a new exception in the same place got the old trace";
}

TEST_F(ExceptionReportingTest, LogFormsWithAndWithoutTrace)
{
    WMLogException(std::runtime_error("plain"));
    const WMException e(QStringLiteral("WMTestError"), QStringLiteral("traced"));
    WMLogException(e, 3);
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("] Exception \"std::runtime_error\": plain\n[")))
        << text.toStdString();
    const QString traced = QStringLiteral("] Exception \"WMTestError\": traced\n- Stack trace: (build %1)\n")
                               .arg(BundleInfo::version());
    const qsizetype at = text.indexOf(traced);
    ASSERT_GE(at, 0) << text.toStdString();
    EXPECT_EQ(text.mid(at + traced.size()).split(QLatin1Char('\n')).size(), 3);
}

TEST_F(ExceptionReportingTest, DelegateLetsExceptionsWithoutTraceGo)
{
    int reports = 0;
    WMExceptionDelegate::setReportExceptionHandler([&](const QString&, const QString&) {
        ++reports;
        return true;
    });
    EXPECT_TRUE(WMExceptionDelegate::shouldHandleException(std::logic_error("no trace")));
    EXPECT_EQ(reports, 0);
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("] An exception of type std::logic_error occurred: no trace")));
    EXPECT_TRUE(
        text.contains(QStringLiteral("] Stack Trace: (cpu: %1):\n-").arg(WMStackTrace::processorName())));
}

TEST_F(ExceptionReportingTest, DelegateReportsExceptionsWithTrace)
{
    QString title;
    QString body;
    WMExceptionDelegate::setReportExceptionHandler([&](const QString& t, const QString& b) {
        title = t;
        body = b;
        return true;
    });
    const WMException e(QStringLiteral("WMTestError"), QStringLiteral("broken"),
                        {{WMException::affectedObjectsKey(), QStringLiteral("song.mp3")}});
    EXPECT_FALSE(WMExceptionDelegate::shouldHandleException(e));
    EXPECT_EQ(title, QStringLiteral("Error Encountered"));
    EXPECT_EQ(body, QStringLiteral(
                        "An exception of type WMTestError occurred: broken\nAffected Objects:\nsong.mp3"));

    // Without a window and without the user's consent nothing is started.
    WMExceptionDelegate::setReportExceptionHandler({});
    QSettings().setValue(WMExceptionDelegate::autoReportSettingKey(), false);
    EXPECT_FALSE(WMExceptionDelegate::reportException(title, body));
}

TEST_F(ExceptionReportingTest, EventLoopGuardLogsAndGoesOn)
{
    WMExceptionDelegate::setReportExceptionHandler([](const QString&, const QString&) { return false; });
    EXPECT_TRUE(EventLoopExceptionGuard::deliver([] { return true; }));
    EXPECT_FALSE(EventLoopExceptionGuard::deliver(
        []() -> bool { throw WMException(QStringLiteral("WMTestError"), QStringLiteral("in a slot")); }));
    EXPECT_FALSE(EventLoopExceptionGuard::deliver([]() -> bool { throw 42; }));
    const QString text = log();
    EXPECT_TRUE(text.contains(QStringLiteral("An exception of type WMTestError occurred: in a slot")));
    EXPECT_TRUE(text.contains(QStringLiteral("An exception of type unknown occurred")));
}

TEST_F(ExceptionReportingTest, ExceptionArgumentsFollowTheTable)
{
    const QStringList args = CrashReporterLauncher::argumentsForException(QStringLiteral("what happened"));
    const QStringList keys =
        QStringLiteral("-processName -processBundleIdentifier -version -buildnum -company "
                       "-reportAddr -fromAddr -noCrashLog -description")
            .split(QLatin1Char(' '));
    ASSERT_EQ(args.size(), keys.size() * 2);
    for (qsizetype i = 0; i < keys.size(); ++i)
        EXPECT_EQ(args[i * 2], keys[i]);
    EXPECT_EQ(args[5], BundleInfo::shortVersion());
    EXPECT_EQ(args[15], QStringLiteral("YES"));
    EXPECT_EQ(args[17], QStringLiteral("what happened"));
    // From the signal path the version is the build number, on purpose.
    const QStringList fromSignal = CrashReporterLauncher::argumentsForSignal(42);
    EXPECT_EQ(fromSignal.mid(0, 2), QStringList({QStringLiteral("-pidToWatch"), QStringLiteral("42")}));
    EXPECT_EQ(fromSignal[5], BundleInfo::version());
}

TEST_F(ExceptionReportingTest, UncaughtExceptionIsLoggedBeforeTheAbort)
{
    GTEST_FLAG_SET(death_test_style, "fast");
    EXPECT_EXIT(
        {
            CrashReporterLauncher::setReporterPath(QString());
            WMExceptionHandler::install();
            try {
                throw WMException(QStringLiteral("WMTestError"), QStringLiteral("nobody caught me"));
            } catch (...) {
                std::terminate();
            }
        },
        ::testing::KilledBySignal(SIGABRT), "");
    const QString text = log();
    EXPECT_TRUE(
        text.contains(QStringLiteral("] An exception of type WMTestError occurred: nobody caught me")));
    EXPECT_TRUE(text.contains(QStringLiteral("] Stacktrace (%1, %2):\n")
                                  .arg(BundleInfo::version(), WMStackTrace::processorName())));
}

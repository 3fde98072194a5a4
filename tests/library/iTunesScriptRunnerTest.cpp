#include "ScriptBridgeFixture.h"
#include "TestSupport.h"

#include "library/PropertyListReader.h"
#include "support/WMLog.h"
#include "text/WMCompressionExtensions.h"

#include <QFile>
#include <QRegularExpression>
#include <QVariantMap>

#include <limits>

namespace {

using Runner = iTunesScriptRunner;
using Catalogue = iTunesScriptCatalogue;

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

} // namespace

class ScriptRunnerTest : public ScriptBridgeFixture
{};

TEST_F(ScriptRunnerTest, HangingScriptsAreAbandonedAndKilled)
{
    shortenWaits();
    mFake->hang("marker-hang");
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("-- marker-hang timed"), 0.2f));
    EXPECT_TRUE(logText().contains(QStringLiteral("!!! descFromScript nil (0.2) [timed out]")));
    // Without a time-out the hard cap still ends it.
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- marker-hang untimed")));
    waitForWorkers();
    // The abandoned worker released the channel when its script was killed.
    EXPECT_FALSE(Runner::isLocked());
}

TEST_F(ScriptRunnerTest, LockTimesOutWithoutStartingTheScript)
{
    mFake->answer("marker-lock", "ran\n");
    ASSERT_TRUE(Runner::lock());
    EXPECT_TRUE(Runner::isLocked());
    Runner::setTimeoutSeconds(0.2f);
    EXPECT_FALSE(Runner::lock());
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- marker-lock")));
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("-- marker-lock"), 30.0f));
    EXPECT_EQ(Runner::processStartCount(), starts);
    EXPECT_TRUE(logText().contains(QStringLiteral("[iTunes lock not had] from script -- marker-lock")));
    Runner::unlock();
    EXPECT_EQ(Runner::stringFromScript(QStringLiteral("-- marker-lock")), QStringLiteral("ran"));
    // reset clears a lock that was left behind.
    ASSERT_TRUE(Runner::lock());
    Runner::reset();
    EXPECT_FALSE(Runner::isLocked());
}

TEST_F(ScriptRunnerTest, UnresponsiveiTunesIsNotAskedAgainUntilReset)
{
    shortenWaits();
    mFake->hang("return version as string");
    EXPECT_FALSE(Runner::isiTunesResponsive());
    // The first check still hangs: answered at once, nothing new started.
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(Runner::isiTunesResponsive());
    EXPECT_EQ(Runner::processStartCount(), starts);
    waitForWorkers();

    mFake.reset(); // restores PATH before the next fake extends it
    mFake = std::make_unique<FakeOsascript>(QStringLiteral("responsive-again"));
    mFake->answer("return version as string", "12.1.3\n");
    Runner::setTimings(quickTimings());
    Runner::reset();
    EXPECT_TRUE(Runner::isiTunesResponsive());
    EXPECT_EQ(Runner::versionString(), QStringLiteral("12.1.3"));
    EXPECT_EQ(Runner::iTunesMajorVersion(), 12);
    EXPECT_EQ(mFake->lastScript(), QStringLiteral("tell app \"iTunes\"\rreturn version as string\rend tell"));
}

// The crash guard must have its flag on disk while the platform parser runs,
// so that a crash there leaves it set for the next run.
#include "library/PlistCrashGuard.h"

#include "TestSupport.h"

#include <QRegularExpression>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

const QString kFlag = QStringLiteral("testPlistCrashGuardFlag");

// The flag as the settings file on disk holds it: "true", "false" or absent.
QString flagOnDisk()
{
    const QRegularExpressionMatch line =
        QRegularExpression(QStringLiteral("^") + kFlag + QStringLiteral("=(.*)$"),
                           QRegularExpression::MultilineOption)
            .match(QString::fromUtf8(TestSupport::readFile(QSettings().fileName())));
    return line.hasMatch() ? line.captured(1).trimmed() : QStringLiteral("absent");
}

void setFlag(const QVariant& value)
{
    QSettings settings;
    if (value.isValid())
        settings.setValue(kFlag, value);
    else
        settings.remove(kFlag);
    settings.sync();
}

struct Call
{
    bool trySystemFirst = false;
    QString flagDuringCall;
};

PlistCrashGuard::Reader recorder(Call* call)
{
    return [call](const QByteArray& data, bool trySystemFirst, QString* error) {
        call->trySystemFirst = trySystemFirst;
        call->flagDuringCall = flagOnDisk();
        if (error)
            *error = QStringLiteral("seen");
        return QVariant(QVariantList{QString::fromUtf8(data)});
    };
}

class PlistCrashGuardTest : public ::testing::Test
{
protected:
    void TearDown() override { setFlag(QVariant()); }
};

} // namespace

TEST_F(PlistCrashGuardTest, SetAndClearGuardsThePlatformParse)
{
    setFlag(QVariant());
    Call call;
    QString error;
    const QVariant result =
        PlistCrashGuard::readWithSetAndClear(kFlag, QByteArray("data"), &error, recorder(&call));
    EXPECT_EQ(result.toList(), QVariantList{QStringLiteral("data")});
    EXPECT_EQ(error, QStringLiteral("seen"));
    EXPECT_TRUE(call.trySystemFirst);
    EXPECT_EQ(call.flagDuringCall, QStringLiteral("true"));
    EXPECT_EQ(flagOnDisk(), QStringLiteral("absent"));
}

TEST_F(PlistCrashGuardTest, SetAndClearUsesOurOwnReaderOnceTheFlagSurvived)
{
    setFlag(true);
    Call call;
    PlistCrashGuard::readWithSetAndClear(kFlag, QByteArray("data"), nullptr, recorder(&call));
    EXPECT_FALSE(call.trySystemFirst);
    EXPECT_EQ(flagOnDisk(), QStringLiteral("true"));
}

TEST_F(PlistCrashGuardTest, ToggleStoresTheOppositeDuringTheCall)
{
    setFlag(QVariant());
    Call call;
    PlistCrashGuard::readWithToggle(kFlag, QByteArray("data"), nullptr, recorder(&call));
    EXPECT_TRUE(call.trySystemFirst);
    EXPECT_EQ(call.flagDuringCall, QStringLiteral("true"));
    EXPECT_EQ(flagOnDisk(), QStringLiteral("false"));

    // After a crash the flag stays true: our own reader from then on.
    setFlag(true);
    PlistCrashGuard::readWithToggle(kFlag, QByteArray("data"), nullptr, recorder(&call));
    EXPECT_FALSE(call.trySystemFirst);
    EXPECT_EQ(call.flagDuringCall, QStringLiteral("false"));
    EXPECT_EQ(flagOnDisk(), QStringLiteral("true"));
}

TEST_F(PlistCrashGuardTest, DefaultReaderReadsTheData)
{
    QString error;
    const QVariant result = PlistCrashGuard::readWithSetAndClear(
        kFlag, QByteArray("<plist><array><string>x</string></array></plist>"), &error);
    EXPECT_EQ(result.toList(), QVariantList{QStringLiteral("x")});
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(flagOnDisk(), QStringLiteral("absent"));
}

// The main of every test program: an application object for the event loop,
// a home folder of its own (so settings, caches and standard folders in Qt's
// test locations are private to this process: CTest runs test processes in
// parallel) and the activity log in a scratch folder, so that no test touches
// the user's own files or another test's.
#include "TestSupport.h"

#include "support/BundleInfo.h"
#include "support/WMLog.h"

#include <QCoreApplication>
#include <QDir>
#ifdef QB_TEST_GUI
#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#endif
#include <QFile>
#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    const QString home = TestSupport::scratchFolder() + QStringLiteral("/home");
    QDir().mkpath(home);
    qputenv("HOME", QFile::encodeName(home));
    QStandardPaths::setTestModeEnabled(true);
    BundleInfo::applyToApplication();
#ifdef QB_TEST_GUI
    // Windows are drawn without a screen, the same on every machine.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    const int font =
        QFontDatabase::addApplicationFont(QStringLiteral("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"));
    if (font >= 0) {
        QFont pinned(QFontDatabase::applicationFontFamilies(font).value(0));
        pinned.setPixelSize(12);
        QApplication::setFont(pinned);
    }
#else
    QCoreApplication app(argc, argv);
#endif
    WMLogSetLocation(TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// The main of every test program: an application object for the event loop,
// standard folders in Qt's test locations and the activity log in a scratch
// folder, so that no test touches the user's own files.
#include "TestSupport.h"

#include "support/BundleInfo.h"
#include "support/WMLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    WMLogSetLocation(TestSupport::scratchFolder() + QStringLiteral("/log/Log-test.txt"));
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

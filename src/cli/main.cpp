// quillbeat-cli: the command-line front end.
#include "CommandLine.h"

#include "support/BundleInfo.h"
#include "tags/SafeFileRewriter.h"

#include <QCoreApplication>
#include <QLoggingCategory>

int main(int argc, char** argv)
{
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    // Damaged pictures inside tags are reported by our own output, not by
    // the image decoders' warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false"));
    // Undo any tag write that a crash or power loss interrupted.
    SafeFileRewriter::recoverInterruptedWrites();
    return CommandLine(app.arguments()).run();
}

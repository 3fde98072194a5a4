// quillbeat-cli: the command-line front end.
#include "CommandLine.h"

#include "support/BundleInfo.h"
#include "tags/SafeFileRewriter.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    // Undo any tag write that a crash or power loss interrupted.
    SafeFileRewriter::recoverInterruptedWrites();
    return CommandLine(app.arguments()).run();
}

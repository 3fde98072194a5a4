// quillbeat-cli: the command-line front end.
#include "CommandLine.h"

#include "support/BundleInfo.h"

#include <QCoreApplication>

int main(int argc, char** argv)
{
    BundleInfo::applyToApplication();
    QCoreApplication app(argc, argv);
    return CommandLine(app.arguments()).run();
}

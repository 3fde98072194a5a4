// quillbeat-cli-docs: writes the manual page or the bash completion of
// quillbeat-cli, both made from its command table, for the build to install.
//
//   quillbeat-cli-docs man FILE
//   quillbeat-cli-docs completion FILE
#include "CommandHelp.h"

#include <QCoreApplication>
#include <QFile>
#include <QSaveFile>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3 ||
        (args.at(1) != QLatin1String("man") && args.at(1) != QLatin1String("completion"))) {
        std::fputs("usage: quillbeat-cli-docs (man | completion) FILE\n", stderr);
        return 2;
    }
    const QString text =
        args.at(1) == QLatin1String("man") ? CommandHelp::manPage() : CommandHelp::bashCompletion();
    QSaveFile file(args.at(2));
    if (!file.open(QIODevice::WriteOnly) || file.write(text.toUtf8()) < 0 || !file.commit()) {
        std::fprintf(stderr, "quillbeat-cli-docs: %s: %s\n", qPrintable(args.at(2)),
                     qPrintable(file.errorString()));
        return 1;
    }
    return 0;
}

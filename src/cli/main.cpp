// quillbeat-cli: the command-line front end.
#include "CommandLine.h"

#include "support/BundleInfo.h"
#include "support/CrashReporterLauncher.h"
#include "support/ExceptionCatchingApplication.h"
#include "support/SignalHandling.h"
#include "support/WMLog.h"
#include "tags/SafeFileRewriter.h"

#include <QCoreApplication>
#include <QLoggingCategory>

#include <csignal>
#include <cstdlib>

namespace {

// Qt's own warnings (an odd colour profile in a cover, a plugin that is
// missing) are details for the activity log, not lines in the middle of a
// command's output.
void logQtMessage(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    WMLog("Qt %@: %@", context.category ? context.category : "default", message);
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

int main(int argc, char** argv)
{
    // Before the application object may take its own options out.
    QList<QByteArray> rawArguments;
    for (int i = 0; i < argc; ++i)
        rawArguments.append(QByteArray(argv[i]));
    BundleInfo::applyToApplication();
    qInstallMessageHandler(logQtMessage);
    CatchingCoreApplication app(argc, argv);
    // Fatal signals and uncaught exceptions end in the log and a crash report.
    // SIGINT is not among them: it stays free for stopping a run.
    InitializeErrorHandling();
    ConfigureToHandleSignals();
    // A closed pipe (`quillbeat-cli tags ... | head`) is no crash: writes
    // then simply fail.
    std::signal(SIGPIPE, SIG_IGN);
    // Damaged pictures inside tags are reported by our own output, not by
    // the image decoders' warnings.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false"));
    // Undo any tag write that a crash or power loss interrupted.
    SafeFileRewriter::recoverInterruptedWrites();
    CommandLine commandLine(app.arguments());
    commandLine.setRawArguments(rawArguments);
    return commandLine.run();
}

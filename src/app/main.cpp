// quillbeat: the desktop window.
#include "AppIcons.h"
#include "MainWindow.h"
#include "NoticeBar.h"
#include "ReportExceptionDialog.h"

#include "cli/ArgumentParser.h"
#include "cli/CliOutput.h"
#include "cli/CommandTable.h"
#include "cli/SongSourceOptions.h"
#include "run/PrefsController.h"
#include "support/BundleInfo.h"
#include "support/CrashReporterLauncher.h"
#include "support/ExceptionCatchingApplication.h"
#include "support/LocalizedStrings.h"
#include "support/SignalHandling.h"
#include "support/WMLog.h"
#include "tags/SafeFileRewriter.h"

#include <QApplication>
#include <QLoggingCategory>
#include <QTimer>

#include <cstdio>

int main(int argc, char** argv)
{
    BundleInfo::applyToApplication();
    ExceptionCatchingApplication<QApplication> app(argc, argv);
    QApplication::setWindowIcon(AppIcons::applicationIcon());
    QGuiApplication::setDesktopFileName(BundleInfo::identifier());

    SongSourceOptions source;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.contains(QLatin1String("--version"))) {
        CliOutput::print(stdout, QStringLiteral("quillbeat ") + BundleInfo::shortVersion() + QStringLiteral(" (") +
                                     BundleInfo::version() + QStringLiteral(")\n"));
        return 0;
    }
    const ArgumentParser::Result parsed = ArgumentParser::parse(CommandTable::windowSpec(), arguments);
    if (parsed.helpRequested) {
        CliOutput::print(stdout, LocalizedStrings::text(QStringLiteral("AppUsage")) + QLatin1Char('\n'));
        return 0;
    }
    if (!parsed.arguments) {
        CliOutput::print(stderr, parsed.error + QLatin1Char('\n') +
                                     LocalizedStrings::text(QStringLiteral("AppUsage")) + QLatin1Char('\n'));
        return 2;
    }
    source.take(*parsed.arguments);

    // Fatal signals and uncaught exceptions end in the log and a crash
    // report; an exception that reaches the event loop is offered for a
    // report in our dialog.
    InitializeErrorHandling();
    ConfigureToHandleSignals();
    ReportExceptionDialog::install();
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false"));
    // Undo any tag write that a crash or power loss interrupted.
    const int restored = SafeFileRewriter::recoverInterruptedWrites();
    PrefsController::sharedInstance().applyTagWritingSettings();

    MainWindow window;
    QObject::connect(&window, &MainWindow::quitRequested, &app, &QCoreApplication::quit);
    window.show();
    if (restored > 0)
        window.noticeBar()->showNotice(
            LocalizedStrings::format(QStringLiteral("WritesRestoredNotice"), restored));
    QTimer::singleShot(0, &window, [&window, source] { window.openStartSource(source); });
    const int status = QApplication::exec();
    // The window's choices and the song cache are written, the log packed.
    window.shutDown();
    WMLog("Quitting");
    WMLogFlushFinal(true);
    return status;
}

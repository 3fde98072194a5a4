#pragma once

#include <QString>
#include <QStringList>

// Finds and starts quillbeat-crashreporter, our small program that saves a
// crash report the user can send. It is started with a table of arguments
// ("-processName", "-pidToWatch", ...); two columns of that table exist: one
// when the user asks to report an exception, one from the fatal-signal path.
class CrashReporterLauncher
{
public:
    // Where reports are meant to be mailed, and the placeholder sender.
    static QString reportAddress();
    static QString fromAddress();

    // The reporter to use: the file named by QUILLBEAT_CRASHREPORTER, or
    // quillbeat-crashreporter next to the running program, or the one in the
    // build tree. Empty when there is none.
    static QString locateReporter();
    // Keeps the reporter's path (symbolic links resolved; empty forgets it)
    // and prepares what the signal path needs to start it without building
    // anything at the moment of the crash.
    static void setReporterPath(const QString& path);
    static QString reporterPath();

    // "-processName", "-processBundleIdentifier", "-version" (short version),
    // "-buildnum", "-company", "-reportAddr", "-fromAddr", "-noCrashLog" YES,
    // "-description".
    static QStringList argumentsForException(const QString& description);
    // "-pidToWatch", "-processBundleIdentifier", "-version" (the build
    // number, on purpose), "-buildnum", "-company", "-reportAddr", "-fromAddr".
    static QStringList argumentsForSignal(qint64 pid);

    // Starts the reporter detached with the exception column; false when
    // there is no reporter or it could not be started.
    static bool launchForException(const QString& description);
    // Starts the reporter with the signal column for this process, using only
    // what setReporterPath() prepared (no allocation, no locks). For signal
    // handlers and the last moments before an abort.
    static bool launchFromSignalHandler();
};

// Start-up of exception and signal handling: finds the crash reporter and
// installs the handler for uncaught exceptions. Signals are installed
// separately by ConfigureToHandleSignals().
void InitializeErrorHandling();

#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// The scripting channel to iTunes: runs AppleScript source through
// `osascript` (found on PATH at each call), one script at a time among the
// program's own callers, with or without a time-out, and answers whether
// iTunes is installed, running and answering. Where there is no `osascript`
// nothing is started and every answer is none, 0 or false at once.
// Class operations only; the state is process-wide and safe to touch from
// any thread.
class iTunesScriptRunner
{
public:
    // The result of a script: the text it printed. Its integer value is the
    // text's leading integer (0 when it does not begin with one).
    struct Descriptor
    {
        QString stringValue;
        int intValue() const;
    };

    // Waits and poll intervals, in seconds. The defaults are the program's;
    // tests shorten them so that nothing sleeps through a real wait.
    struct Timings
    {
        double lockPollSeconds = 0.25;
        double scriptPollSeconds = 0.1;
        double responsiveWaitSeconds = 8.0;
        double responsivePollSeconds = 0.25;
        // No osascript may run longer than this, time-out or not; it is
        // killed then, so that no thread waits forever.
        double hardCapSeconds = 120.0;
    };

    // The cooperative busy mark of the channel. `lock` waits (polling) up to
    // the lock time-out for it to clear, then takes it; false when it did not.
    static bool lock();
    static void unlock();
    static bool isLocked();
    static void setTimeoutSeconds(float seconds);
    static float timeoutSeconds();
    // Clears the lock and forgets the running and response states.
    static void reset();

    static bool isiTunesInstalled();
    // Cached; asked of the system only on macOS (false elsewhere).
    static bool isiTunesRunning();
    static void resetIsiTunesRunning();
    // Asks for the version on a worker thread and waits for it a bounded
    // time. While an earlier check still hangs, answers false at once
    // without starting another one, until `reset`.
    static bool isiTunesResponsive();
    static std::optional<QString> versionString();
    static int iTunesMajorVersion();

    // Runs the source. With a positive time-out the script runs on a detached
    // worker thread and is abandoned (not stopped) when it takes longer; with
    // none it runs on the caller's thread. Failures are logged and give none.
    static std::optional<Descriptor> descFromScript(const QString& source, float timeoutSeconds);
    static std::optional<QString> stringFromScript(const QString& source);
    static int intFromScript(const QString& source);

    // Runs a helper tool (such as the script compiler) under the hard cap;
    // false with an error text when it could not run or failed.
    static bool runTool(const QString& program, const QStringList& arguments, QString* error);

    // The `osascript` to use, or an empty string.
    static QString osascriptPath();

    // For tests: the timings, the number of processes started so far and
    // the number of worker threads still running.
    static Timings timings();
    static void setTimings(const Timings& timings);
    static int processStartCount();
    static int activeWorkerCount();
};

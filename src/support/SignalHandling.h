#pragma once

#include <csignal>
#include <functional>
#include <vector>

// Fatal signals: SIGBUS, SIGFPE, SIGILL, SIGPIPE, SIGSEGV, SIGSYS, SIGTERM,
// SIGTRAP and SIGQUIT are caught, logged with a raw backtrace and handed to
// the crash reporter before the process aborts. SIGABRT is named but not
// caught (the handler ends with an abort itself); SIGINT is left alone.
//
// Risky work may instead ask to survive a signal: inside runIgnoringSignals()
// a signal is logged "AND IGNORED" and the work is abandoned by a jump back
// to where it started. The jump does not run the destructors of the
// abandoned frames, so such work should hold nothing that needs cleaning up.
class SignalHandling
{
public:
    // Installs mySignalHandler with extended signal information, restart of
    // interrupted calls and an empty mask. Safe to call again.
    static void configureToHandleSignals();
    // Puts back the actions that were in place before configureToHandleSignals().
    static void removeSignalHandlers();
    static std::vector<int> handledSignals();

    // The handler. Returns at once when it is already running (a second
    // signal during handling); a second synchronous fault of the handler
    // itself gets the default action instead of faulting forever.
    static void mySignalHandler(int signal, siginfo_t* info, void* context);

    // Runs work; answers false when a signal was caught while it ran (the
    // work was abandoned there), true when it finished. Per thread: a signal
    // on another thread is not ignored. May be nested. Exceptions thrown by
    // the work pass through.
    static bool runIgnoringSignals(const std::function<void()>& work);

    // "SIGSEGV" and so on, or "unknown".
    static const char* signalName(int signal);

    // Called inside the handler after its first log line; tests use it to
    // raise a second signal there. Null by default.
    static void setHandlerProbe(void (*probe)(int signal));
};

void ConfigureToHandleSignals();
void MySignalHandler(int signal, siginfo_t* info, void* context);
bool runIgnoringSignals(const std::function<void()>& work);

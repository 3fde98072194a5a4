#pragma once

#include <QString>
#include <QVariant>

#include <exception>

// The last words of a process ended by an exception nobody caught: the
// settings are written to disk, the exception and its trace logged, the crash
// reporter started, and the process aborted.
class WMExceptionHandler
{
public:
    // Installs the handler with std::set_terminate.
    static void install();

    // Writes the settings to disk and logs the exception ("An exception of
    // type ... occurred", "Stacktrace (build, cpu): ..."); e may be null for
    // something thrown that is not a std::exception.
    static void logUncaughtException(const std::exception* e);

private:
    [[noreturn]] static void terminateHandler();
};

#pragma once

#include "WMFormat.h"

#include <QString>

// The activity log: one append-only text file per installed version,
// "Log-<version>-(<build>).txt" in the application's folder under the
// Application Support location. Entries are "[date] message", separated by a
// newline written in front of each entry. Safe to call from any thread.

// Full path of the log file (computed once per process).
QString WMLogLocation();

// Writes one entry. Never fails towards the caller: when the file cannot be
// written the entry goes to standard error as "WM> message".
void WMLogMessage(const QString& message);

// printf-like: WMLog("Couldn't unarchive %@", path). %@ prints any object.
template <typename... Args> void WMLog(const char* format, const Args&... args)
{
    WMLogMessage(WMFormat::string(format, args...));
}

// Closes the log at quit; with pack true the file is packed into a zip
// archive beside it ("Log-...zip") and the text file is removed.
void WMLogFlushFinal(bool pack);

// Points the log at another file and forgets the open handle, as a new run
// of the program would. For tests and tools.
void WMLogSetLocation(const QString& path);

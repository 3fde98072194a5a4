#pragma once

#include <QString>

// Class operations shared across the program. Each forwards to the small
// class that does the work, so that callers have one place to look.
class WMUtility
{
public:
    // Samples the running process with that name into the activity log for
    // about `seconds`; answers its process identifier, or 0 when there is no
    // such process or no sampler (gdb, eu-stack) is installed.
    static qint64 logActivityForProcess(const QString& processName, float seconds);
};

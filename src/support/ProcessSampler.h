#pragma once

#include <QString>

// Samples another running process (its threads' stacks) into the activity
// log, with gdb or eu-stack when one of them is installed.
class ProcessSampler
{
public:
    static qint64 logActivityForProcess(const QString& processName, float seconds);
    // The identifier of a running process with that name (as /proc shows it
    // in comm, or as the base name of its executable), or 0.
    static qint64 processIdentifierForName(const QString& processName);
};

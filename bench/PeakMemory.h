#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

// The process's peak resident memory in kilobytes ("VmHWM" of
// /proc/self/status), or -1 where that is not known.
inline long peakResidentKB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

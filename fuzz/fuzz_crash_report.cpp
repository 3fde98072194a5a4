// The crash reporter's readers of outside data: its argument table (NUL
// separated here) and the end of an activity log, from which it picks the
// trace entries and builds the report text.
#include "crashreporter/CrashReport.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    QStringList arguments;
    for (const QByteArray& part : bytes.split('\0'))
        arguments.append(QString::fromUtf8(part));
    const CrashReport report(arguments);
    if (report.arguments().size() > CrashReport::kMaxPairs)
        std::abort();
    report.pidToWatch();
    if (report.identifier().contains(QLatin1Char('/')))
        std::abort();

    const QStringList lines = QString::fromUtf8(bytes).split(QLatin1Char('\n'));
    const QStringList traces = CrashReport::traceLines(lines);
    if (traces.size() > lines.size())
        std::abort();
    report.text(QStringLiteral("/tmp/Log.txt"), lines, QDateTime::fromSecsSinceEpoch(0));
    return 0;
}

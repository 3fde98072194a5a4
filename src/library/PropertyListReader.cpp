#include "PropertyListReader.h"

#include "ManualPlistParser.h"
#include "SystemPlistParser.h"
#include "WMHumanValueToString.h"
#include "support/WMLog.h"

#include <QElapsedTimer>

#include <algorithm>

namespace {

// Buffers from this size on are logged with their size in short form.
constexpr qsizetype kShortFormSize = 100000;

double elapsedSeconds(const QElapsedTimer& timer)
{
    // Never zero, so that the speed stays a finite number.
    return std::max(static_cast<double>(timer.nsecsElapsed()) / 1e9, 1e-6);
}

} // namespace

QVariant PropertyListReader::mutablePropertyListFromData(const QByteArray& data, bool trySystemFirst,
                                                         QString* errorDescription)
{
    const qsizetype length = data.size();
    if (length < 6)
        return {};
    // Small lists (settings, resources, answers) are read all the time: only
    // large ones (library exports) and failures are worth a line of the log.
    const bool large = length >= kShortFormSize;
    if (large)
        WMLog("[mutPListFrom] %ld bytes (%@B) sysFirst:%d", length,
              WMHumanValueToString(static_cast<double>(length)), trySystemFirst);
    QElapsedTimer timer;
    timer.start();

    // What the caller brings in the error place counts as an earlier failure
    // of the platform parser.
    QString systemError = errorDescription ? *errorDescription : QString();
    const bool binary = data.startsWith("bplist");
    if (trySystemFirst || binary) {
        QString error;
        const QVariant tree = SystemPlistParser::parse(data, &error);
        if (tree.isValid() && error.isEmpty()) {
            const double seconds = elapsedSeconds(timer);
            if (large)
                WMLog("[mutPListFrom] sys fin %@bytes/sec (%@ secs)",
                      WMHumanValueToString(static_cast<double>(length) / seconds),
                      WMHumanValueToString(seconds));
            return tree;
        }
        systemError = error;
        if (errorDescription)
            *errorDescription = error;
        // Our own reader knows only the XML form.
        if (binary) {
            WMLog("mutPlistFrom failure \"%@\"", error);
            return {};
        }
    }

    const ManualPlistParser::Result manual = ManualPlistParser::parse(data);
    if (!manual.error.isEmpty()) {
        if (errorDescription) {
            *errorDescription = systemError.isEmpty()
                                    ? manual.error
                                    : WMFormat::string("%@ (manual: %@)", systemError, manual.error);
            WMLog("mutPlistFrom failure \"%@\"", *errorDescription);
        }
    } else if (!systemError.isEmpty()) {
        WMLog("mutPlistFrom manual success after sys fail \"%@\"", systemError);
        if (errorDescription)
            *errorDescription = QString();
    }

    const double seconds = elapsedSeconds(timer);
    if (large || manual.utf8Errors > 0)
        WMLog("[mutPListFrom] fin %@bytes/sec (%.2f secs, %ld values, %ld UTF8 errors)",
              WMHumanValueToString(static_cast<double>(length) / seconds), seconds, manual.values,
              manual.utf8Errors);
    return manual.root;
}

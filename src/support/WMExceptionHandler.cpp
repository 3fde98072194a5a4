#include "WMExceptionHandler.h"

#include "BundleInfo.h"
#include "CrashReporterLauncher.h"
#include "WMException.h"
#include "WMLog.h"
#include "WMStackTrace.h"

#include <QSettings>

#include <atomic>
#include <cstdlib>

void WMExceptionHandler::install()
{
    std::set_terminate(&WMExceptionHandler::terminateHandler);
}

void WMExceptionHandler::logUncaughtException(const std::exception* e)
{
    QSettings().sync();
    if (const auto* own = dynamic_cast<const WMException*>(e)) {
        const QVariant affected = own->userInfo().value(WMException::affectedObjectsKey());
        if (affected.isValid())
            WMLog("Affected object(s):\n%@", affected);
    }
    const QString name = e ? WMStackTrace::exceptionName(*e) : QStringLiteral("unknown");
    const QString reason = e ? QString::fromUtf8(e->what()) : QStringLiteral("not a std::exception");
    WMLog("An exception of type %@ occurred: %@", name, reason);
    WMLog("Stacktrace (%@, %@):\n%@", BundleInfo::version(), WMStackTrace::processorName(),
          e ? WMStackTrace::stackTrace(*e) : QStringLiteral("-"));
}

void WMExceptionHandler::terminateHandler()
{
    static std::atomic_flag entered = ATOMIC_FLAG_INIT;
    if (!entered.test_and_set()) {
        try {
            if (const std::exception_ptr current = std::current_exception()) {
                try {
                    std::rethrow_exception(current);
                } catch (const std::exception& e) {
                    logUncaughtException(&e);
                } catch (...) {
                    logUncaughtException(nullptr);
                }
            } else {
                WMLog("Terminated without an exception");
            }
        } catch (...) {
            // Logging failed; the process ends all the same.
        }
        // The abort below raises SIGABRT, which has no handler of ours on
        // purpose (the signal handler itself ends with an abort). So the crash
        // reporter that the signal path would start is started here.
        CrashReporterLauncher::launchFromSignalHandler();
    }
    std::abort();
}

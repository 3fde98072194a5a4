#include "WMExceptionDelegate.h"

#include "CrashReporterLauncher.h"
#include "LocalizedStrings.h"
#include "WMException.h"
#include "WMLog.h"
#include "WMStackTrace.h"

#include <QSettings>

#include <mutex>

namespace {

struct HandlerSlot
{
    std::mutex lock;
    WMExceptionDelegate::ReportHandler handler;
};

HandlerSlot& slot()
{
    static HandlerSlot s;
    return s;
}

} // namespace

bool WMExceptionDelegate::shouldHandleException(const std::exception& e)
{
    QVariant affected;
    if (const auto* own = dynamic_cast<const WMException*>(&e))
        affected = own->userInfo().value(WMException::affectedObjectsKey());
    return shouldHandle(WMStackTrace::exceptionName(e), QString::fromUtf8(e.what()), affected,
                        WMStackTrace::stackTrace(e));
}

bool WMExceptionDelegate::shouldHandleUnknownException()
{
    return shouldHandle(QStringLiteral("unknown"), QStringLiteral("not a std::exception"), QVariant(),
                        QStringLiteral("-"));
}

bool WMExceptionDelegate::shouldHandle(const QString& name, const QString& reason, const QVariant& affected,
                                       const QString& trace)
{
    QString text = WMFormat::string("An exception of type %@ occurred: %@", name, reason);
    if (affected.isValid())
        text = WMFormat::string("%@\nAffected Objects:\n%@", text, affected);
    WMLog("%@", text);
    WMLog("Stack Trace: (cpu: %@):\n%@", WMStackTrace::processorName(), trace);
    if (trace.size() < 2)
        return true;
    reportException(LocalizedStrings::text(QStringLiteral("Error Encountered")), text);
    return false;
}

void WMExceptionDelegate::setReportExceptionHandler(ReportHandler handler)
{
    HandlerSlot& s = slot();
    std::lock_guard guard(s.lock);
    s.handler = std::move(handler);
}

bool WMExceptionDelegate::reportException(const QString& title, const QString& text)
{
    ReportHandler handler;
    {
        HandlerSlot& s = slot();
        std::lock_guard guard(s.lock);
        handler = s.handler;
    }
    try {
        return handler ? handler(title, text) : defaultReport(title, text);
    } catch (const std::exception& e) {
        WMLog("Reporting the exception failed: %@", e.what());
    } catch (...) {
        WMLog("Reporting the exception failed");
    }
    return false;
}

QString WMExceptionDelegate::autoReportSettingKey()
{
    return QStringLiteral("autoReportExceptions");
}

bool WMExceptionDelegate::defaultReport(const QString& title, const QString& text)
{
    if (!QSettings().value(autoReportSettingKey(), false).toBool())
        return false;
    return CrashReporterLauncher::launchForException(text);
}

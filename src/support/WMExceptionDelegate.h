#pragma once

#include <QString>
#include <QVariant>

#include <exception>
#include <functional>

// Decides what happens to an exception that reached the event loop: it is
// always logged with its trace; one with a trace is also offered for a
// report. The window front end sets the report handler to its dialog;
// without one, a report is made only when the user default
// "autoReportExceptions" is on and a crash reporter was found.
class WMExceptionDelegate
{
public:
    // Answers the report question: true when the exception was reported.
    using ReportHandler = std::function<bool(const QString& title, const QString& text)>;

    // Logs "An exception of type ... occurred: ..." and "Stack Trace: (cpu:
    // ...)". Answers true (the default handling, which is the logging, is
    // enough) when there is no trace; otherwise hands the text to the report
    // handler and answers false.
    static bool shouldHandleException(const std::exception& e);
    // The same for something thrown that is not a std::exception.
    static bool shouldHandleUnknownException();

    // Replaces the report handler; an empty one restores the default.
    static void setReportExceptionHandler(ReportHandler handler);
    // Runs the report handler; its answer.
    static bool reportException(const QString& title, const QString& text);

    static QString autoReportSettingKey();

private:
    static bool shouldHandle(const QString& name, const QString& reason, const QVariant& affected,
                             const QString& trace);
    static bool defaultReport(const QString& title, const QString& text);
};

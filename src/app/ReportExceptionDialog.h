#pragma once

#include <QString>

// The question put to the user when an exception reached the event loop:
// a critical alert with "Report Error To Wendmark" (the default) and "Do Not
// Report". Reporting starts the crash reporter with the exception's text.
class ReportExceptionDialog
{
public:
    // Makes this dialog the exception delegate's report handler.
    static void install();
    // Asks; true when the user chose to report and the reporter started.
    static bool ask(const QString& title, const QString& text);
};

#include "ReportExceptionDialog.h"

#include "support/CrashReporterLauncher.h"
#include "support/LocalizedStrings.h"
#include "support/WMExceptionDelegate.h"
#include "support/WMLog.h"

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

void ReportExceptionDialog::install()
{
    WMExceptionDelegate::setReportExceptionHandler(&ReportExceptionDialog::ask);
}

bool ReportExceptionDialog::ask(const QString& title, const QString& text)
{
    QMessageBox box(QMessageBox::Critical, title, text, QMessageBox::NoButton, QApplication::activeWindow());
    QPushButton* report = box.addButton(LocalizedStrings::text(QStringLiteral("Report Error To Wendmark")),
                                        QMessageBox::AcceptRole);
    box.addButton(LocalizedStrings::text(QStringLiteral("Do Not Report")), QMessageBox::RejectRole);
    box.setDefaultButton(report);
    box.exec();
    if (box.clickedButton() != report)
        return false;
    if (CrashReporterLauncher::launchForException(text))
        return true;
    WMLog("The crash reporter could not be started");
    QMessageBox::warning(QApplication::activeWindow(), title,
                         LocalizedStrings::text(QStringLiteral("ReportFailed")));
    return false;
}

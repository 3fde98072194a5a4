#include "BundleInfo.h"

#include "BundleInfoValues.h"

#include <QCoreApplication>

QString BundleInfo::shortVersion()
{
    return QStringLiteral(QB_BUNDLE_SHORT_VERSION);
}

QString BundleInfo::version()
{
    return QStringLiteral(QB_BUNDLE_VERSION);
}

QString BundleInfo::executableName()
{
    return QStringLiteral(QB_BUNDLE_EXECUTABLE);
}

QString BundleInfo::identifier()
{
    return QStringLiteral(QB_BUNDLE_IDENTIFIER);
}

QString BundleInfo::organizationName()
{
    return QStringLiteral("Wendmark");
}

void BundleInfo::applyToApplication()
{
    QCoreApplication::setOrganizationName(organizationName());
    QCoreApplication::setOrganizationDomain(QStringLiteral("wendmark.com"));
    QCoreApplication::setApplicationName(executableName());
    QCoreApplication::setApplicationVersion(shortVersion());
}

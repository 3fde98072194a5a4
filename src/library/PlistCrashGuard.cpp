#include "PlistCrashGuard.h"

#include "PropertyListReader.h"

#include <QSettings>

namespace {

QVariant readFromData(const QByteArray& data, bool trySystemFirst, QString* error)
{
    return PropertyListReader::mutablePropertyListFromData(data, trySystemFirst, error);
}

} // namespace

QVariant PlistCrashGuard::readWithSetAndClear(const QString& flagKey, const QByteArray& data, QString* error)
{
    return readWithSetAndClear(flagKey, data, error, readFromData);
}

QVariant PlistCrashGuard::readWithSetAndClear(const QString& flagKey, const QByteArray& data, QString* error,
                                              const Reader& reader)
{
    QSettings settings;
    if (settings.value(flagKey).toBool())
        return reader(data, false, error);
    settings.setValue(flagKey, true);
    settings.sync();
    QVariant result = reader(data, true, error);
    settings.remove(flagKey);
    settings.sync();
    return result;
}

QVariant PlistCrashGuard::readWithToggle(const QString& flagKey, const QByteArray& data, QString* error)
{
    return readWithToggle(flagKey, data, error, readFromData);
}

QVariant PlistCrashGuard::readWithToggle(const QString& flagKey, const QByteArray& data, QString* error,
                                         const Reader& reader)
{
    QSettings settings;
    const bool flag = settings.value(flagKey).toBool();
    settings.setValue(flagKey, !flag);
    settings.sync();
    QVariant result = reader(data, !flag, error);
    settings.setValue(flagKey, flag);
    settings.sync();
    return result;
}

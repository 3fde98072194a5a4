#include "LiveResources.h"

#include "PropertyListReader.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

LiveResources& LiveResources::shared()
{
    static LiveResources instance;
    return instance;
}

QString LiveResources::cachedPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/liveres.plist");
}

QString LiveResources::environmentFileProblem()
{
    const QString path = qEnvironmentVariable("QUILLBEAT_RESOURCES");
    if (path.isEmpty())
        return QString();
    QFile file(path);
    if (!QFileInfo::exists(path))
        return LocalizedStrings::format(QStringLiteral("ErrorResourcesMissing"), path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
        return LocalizedStrings::format(QStringLiteral("ErrorResourcesUnreadable"), path, file.errorString());
    QString error;
    const QVariant root = PropertyListReader::mutablePropertyListFromData(file.readAll(), false, &error);
    if (root.typeId() != QMetaType::QVariantMap)
        return LocalizedStrings::format(
            QStringLiteral("ErrorResourcesUnreadable"), path,
            error.isEmpty() ? LocalizedStrings::text(QStringLiteral("ErrorResourcesNoDictionary")) : error);
    return QString();
}

QVariantMap LiveResources::readResourceFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        WMLog("Resources: cannot open %@", path);
        return {};
    }
    QString error;
    const QVariant root = PropertyListReader::mutablePropertyListFromData(file.readAll(), false, &error);
    if (!error.isEmpty())
        WMLog("Resources: %@ is damaged: %@", path, error);
    if (root.typeId() != QMetaType::QVariantMap) {
        WMLog("Resources: %@ holds no dictionary", path);
        return {};
    }
    return root.toMap();
}

QVariantMap LiveResources::merged(const QVariantMap& base, const QVariantMap& overlay)
{
    QVariantMap result = base;
    for (auto it = overlay.cbegin(); it != overlay.cend(); ++it) {
        const auto existing = result.constFind(it.key());
        if (it.key().startsWith(QStringLiteral("res_")) && existing != result.constEnd() &&
            existing->typeId() == QMetaType::QVariantMap && it->typeId() == QMetaType::QVariantMap) {
            QVariantMap section = existing->toMap();
            const QVariantMap changes = it->toMap();
            for (auto c = changes.cbegin(); c != changes.cend(); ++c)
                section.insert(c.key(), c.value());
            result.insert(it.key(), section);
        } else {
            result.insert(it.key(), it.value());
        }
    }
    return result;
}

QVariantMap LiveResources::resources()
{
    std::lock_guard guard(mLock);
    if (mLoaded)
        return mResources;

    QVariantMap loaded = readResourceFile(QStringLiteral(":/defaultres.plist"));
    const QString cached = cachedPath();
    if (QFileInfo::exists(cached))
        loaded = merged(loaded, readResourceFile(cached));
    const QString fromEnvironment = qEnvironmentVariable("QUILLBEAT_RESOURCES");
    if (!fromEnvironment.isEmpty()) {
        WMLog("Resources: merging %@", fromEnvironment);
        loaded = merged(loaded, readResourceFile(fromEnvironment));
    }
    mResources = loaded;
    mLoaded = true;
    return mResources;
}

void LiveResources::drop()
{
    std::lock_guard guard(mLock);
    mResources.clear();
    mLoaded = false;
}

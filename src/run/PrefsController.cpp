#include "PrefsController.h"

#include "library/PropertyListReader.h"
#include "support/WMLog.h"

#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

PrefsController& PrefsController::sharedInstance()
{
    static PrefsController instance;
    return instance;
}

QString PrefsController::cachedResourcesPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/liveres.plist");
}

QVariantMap PrefsController::readResourceFile(const QString& path)
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

QVariantMap PrefsController::mergedResources(const QVariantMap& base, const QVariantMap& overlay)
{
    QVariantMap merged = base;
    for (auto it = overlay.cbegin(); it != overlay.cend(); ++it) {
        const auto existing = merged.constFind(it.key());
        if (it.key().startsWith(QStringLiteral("res_")) && existing != merged.constEnd() &&
            existing->typeId() == QMetaType::QVariantMap && it->typeId() == QMetaType::QVariantMap) {
            QVariantMap section = existing->toMap();
            const QVariantMap changes = it->toMap();
            for (auto c = changes.cbegin(); c != changes.cend(); ++c)
                section.insert(c.key(), c.value());
            merged.insert(it.key(), section);
        } else {
            merged.insert(it.key(), it.value());
        }
    }
    return merged;
}

QVariantMap PrefsController::liveResources()
{
    std::lock_guard guard(mResourcesLock);
    if (mResourcesLoaded)
        return mLiveResources;

    QVariantMap resources = readResourceFile(QStringLiteral(":/defaultres.plist"));
    const QString cached = cachedResourcesPath();
    if (QFileInfo::exists(cached))
        resources = mergedResources(resources, readResourceFile(cached));
    const QString fromEnvironment = qEnvironmentVariable("QUILLBEAT_RESOURCES");
    if (!fromEnvironment.isEmpty()) {
        WMLog("Resources: merging %@", fromEnvironment);
        resources = mergedResources(resources, readResourceFile(fromEnvironment));
    }
    mLiveResources = resources;
    mResourcesLoaded = true;
    return mLiveResources;
}

void PrefsController::getUserPreferences()
{
    std::lock_guard guard(mResourcesLock);
    mLiveResources.clear();
    mResourcesLoaded = false;
}

#pragma once

#include <QString>
#include <QVariantMap>

#include <mutex>

// The one preferences controller. For now it answers the live resources:
// the tunable values the program ships with ("sourcelist", "simplifiers",
// "genres", the "res_" section of each web source ...), with a newer
// dictionary from the caches folder and the file named by the environment
// variable QUILLBEAT_RESOURCES merged over them.
class PrefsController
{
public:
    static PrefsController& sharedInstance();

    // Loaded once, then kept until getUserPreferences() drops it.
    QVariantMap liveResources();
    // Drops the cached resource dictionary; the next liveResources() reloads.
    void getUserPreferences();

    // Where a newer resource dictionary is kept once fetched.
    static QString cachedResourcesPath();
    // Merges `overlay` over `base`: top-level keys replace, except that a
    // "res_" section that is a dictionary on both sides is merged key by key.
    static QVariantMap mergedResources(const QVariantMap& base, const QVariantMap& overlay);

private:
    PrefsController() = default;
    static QVariantMap readResourceFile(const QString& path);

    std::mutex mResourcesLock;
    QVariantMap mLiveResources;
    bool mResourcesLoaded = false;
};

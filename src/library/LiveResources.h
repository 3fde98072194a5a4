#pragma once

#include <QString>
#include <QVariantMap>

#include <mutex>

// The live resources: the tunable values the program ships with
// ("sourcelist", "simplifiers", "genres", the "res_" section of each web
// source ...) in the resource file "defaultres", with a newer dictionary from
// the caches folder and the file named by the environment variable
// QUILLBEAT_RESOURCES merged over them. Loaded once, then kept until drop().
// Safe to use from several threads.
class LiveResources
{
public:
    static LiveResources& shared();

    QVariantMap resources();
    // Forgets the loaded dictionary; the next resources() reads it again.
    void drop();

    // What is wrong with the file QUILLBEAT_RESOURCES names, in words: it is
    // missing, can't be read or holds no property list of a dictionary;
    // empty when it is fine or none is named.
    static QString environmentFileProblem();

    // Where a newer resource dictionary is kept once fetched.
    static QString cachedPath();
    // Merges `overlay` over `base`: top-level keys replace, except that a
    // "res_" section that is a dictionary on both sides is merged key by key.
    static QVariantMap merged(const QVariantMap& base, const QVariantMap& overlay);

private:
    LiveResources() = default;
    static QVariantMap readResourceFile(const QString& path);

    std::mutex mLock;
    QVariantMap mResources;
    bool mLoaded = false;
};

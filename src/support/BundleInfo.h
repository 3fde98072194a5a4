#pragma once

#include <QString>

// The application's identity: versions, executable name and identifier,
// fixed when the build is configured.
class BundleInfo
{
public:
    static QString shortVersion();   // "0.1.0"
    static QString version();        // the build number
    static QString executableName(); // "Quillbeat"
    static QString identifier();     // "com.wendmark.quillbeat"
    static QString organizationName();

    // Names the running application so that settings and standard folders
    // land in the application's own places. Safe to call before or after the
    // application object exists.
    static void applyToApplication();
};

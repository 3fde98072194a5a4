#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <functional>

// Guards a read that may use the platform parser with a flag in the user
// settings that is written to disk before the risky call. If the process
// dies inside the platform parser the flag survives, and from then on the
// same file is read by our own reader only. The flag keys in use are
// "noSystemDeserialize" (toggle form), "noSystemiTunesDeserialize" and
// "noSystemDeserialize2" (set-and-clear form).
class PlistCrashGuard
{
public:
    // The read itself: data, trySystemFirst, error place.
    using Reader = std::function<QVariant(const QByteArray&, bool, QString*)>;

    // Set-and-clear: with the flag set, reads with our own reader only;
    // otherwise sets the flag, writes the settings, reads with the platform
    // parser first, then removes the flag and writes again.
    static QVariant readWithSetAndClear(const QString& flagKey, const QByteArray& data, QString* error);
    static QVariant readWithSetAndClear(const QString& flagKey, const QByteArray& data, QString* error,
                                        const Reader& reader);

    // Toggle: reads the flag F, stores and writes not-F, reads with the
    // platform parser first exactly when F was not set, then stores F again.
    static QVariant readWithToggle(const QString& flagKey, const QByteArray& data, QString* error);
    static QVariant readWithToggle(const QString& flagKey, const QByteArray& data, QString* error,
                                   const Reader& reader);
};

#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

#include <optional>

// The album digest: a gzip-compressed property list of albums and their
// cover pictures ("simplified artist - album" -> {"art_file", "art_x"}),
// kept as "wmdigest.gz" in the caches folder. It is seeded from the copy
// compiled into the program and, when the resource "digestURL" names a
// server, refreshed from there at most every three days. A search needs no
// network: it answers the cover of the song's album when the digest knows
// one that is wide enough.
class WendmarkInterface : public WebDBInterface
{
    Q_OBJECT
public:
    // Answers below this size are taken for error pages, never for a digest.
    static constexpr qsizetype kMinDigestBytes = 1001;
    // Largest digest file read, compressed and unpacked.
    static constexpr qint64 kMaxDigestFileBytes = 16 * 1024 * 1024;
    static constexpr qint64 kMaxDigestBytes = 256 * 1024 * 1024;
    // Seconds between two update checks.
    static constexpr qint64 kCheckInterval = 259200;

    explicit WendmarkInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    // "<caches>/<bundle identifier>.info/wmdigest.gz", computed once.
    static QString wmdigestPath();
    // The albums of the digest file, read on first use (the seed is put in
    // place first when there is no file); empty when the file is missing or
    // damaged. Main thread only.
    static const QVariantMap& albumsDict();
    // Forgets the albums read, so the next use reads the file again.
    static void dropAlbumsDict();
    // Artwork while the digest knows albums, nothing otherwise.
    AlbumAssets resourcesPossiblyAvailable() const override;

    // Runs the update check on an object of its own that lives until the
    // check ends. Does nothing more than seeding without a "digestURL".
    static void startDigestUpdateCheck();
    // The update check: seeds a missing digest, then asks the server with a
    // HEAD request when the last check ("wmidigestcheckstr") is missing, in
    // the future or more than three days old, and downloads a digest whose
    // length differs from the local one.
    void getDigestUpdateIfNecessary();
    Q_INVOKABLE void gotDigestHeaders(const QVariantMap& answer);
    Q_INVOKABLE void gotNewDigest(const QVariantMap& answer);

    // Looks the song's album up in the digest and completes at once.
    void beginSearch() override;
    void cancelSearch() override;

    // The seed compiled into the program (":/wmdigest.gz"); tests point it
    // elsewhere (an empty path: no seed).
    static void setSeedPath(const QString& path);
    // Copies the seed to the digest path when there is no digest file;
    // true when it did.
    static bool installSeedIfMissing();

    // "%Y-%m-%d %H:%M:%S %z" as stored under "wmidigestcheckstr".
    static QString checkTimeString(const QDateTime& time);
    static std::optional<QDateTime> parsedCheckTime(const QString& text);

    // The albums of digest bytes (gzip'd or plain property list); empty
    // when they are damaged or too large.
    static QVariantMap albumsFromDigestData(const QByteArray& data);

signals:
    // The update check is over, whatever its outcome.
    void digestCheckEnded();

private:
    void endCheck();
    QUrl digestURL() const;

    bool mOwnsItself = false;
};

#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <optional>

// The record database's JSON service as an album source: one search for the
// artist and song (or album) title, then each promising release is fetched
// and read as an album. The search needs the user's key and secret ("apiKey"
// and "secretHash" of the resources, else the settings "discogsApiKey" and
// "discogsSecret"); without them the source completes at once.
class DiscogsInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit DiscogsInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    // Everything but tempo and lyrics.
    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    // Also withdraws the requests in flight from the queue, then completes.
    void cancelSearch() override;

    // Answer of the search: queues the releases whose titles fit.
    Q_INVOKABLE void discogResultsCompleted(const QVariantMap& answer);
    // Answer for one release: keeps its album when artist and title fit.
    Q_INVOKABLE void discogReleaseCompleted(const QVariantMap& answer);

    // The album of a release object; none without artist, title or tracks.
    std::optional<AlbumInfo> createAlbumWithJSONDict(const QVariantMap& release) const;

    // A string as it is; the non-empty strings of a list (each item first
    // replaced by its value under `key` when a key is given and the item is a
    // dictionary) joined by `delimiter`; null for anything else or nothing.
    static QString combinedStringFromObject(const QVariant& object, const QString& delimiter,
                                            const QString& key);

    // The key and secret in use: the resources' when set, else the settings'.
    QString apiKey() const;
    QString secretHash() const;
    // "maximumMatches", or 100 when missing or below 1.
    int maximumMatches() const;

    // Answers larger than this are not parsed.
    static constexpr qsizetype kMaxAnswerLength = 8 * 1024 * 1024;

private:
    std::optional<QVariantMap> jsonObjectOfAnswer(const QVariantMap& answer, const char* what);
    bool artistFits(const QString& albumArtist) const;
    bool albumTitleFits(const QString& albumName) const;

    int mNumberOfMatches = 0;
};

#pragma once

#include "web/LrclibAnswerReader.h"
#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// The open synced-lyrics service as a lyrics source; no key is needed. When
// the song's duration is known it first asks for the exact track (artist,
// title, album, duration); when that finds nothing usable it searches by
// artist and title and takes the best fitting record. A record more than
// "maxDurationDifference" seconds (default 2) away from the song is not the
// song; an instrumental track gives no lyrics. The plain lyrics are cleaned
// like every lyrics source's and delivered under the simplified song title.
// Resources: "getURL", "searchURL", "maxDurationDifference", "songDuration"
// (seconds, when the task passes the duration this way) and the frame's
// "minIntervalSeconds" and "simulConns".
class LrclibInterface : public WebDBInterface
{
    Q_OBJECT
public:
    explicit LrclibInterface(const QVariantMap& resources = QVariantMap(), QObject* parent = nullptr);

    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    // Also withdraws the requests in flight from the queue, then completes.
    void cancelSearch() override;

    // The song's length in seconds (0: unknown). Overrides "songDuration".
    void setSongDuration(double seconds) { mSongDuration = seconds; }
    // The length in use: the one set, else "songDuration", else 0.
    double songDuration() const;

    Q_INVOKABLE void lrclibGetCompleted(const QVariantMap& answer);
    Q_INVOKABLE void lrclibSearchCompleted(const QVariantMap& answer);

    // The request URLs for the current values; empty when not possible.
    QUrl getURL() const;
    QUrl searchURL() const;
    // What records are compared with.
    LrclibAnswerReader::Wanted wanted() const;

private:
    void queueSearch();
    bool deliverLyrics(const LrclibAnswerReader::Record& record);

    double mSongDuration = 0.0;
};

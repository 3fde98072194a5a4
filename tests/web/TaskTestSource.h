#pragma once

#include "web/WebDBInterface.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonObject>
#include <QStringList>
#include <QUrl>

// A web source for tests of lookups and runs. It asks the local test
// server for "<path>?artist=..&album=..&title=.." (path "/albums" unless
// the resource "path" says otherwise) and makes one album of each object of
// the JSON array answered ("artist", "name", "year", "genre", "tracks",
// "art", "lyrics" with "lyricsKey"). What it can supply is the resource
// "assets" (every asset when absent); with the resource "ignoreCancel" it
// goes on as if never cancelled, like a source that hangs.
class TaskTestSource : public WebDBInterface
{
    Q_OBJECT
public:
    using WebDBInterface::WebDBInterface;

    // The test server every instance asks.
    static void setServerBase(const QUrl& base);

    AlbumAssets resourcesPossiblyAvailable() const override;
    void beginSearch() override;
    void cancelSearch() override;
    Q_INVOKABLE void albumsLoaded(const QVariantMap& answer);

    // ---- answers for the server
    // A JPEG of the given size with a pattern (no flat colours).
    static QByteArray jpeg(int width, int height);
    static QByteArray albumsJson(const QJsonArray& albums);
    static QJsonObject albumObject(const QString& name, const QString& year, const QStringList& tracks,
                                   const QString& genre = QString(), const QString& art = QString());
};

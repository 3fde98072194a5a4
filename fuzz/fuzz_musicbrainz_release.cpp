// One answer of the music database, read every way the source reads one: as
// a release lookup, as a release search and as a recording search. The first
// byte chooses the image widths the lookup is read with.
#include "web/MusicBrainzReleaseReader.h"

#include <QByteArray>
#include <QVariantMap>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const float widths[] = {0.0f, 250.0f, 600.0f, 5000.0f};
    const float minWidth = widths[data[0] & 3];
    const float maxWidth = widths[(data[0] >> 2) & 3];
    const QByteArray body(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(size - 1));
    const QVariantMap resources{
        {QStringLiteral("coverArtURL"), QStringLiteral("https://covers.test/release/%@/front-%@")},
        {QStringLiteral("coverArtOriginalURL"), QStringLiteral("https://covers.test/release/%@/front")}};

    QString reason;
    const auto album =
        MusicBrainzReleaseReader::albumFromReleaseJSON(body, resources, minWidth, maxWidth, &reason);
    if (album) {
        if (album->trackNames().isEmpty() ||
            album->trackNames().size() > MusicBrainzReleaseReader::kMaxTracks)
            std::abort();
        const QString art = album->artURLString();
        if (!art.isEmpty() && !art.startsWith(QStringLiteral("https://covers.test/release/")))
            std::abort();
    } else if (reason.isEmpty()) {
        std::abort();
    }

    if (const auto answer = MusicBrainzReleaseReader::jsonObject(body)) {
        const auto releases = MusicBrainzReleaseReader::candidatesOfReleaseSearch(*answer);
        const auto recordings = MusicBrainzReleaseReader::candidatesOfRecordingSearch(*answer);
        if (releases.size() > MusicBrainzReleaseReader::kMaxListEntries ||
            recordings.size() > MusicBrainzReleaseReader::kMaxListEntries)
            std::abort();
        const QStringList chosen = MusicBrainzReleaseReader::chosenReleaseIDs(releases + recordings, 5);
        if (chosen.size() > 5)
            std::abort();
        for (const QString& id : chosen) {
            if (!MusicBrainzReleaseReader::isReleaseID(id))
                std::abort();
        }
    }
    return 0;
}

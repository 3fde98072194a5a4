// Disc entries in the xmcd text layout: arbitrary bytes through the parser
// and the album built from them.
#include "web/AlbumInfo.h"
#include "web/CDDBTextParser.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const CDDBTextParser::Result parsed = CDDBTextParser::parse(bytes);
    if (parsed.tracks.size() > CDDBTextParser::MaximumTracks)
        std::abort();
    const auto album = AlbumInfo::albumWithFreeDBData(bytes);
    if (album.has_value() == bytes.isEmpty())
        std::abort();
    if (album) {
        album->description();
        album->numberOfTrackNamed(parsed.name, true);
        QList<AlbumInfo> albums{*album, album->copy()};
        AlbumInfo::simplifyAlbumArray(albums, parsed.artist);
        if (albums.isEmpty() || albums.size() > 2)
            std::abort();
    }
    return 0;
}

// Answers of scripts sent to iTunes, read back as playlists, playlist
// contents and artwork counts.
#include "library/iTunesBridge.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString answer =
        QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    iTunesBridge::parsePlaylistsInfo(answer);
    iTunesBridge::parsePlaylistContents(answer);
    const qsizetype count = size > 0 ? data[0] % 8 : 0;
    iTunesBridge::parseArtworkCounts(answer, count);
    return 0;
}

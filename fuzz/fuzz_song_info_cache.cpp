// Group files of the song information cache, as found on disk.
#include "songs/SongInfoArchive.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    SongInfoArchive::unarchivedGroup(bytes);
    // Behind a valid header, so that the entries themselves are exercised.
    QByteArray framed = QByteArray::fromHex("514253430000000100000001") + bytes;
    SongInfoArchive::unarchivedGroup(framed);
    return 0;
}

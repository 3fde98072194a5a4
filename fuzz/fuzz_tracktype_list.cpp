// The disc list of a CDDB-style title query.
#include "web/TrackTypeInterface.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto discs = TrackTypeInterface::discListFromData(bytes);
    if (discs.size() > TrackTypeInterface::kMaxListings)
        std::abort();
    for (const auto& disc : discs) {
        if (disc.category.isEmpty() || disc.discID.isEmpty())
            std::abort();
    }
    return 0;
}

// "Retry-After" values as a server may send them: delta seconds or HTTP
// dates in any of their forms, well formed or not.
#include "web/HTTPReplyReader.h"

#include <QByteArray>
#include <QDateTime>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray value(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    static const QDateTime now = QDateTime::fromSecsSinceEpoch(1445412480, Qt::UTC);
    const auto seconds = HTTPReplyReader::retryAfterSeconds(value, now);
    if (seconds && (*seconds < 0 || *seconds > HTTPReplyReader::kMaxRetryAfterSeconds))
        std::abort();
    HTTPReplyReader::retryAfterSeconds(value, QDateTime());
    return 0;
}

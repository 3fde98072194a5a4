// Stored file references from another platform's preferences.
#include "library/AliasResolver.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    AliasResolver::pathFromReferenceData(bytes);
    AliasResolver::pathFromAliasRecord(bytes);
    QByteArray book = "book" + bytes;
    AliasResolver::pathFromBookmark(book);
    return 0;
}

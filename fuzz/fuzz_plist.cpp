// Arbitrary bytes into the property-list readers: our own reader of the XML
// form always, and the platform parser for binary ("bplist") data.
#include "library/ManualPlistParser.h"
#include "library/SystemPlistParser.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const ManualPlistParser::Result result = ManualPlistParser::parse(bytes);
    if (result.root.isValid() && result.root.typeId() != QMetaType::QVariantMap &&
        result.root.typeId() != QMetaType::QVariantList)
        std::abort();
    if (bytes.startsWith("bplist")) {
        QString error;
        SystemPlistParser::parse(bytes, &error);
    }
    return 0;
}

// Arbitrary bytes into the property-list readers: our own reader of the XML
// form, the look at the bytes that decides whether libplist may have them,
// and libplist behind it (XML and binary), which the look must keep from
// recursing without bound or unfolding shared objects without bound.
#include "library/ManualPlistParser.h"
#include "library/PlistShapeCheck.h"
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

    // A low limit reaches the depth rules with small inputs.
    for (const int limit : {3, SystemPlistParser::kMaxDepth}) {
        const PlistShapeCheck::Result shape = PlistShapeCheck::check(bytes, limit);
        if (shape.position < 0 || shape.position > bytes.size() || shape.depth < 0)
            std::abort();
        if (shape.verdict == PlistShapeCheck::Verdict::Fine && shape.depth > limit)
            std::abort();
    }

    QString error;
    SystemPlistParser::parse(bytes, &error);
    // What the look let through is never refused for its depth afterwards.
    const PlistShapeCheck::Result shape = PlistShapeCheck::check(bytes, SystemPlistParser::kMaxDepth);
    if (shape.verdict == PlistShapeCheck::Verdict::Fine && error.contains(QStringLiteral("nested more than")))
        std::abort();
    return 0;
}

// Arbitrary bytes into the property-list readers: our own reader of the XML
// form, the look at the bytes that decides whether a platform parser may have
// them, the expat reader that takes libplist's place on XML, and libplist
// behind them (XML and binary), which the look must keep from recursing
// without bound or unfolding shared objects without bound. Whatever the expat
// reader reads must be libplist's very tree.
#include "library/ExpatPlistParser.h"
#include "library/ManualPlistParser.h"
#include "library/PlistShapeCheck.h"
#include "library/SystemPlistParser.h"

#include <QByteArray>
#include <QDataStream>
#include <QIODevice>

#include <cstdint>
#include <cstdlib>

namespace {

// Equal types and values throughout, to the bit.
bool sameTree(const QVariant& a, const QVariant& b)
{
    const auto bytesOf = [](const QVariant& tree) {
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream << tree;
        return bytes;
    };
    return bytesOf(a) == bytesOf(b);
}

} // namespace

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

    // The expat reader on its own, whatever the look says; compared with
    // libplist where libplist may have the bytes.
    for (const int limit : {3, SystemPlistParser::kMaxDepth}) {
        const ExpatPlistParser::Result read = ExpatPlistParser::parse(bytes, limit);
        if (read.root.isValid() == !read.declined.isEmpty())
            std::abort();
        if (limit == SystemPlistParser::kMaxDepth && read.root.isValid() &&
            shape.verdict == PlistShapeCheck::Verdict::Fine) {
            QString libplistError;
            if (!sameTree(read.root, SystemPlistParser::parseWithLibplist(bytes, &libplistError)))
                std::abort();
        }
    }
    return 0;
}

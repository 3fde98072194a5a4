#include "SystemPlistParser.h"

#include <QDateTime>

#include <plist/plist.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace {

// Seconds between 1970-01-01 and 2001-01-01, the epoch of property-list dates.
constexpr qint64 kPlistEpochOffset = 978307200;

struct PlistFree
{
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};

struct CFree
{
    void operator()(void* p) const { std::free(p); }
};

bool convertNode(plist_t node, int depth, QVariant* out)
{
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        if (depth >= SystemPlistParser::kMaxDepth)
            return false;
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        const std::unique_ptr<void, CFree> iterOwner(iter);
        while (iter) {
            char* rawKey = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iter, &rawKey, &item);
            const std::unique_ptr<char, CFree> key(rawKey);
            if (!item)
                break;
            QVariant value;
            if (!convertNode(item, depth + 1, &value))
                return false;
            if (value.isValid())
                map.insert(QString::fromUtf8(key.get()), value);
        }
        *out = map;
        return true;
    }
    case PLIST_ARRAY: {
        if (depth >= SystemPlistParser::kMaxDepth)
            return false;
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        list.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            QVariant value;
            if (!convertNode(plist_array_get_item(node, i), depth + 1, &value))
                return false;
            if (value.isValid())
                list.append(value);
        }
        *out = list;
        return true;
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        *out = text ? QString::fromUtf8(text, static_cast<qsizetype>(length)) : QString();
        return true;
    }
    case PLIST_UINT: {
        // Stored as 64 bits; negative numbers come back in two's complement.
        uint64_t raw = 0;
        plist_get_uint_val(node, &raw);
        const auto value = static_cast<qint64>(raw);
        if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
            *out = static_cast<int>(value);
        else
            *out = static_cast<qlonglong>(value);
        return true;
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        *out = value;
        return true;
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        *out = value != 0;
        return true;
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        const qint64 msecs = (kPlistEpochOffset + seconds) * 1000 + micros / 1000;
        *out = QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC);
        return true;
    }
    case PLIST_DATA: {
        uint64_t length = 0;
        const char* bytes = plist_get_data_ptr(node, &length);
        *out = bytes ? QByteArray(bytes, static_cast<qsizetype>(length)) : QByteArray();
        return true;
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        *out = static_cast<qulonglong>(value);
        return true;
    }
    default:
        *out = QVariant();
        return true;
    }
}

} // namespace

QVariant SystemPlistParser::convert(const void* node, QString* error)
{
    QVariant result;
    if (!node)
        return result;
    if (!convertNode(static_cast<plist_t>(const_cast<void*>(node)), 0, &result)) {
        if (error)
            *error = QStringLiteral("property list nested more than %1 levels deep").arg(kMaxDepth);
        return {};
    }
    return result;
}

QVariant SystemPlistParser::parse(const QByteArray& data, QString* error)
{
    if (data.size() > static_cast<qsizetype>(std::numeric_limits<uint32_t>::max())) {
        if (error)
            *error = QStringLiteral("property list too large for the system parser");
        return {};
    }
    plist_t rawRoot = nullptr;
    plist_from_memory(data.constData(), static_cast<uint32_t>(data.size()), &rawRoot);
    const std::unique_ptr<void, PlistFree> root(rawRoot);
    if (!root) {
        if (error)
            *error = QStringLiteral("the system parser could not read the property list");
        return {};
    }
    const plist_type type = plist_get_node_type(rawRoot);
    if (type != PLIST_DICT && type != PLIST_ARRAY) {
        if (error)
            *error = QStringLiteral("the property list's root is neither a dictionary nor an array");
        return {};
    }
    return convert(rawRoot, error);
}

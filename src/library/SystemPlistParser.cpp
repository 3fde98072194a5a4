#include "SystemPlistParser.h"

#include "ExpatPlistParser.h"
#include "PlistShapeCheck.h"
#include "PlistTextSharing.h"
#include "support/WMLog.h"

#include <QDateTime>

#include <plist/plist.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <vector>

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

bool isContainer(plist_t node)
{
    const plist_type type = plist_get_node_type(node);
    return type == PLIST_DICT || type == PLIST_ARRAY;
}

// Turns a libplist tree into Qt values. Keys repeat in every dictionary of
// a library ("Track ID", "Name", ...) and some values repeat across many of
// them ("Kind", "Genre", artist and album names): both are made once and
// shared. When it consumes the tree, every container held by a dictionary is
// removed from libplist as soon as it is converted, so that the two trees
// never hold the whole library at the same time.
class Converter
{
public:
    // Room for the items of every depth up front: a dictionary keeps a
    // reference to its own list while deeper ones are converted.
    explicit Converter(bool consume) : mConsume(consume) { mItems.reserve(SystemPlistParser::kMaxDepth + 1); }

    // False when the tree is nested too deeply.
    bool convert(plist_t node, int depth, int keyIndex, QVariant* out);

private:
    // One item of a dictionary being converted.
    struct Item
    {
        std::unique_ptr<char, CFree> key;
        plist_t value = nullptr;
    };

    bool convertDict(plist_t node, int depth, QVariant* out);
    bool convertArray(plist_t node, int depth, QVariant* out);

    bool mConsume;
    // The items of the dictionary open at each depth, kept for reuse.
    std::vector<std::vector<Item>> mItems;
    PlistTextSharing mText;
};

bool Converter::convertDict(plist_t node, int depth, QVariant* out)
{
    // The items are listed first: removing one while iterating would upset
    // libplist's iterator.
    if (mItems.size() <= static_cast<size_t>(depth))
        mItems.resize(static_cast<size_t>(depth) + 1); // within the reserved room
    std::vector<Item>& items = mItems[static_cast<size_t>(depth)];
    items.clear();
    items.reserve(plist_dict_get_size(node));
    plist_dict_iter iter = nullptr;
    plist_dict_new_iter(node, &iter);
    const std::unique_ptr<void, CFree> iterOwner(iter);
    while (iter) {
        char* rawKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iter, &rawKey, &value);
        std::unique_ptr<char, CFree> key(rawKey);
        if (!value)
            break;
        items.push_back({std::move(key), value});
    }

    // Filled as a std::map so that values move in rather than being copied.
    std::map<QString, QVariant> map;
    for (const Item& item : items) {
        const char* key = item.key ? item.key.get() : "";
        const qsizetype keyLength = static_cast<qsizetype>(std::strlen(key));
        const int index = mText.keyIndex(key, keyLength);
        QVariant value;
        if (!convert(item.value, depth + 1, index, &value))
            return false;
        if (value.isValid())
            map.insert_or_assign(mText.keyText(index, key, keyLength), std::move(value));
        // A converted container goes at once, with everything in it. Only
        // the very item is removed (a key that occurs twice stays).
        if (mConsume && item.key && isContainer(item.value) && plist_dict_get_item(node, key) == item.value)
            plist_dict_remove_item(node, key);
    }
    items.clear();
    *out = QVariantMap(std::move(map));
    return true;
}

bool Converter::convertArray(plist_t node, int depth, QVariant* out)
{
    // Items stay in place (removing one from a long array is slow in
    // libplist); when consuming, the containers among them still give up
    // the containers they hold.
    QVariantList list;
    const uint32_t count = plist_array_get_size(node);
    list.reserve(count);
    for (uint32_t i = 0; i < count; ++i) {
        QVariant value;
        if (!convert(plist_array_get_item(node, i), depth + 1, -1, &value))
            return false;
        if (value.isValid())
            list.append(std::move(value));
    }
    *out = std::move(list);
    return true;
}

bool Converter::convert(plist_t node, int depth, int keyIndex, QVariant* out)
{
    switch (plist_get_node_type(node)) {
    case PLIST_DICT:
        if (depth >= SystemPlistParser::kMaxDepth)
            return false;
        return convertDict(node, depth, out);
    case PLIST_ARRAY:
        if (depth >= SystemPlistParser::kMaxDepth)
            return false;
        return convertArray(node, depth, out);
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* text = plist_get_string_ptr(node, &length);
        *out = text ? mText.value(text, static_cast<qsizetype>(length), keyIndex) : QString();
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

namespace {

QVariant convertTree(plist_t node, bool consume, QString* error)
{
    QVariant result;
    if (!node)
        return result;
    if (!Converter(consume).convert(node, 0, -1, &result)) {
        if (error)
            *error = QStringLiteral("property list nested more than %1 levels deep")
                         .arg(SystemPlistParser::kMaxDepth);
        return {};
    }
    return result;
}

} // namespace

QVariant SystemPlistParser::convert(const void* node, QString* error)
{
    return convertTree(static_cast<plist_t>(const_cast<void*>(node)), false, error);
}

namespace {

// The checks every reading starts with; false (with `error` set) when the
// data are not to be given to a parser of the platform.
bool mayParse(const QByteArray& data, QString* error)
{
    if (data.size() > static_cast<qsizetype>(std::numeric_limits<uint32_t>::max())) {
        if (error)
            *error = QStringLiteral("property list too large for the system parser");
        return false;
    }
    // libplist recurses once per level of nesting and copies shared binary
    // objects at every reference: damaged or hostile bytes never reach it.
    const PlistShapeCheck::Result shape = PlistShapeCheck::check(data, SystemPlistParser::kMaxDepth);
    if (shape.verdict != PlistShapeCheck::Verdict::Fine) {
        const QString reason = PlistShapeCheck::describe(shape, SystemPlistParser::kMaxDepth);
        WMLog("[mutPListFrom] not for the system parser: %@", reason);
        if (error)
            *error = reason;
        return false;
    }
    return true;
}

QVariant readWithLibplist(const QByteArray& data, QString* error)
{
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
    // The tree is ours: it is taken apart while it is converted.
    return convertTree(rawRoot, true, error);
}

} // namespace

QVariant SystemPlistParser::parse(const QByteArray& data, QString* error)
{
    if (!mayParse(data, error))
        return {};
    if (!data.startsWith("bplist")) {
        ExpatPlistParser::Result read = ExpatPlistParser::parse(data, kMaxDepth);
        if (read.declined.isEmpty())
            return std::move(read.root);
        WMLog("[mutPListFrom] left to libplist: %@", read.declined);
    }
    return readWithLibplist(data, error);
}

QVariant SystemPlistParser::parseWithLibplist(const QByteArray& data, QString* error)
{
    if (!mayParse(data, error))
        return {};
    return readWithLibplist(data, error);
}

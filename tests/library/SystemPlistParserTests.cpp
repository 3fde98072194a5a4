// The libplist path: the tree it gives must be the plain conversion of what
// libplist read, even though it takes libplist's tree apart while converting
// and shares repeated keys and values.
#include "library/SystemPlistParser.h"

#include <QDateTime>

#include <plist/plist.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>

namespace {

struct PlistDeleter
{
    void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// The conversion written out plainly, one node at a time.
QVariant reference(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        for (;;) {
            char* key = nullptr;
            plist_t item = nullptr;
            plist_dict_next_item(node, iter, &key, &item);
            if (!item) {
                std::free(key);
                break;
            }
            const QVariant value = reference(item);
            if (value.isValid())
                map.insert(QString::fromUtf8(key), value);
            std::free(key);
        }
        std::free(iter);
        return map;
    }
    case PLIST_ARRAY: {
        QVariantList list;
        for (uint32_t i = 0; i < plist_array_get_size(node); ++i)
            list.append(reference(plist_array_get_item(node, i)));
        return list;
    }
    case PLIST_STRING: {
        char* text = nullptr;
        plist_get_string_val(node, &text);
        const QString value = QString::fromUtf8(text);
        std::free(text);
        return value;
    }
    case PLIST_UINT: {
        uint64_t raw = 0;
        plist_get_uint_val(node, &raw);
        const auto value = static_cast<qint64>(raw);
        if (value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max())
            return static_cast<int>(value);
        return static_cast<qlonglong>(value);
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value != 0;
    }
    case PLIST_DATE: {
        int32_t seconds = 0, micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        return QDateTime::fromMSecsSinceEpoch((978307200LL + seconds) * 1000 + micros / 1000, Qt::UTC);
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &bytes, &length);
        const QByteArray value(bytes, static_cast<qsizetype>(length));
        std::free(bytes);
        return value;
    }
    default:
        return {};
    }
}

// A library export in small: more tracks than the sharing trial looks at,
// values that repeat (kinds, artists) and values that never do (names,
// locations), every kind of leaf, and playlists of item dictionaries.
PlistPtr libraryTree(int trackCount)
{
    static const char* const artists[] = {"Nadia Orvel", "Brass \xc3\x89tude", "Kol & Tam", "", "Fenwick"};
    plist_t root = plist_new_dict();
    plist_dict_set_item(root, "Music Folder", plist_new_string("file://localhost/music/"));
    plist_t tracks = plist_new_dict();
    for (int i = 0; i < trackCount; ++i) {
        plist_t track = plist_new_dict();
        plist_dict_set_item(track, "Track ID", plist_new_uint(static_cast<uint64_t>(1000 + i)));
        plist_dict_set_item(
            track, "Name",
            plist_new_string(QByteArray("Song \xe2\x99\xaa ").append(QByteArray::number(i)).constData()));
        plist_dict_set_item(track, "Artist", plist_new_string(artists[i % 5]));
        plist_dict_set_item(
            track, "Album",
            plist_new_string(QByteArray("Album ").append(QByteArray::number(i / 8)).constData()));
        plist_dict_set_item(track, "Kind", plist_new_string(i % 3 ? "MPEG audio file" : "AAC audio file"));
        plist_dict_set_item(track, "Play Date", plist_new_uint(3513110212ULL + static_cast<uint64_t>(i)));
        plist_dict_set_item(track, "Date Added", plist_new_date(757382400 + i, 0));
        plist_dict_set_item(track, "Rating", plist_new_real(i / 4.0));
        if (i % 7 == 0)
            plist_dict_set_item(track, "Compilation", plist_new_bool(1));
        if (i % 11 == 0)
            plist_dict_set_item(track, "Blob", plist_new_data("\x00\x01", 2));
        plist_t moods = plist_new_array();
        plist_array_append_item(moods, plist_new_string("calm"));
        plist_t nested = plist_new_dict();
        plist_dict_set_item(nested, "Depth", plist_new_uint(2));
        plist_array_append_item(moods, nested);
        plist_dict_set_item(track, "Moods", moods);
        plist_dict_set_item(tracks, QByteArray::number(1000 + i).constData(), track);
    }
    plist_dict_set_item(root, "Tracks", tracks);
    plist_t playlists = plist_new_array();
    for (int p = 0; p < 3; ++p) {
        plist_t playlist = plist_new_dict();
        plist_dict_set_item(playlist, "Name", plist_new_string(p ? "Mix" : "Library"));
        plist_t items = plist_new_array();
        for (int i = p; i < trackCount; i += p + 1) {
            plist_t item = plist_new_dict();
            plist_dict_set_item(item, "Track ID", plist_new_uint(static_cast<uint64_t>(1000 + i)));
            plist_array_append_item(items, item);
        }
        plist_dict_set_item(playlist, "Playlist Items", items);
        plist_array_append_item(playlists, playlist);
    }
    plist_dict_set_item(root, "Playlists", playlists);
    return PlistPtr(root);
}

} // namespace

TEST(SystemPlistParser, ConvertLeavesTheTreeAsItWas)
{
    const PlistPtr tree = libraryTree(300);
    plist_t tracks = plist_dict_get_item(static_cast<plist_t>(tree.get()), "Tracks");
    QString error;
    const QVariant first = SystemPlistParser::convert(tree.get(), &error);
    EXPECT_EQ(plist_dict_get_size(tracks), 300u);
    EXPECT_TRUE(first == SystemPlistParser::convert(tree.get(), &error));
    EXPECT_TRUE(first == reference(static_cast<plist_t>(tree.get())));
}

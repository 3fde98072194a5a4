#include "run/PreferenceKeys.h"

#include <cmath>

namespace {

PreferenceKeys::Key key(const char* name, PreferenceKeys::Type type, const QVariant& fallback,
                        const char* meaning, const QVariant& minimum = {}, const QVariant& maximum = {})
{
    return {QLatin1String(name), type, fallback, QLatin1String(meaning), minimum, maximum, false};
}

// A key the window keeps for itself.
PreferenceKeys::Key state(const char* name, PreferenceKeys::Type type, const QVariant& fallback,
                          const char* meaning, const QVariant& minimum = {}, const QVariant& maximum = {})
{
    PreferenceKeys::Key k = key(name, type, fallback, meaning, minimum, maximum);
    k.windowState = true;
    return k;
}

// The widest picture size any setting takes ("no limit").
constexpr int kNoLimit = 32767;

} // namespace

const QList<PreferenceKeys::Key>& PreferenceKeys::all()
{
    using T = Type;
    static const QList<Key> keys = {
        key("minImageSize", T::Float, 100.0, "smallest acceptable artwork width in pixels; 0 = no minimum", 0,
            kNoLimit),
        key("maxImageSize", T::Float, 450.0, "largest artwork width kept as it is; 32767 = no limit", 1,
            kNoLimit),
        key("overwriteImageThreshold", T::Float, 32767.0,
            "existing artwork narrower than this is replaced when overwriting artwork; 32767 = always", 0,
            kNoLimit),
        key("ignoreNonSquareArt", T::Boolean, true, "reject pictures far from square"),
        key("keepiTunesRefreshed", T::Boolean, true, "make iTunes re-read a song after writing it"),
        key("cacheSizeMB", T::Integer, 10, "disk size of the web cache in megabytes", 0, 100000),
        key("httpDeadlineSeconds", T::Integer, 60,
            "longest wait in seconds for the whole answer to one web request", 1, 3600),
        key("recordHistory", T::Boolean, true,
            "record every change to songs in the change history, for undo"),
        key("historySizeMB", T::Integer, 500,
            "largest size of the change history in megabytes; the oldest operations go first", 1, 1000000),
        key("id3v24Accurate", T::Boolean, false, "write ID3 2.4 frame sizes as synch-safe integers"),
        key("noiTunesArtwork", T::Boolean, false, "never ask iTunes about artwork kept outside the file"),
        state("filterLyrics", T::Boolean, false, "the search field searches lyrics"),
        state("drawerClosed", T::Boolean, false, "the main window's drawer is closed"),
        state("_source", T::Integer, QVariant(), "song source: 0 folder, 1 playlist, 2 iTunes library", 0, 2),
        state("_directory", T::String, QVariant(), "the folder used as song source (default ~/Music)"),
        state("_playlist", T::String, QStringLiteral("Library"), "the playlist used as song source"),
        key("updateCheckLevel", T::Integer, 0, "how often to check for updates", 0, 3),
        state("prefsVersion", T::Integer, QVariant(), "3 once the window's choices were stored"),
        key("checkAlbum", T::Boolean, true, "look up missing album names"),
        key("checkTitle", T::Boolean, true, "look up missing titles"),
        key("checkArtwork", T::Boolean, true, "look up missing artwork"),
        key("checkGenre", T::Boolean, true, "look up missing genres"),
        key("checkTrack", T::Boolean, true, "look up missing track numbers"),
        key("checkYear", T::Boolean, true, "look up missing years"),
        key("checkLyrics", T::Boolean, true, "look up missing lyrics"),
        key("overwriteAlbum", T::Boolean, false, "replace present album names"),
        key("overwriteTitle", T::Boolean, false, "replace present titles"),
        key("overwriteArtwork", T::Boolean, false, "replace present artwork"),
        key("overwriteGenre", T::Boolean, false, "replace present genres"),
        key("overwriteTrack", T::Boolean, false, "replace present track numbers"),
        key("overwriteYear", T::Boolean, false, "replace present years"),
        key("overwriteLyrics", T::Boolean, false, "replace present lyrics"),
        key("albumPickingMethod", T::Integer, 0, "0 earliest year, 1 most duplicates", 0, 1),
        key("allowSubstrings", T::Integer, 0, "1 allows partial title matches", 0, 1),
        key("parallelSearch", T::Integer, 0, "1 asks the web sources at the same time", 0, 1),
        state("sortColumn", T::String, QVariant(), "the column the song table is sorted by"),
        state("sortReverse", T::Boolean, false, "the song table is sorted descending"),
        state("lyricsWindow", T::Boolean, false, "the lyrics window was open at quit"),
        state("_welcomed", T::Boolean, false, "the welcome sheet was shown"),
        key("_dontAskLaunchITunes", T::Boolean, false, "don't offer to launch iTunes"),
        key("dontWarnCompilation", T::Integer, 0, "1 = don't warn before gathering titles of compilations", 0,
            1),
        key("noShowiTunesWarning", T::Boolean, false, "don't warn that iTunes must run for artwork"),
        key("userAgent", T::String, QVariant(),
            "the web user agent (default Quillbeat/<version> (like Safari/Gecko))"),
        key("postStatistics", T::Boolean, false, "send anonymous usage statistics"),
        key("discogsApiKey", T::String, QVariant(), "your own Discogs consumer key"),
        key("discogsSecret", T::String, QVariant(), "your own Discogs consumer secret"),
        state("noSystemDeserialize2", T::Boolean, false, "crash guard of the system property-list parser"),
        state("noSystemiTunesDeserialize", T::Boolean, false, "crash guard of the system library parser"),
    };
    return keys;
}

const PreferenceKeys::Key* PreferenceKeys::find(const QString& name)
{
    for (const Key& k : all()) {
        if (k.name == name)
            return &k;
    }
    return nullptr;
}

std::optional<QVariant> PreferenceKeys::valueFromText(const Key& key, const QString& text)
{
    const QString t = text.trimmed();
    bool ok = false;
    switch (key.type) {
    case Type::Boolean: {
        const QString lower = t.toLower();
        if (lower == QLatin1String("true") || lower == QLatin1String("yes") || lower == QLatin1String("1"))
            return QVariant(true);
        if (lower == QLatin1String("false") || lower == QLatin1String("no") || lower == QLatin1String("0"))
            return QVariant(false);
        return std::nullopt;
    }
    case Type::Integer: {
        const int value = t.toInt(&ok);
        if (!ok || (key.minimum.isValid() && value < key.minimum.toInt()) ||
            (key.maximum.isValid() && value > key.maximum.toInt()))
            return std::nullopt;
        return QVariant(value);
    }
    case Type::Float: {
        const double value = t.toDouble(&ok);
        if (!ok || !std::isfinite(value) || (key.minimum.isValid() && value < key.minimum.toDouble()) ||
            (key.maximum.isValid() && value > key.maximum.toDouble()))
            return std::nullopt;
        return QVariant(value);
    }
    case Type::String:
        return QVariant(text);
    }
    return std::nullopt;
}

QString PreferenceKeys::typeName(Type type)
{
    switch (type) {
    case Type::Boolean:
        return QStringLiteral("boolean");
    case Type::Integer:
        return QStringLiteral("integer");
    case Type::Float:
        return QStringLiteral("number");
    case Type::String:
        return QStringLiteral("text");
    }
    return QString();
}

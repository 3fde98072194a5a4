#include "iTunesInterface.h"

#include "AliasResolver.h"
#include "PlistCrashGuard.h"
#include "PropertyListReader.h"
#include "support/WMLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QUrl>

#include <cstddef>
#include <memory>
#include <mutex>

namespace {

const QByteArray kLibraryMarker = QByteArrayLiteral("<key>Music Folder</key>");
constexpr qint64 kThirtyDays = 2592000;

struct LibraryState
{
    std::recursive_mutex lock;
    QString guessedPath;
    QVariantMap dictionary;
    QString dictionaryPath;
    QDateTime dictionaryDate;
    // Why the file was only partly read (a damaged file stays damaged).
    QString dictionaryError;
    QString libraryFolder;
    QString persistentID;
    bool loggedChoice = false;
};

LibraryState& state()
{
    // Never destroyed: the last library read (hundreds of thousands of
    // values) would otherwise be taken apart value by value at exit, only for
    // the process to hand its memory back at once anyway.
    alignas(LibraryState) static std::byte storage[sizeof(LibraryState)];
    static LibraryState* const s = std::construct_at(reinterpret_cast<LibraryState*>(storage));
    return *s;
}

QString preferencesFile(const QString& domain)
{
    return QDir::homePath() + QStringLiteral("/Library/Preferences/") + domain + QStringLiteral(".plist");
}

QString parentFolder(const QString& path)
{
    return QFileInfo(path).absolutePath();
}

bool containsMarkerStreaming(QFile& file)
{
    constexpr qint64 kChunk = 1 << 20;
    const qint64 overlap = kLibraryMarker.size() - 1;
    file.seek(0);
    QByteArray carry;
    while (!file.atEnd()) {
        const QByteArray chunk = file.read(kChunk);
        if (chunk.isEmpty())
            break;
        const QByteArray window = carry + chunk;
        if (window.contains(kLibraryMarker))
            return true;
        carry = window.right(overlap);
    }
    return false;
}

} // namespace

QVariantMap iTunesInterface::preferencesDomain(const QString& domain)
{
    QFile file(preferencesFile(domain));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QString error;
    return PlistCrashGuard::readWithSetAndClear(QStringLiteral("noSystemiTunesDeserialize"), file.readAll(),
                                                &error)
        .toMap();
}

QString iTunesInterface::currentMusicLibraryPathFromPrefs()
{
    const QByteArray bookmark = preferencesDomain(QStringLiteral("com.apple.iTunes"))
                                    .value(QStringLiteral("Database Location"))
                                    .toByteArray();
    if (!bookmark.isEmpty()) {
        const QString path = AliasResolver::pathFromReferenceData(bookmark);
        if (!path.isEmpty())
            return parentFolder(path);
    }
    const QVariantList recent = preferencesDomain(QStringLiteral("com.apple.iApps"))
                                    .value(QStringLiteral("iTunesRecentDatabases"))
                                    .toList();
    if (recent.isEmpty())
        return {};
    const QString path = pathFromLocation(recent.first().toString());
    if (path.isEmpty())
        return {};
    return path.endsWith(QStringLiteral(".xml"), Qt::CaseInsensitive) ? parentFolder(path) : path;
}

QByteArray iTunesInterface::musicFolderAliasData(bool musicFolderOnly)
{
    const QVariantMap prefs = preferencesDomain(QStringLiteral("com.apple.iTunes"));
    if (!musicFolderOnly) {
        const QByteArray library =
            prefs.value(QStringLiteral("alis:1:iTunes Library Location")).toByteArray();
        if (!library.isEmpty())
            return library;
    }
    return prefs.value(QStringLiteral("alis:11345:Music Folder Location")).toByteArray();
}

QString iTunesInterface::guessedMusicLibraryPath(bool bypassCache)
{
    LibraryState& s = state();
    std::lock_guard guard(s.lock);
    if (!bypassCache && !s.guessedPath.isEmpty())
        return s.guessedPath;

    QString guess;
    const QByteArray alias = musicFolderAliasData(bypassCache);
    if (!alias.isEmpty()) {
        guess = AliasResolver::pathFromReferenceData(alias);
        if (guess.isEmpty()) {
            WMLog("Could not get path from music folder alias in iTunes preferences");
        } else {
            WMLog("guessedMusicLibraryPath(%d) %@", bypassCache ? 1 : 0, guess);
            if (bypassCache)
                return guess;
        }
    } else {
        WMLog("guessedMusicLibraryPath(%d) no musicFolderAliasData", bypassCache ? 1 : 0);
    }

    if (guess.isEmpty()) {
        const QString home = QDir::homePath();
        if (QFileInfo(home + QStringLiteral("/Music/iTunes/")).isDir())
            guess = home + QStringLiteral("/Music/iTunes/");
        else if (QFileInfo(home + QStringLiteral("/Documents/iTunes/")).isDir())
            guess = home + QStringLiteral("/Documents/iTunes/");
        else {
            WMLog("Could not find iTunes folder in Music or Documents.");
            return {};
        }
    }

    const QString resolved = QFileInfo(guess).canonicalFilePath();
    if (!resolved.isEmpty() && QDir::cleanPath(resolved) != QDir::cleanPath(guess)) {
        WMLog("Resolved alias/symlink from/to:\n%@\n%@", guess, resolved);
        guess = resolved;
    }
    s.guessedPath = guess;
    return guess;
}

bool iTunesInterface::isLibraryFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    if (file.read(1000).contains(kLibraryMarker))
        return true;
    const qint64 size = file.size();
    if (size >= 1000 && file.seek(size - 1000) && file.read(1000).contains(kLibraryMarker))
        return true;
    return size > 1000 && containsMarkerStreaming(file);
}

QString iTunesInterface::mostRecentMusicLibraryPath(QDateTime* date)
{
    const QString home = QDir::homePath();
    QSet<QString> folderSet;
    const QStringList candidates = {currentMusicLibraryPathFromPrefs(), guessedMusicLibraryPath(false),
                                    home + QStringLiteral("/Music/iTunes"),
                                    home + QStringLiteral("/Documents/iTunes")};
    for (const QString& folder : candidates)
        if (!folder.isEmpty())
            folderSet.insert(QDir::cleanPath(folder));
    QStringList folders = folderSet.values();
    folders.sort();

    QDateTime threshold = QDateTime::currentDateTimeUtc().addSecs(-kThirtyDays);
    QString answer;
    QDateTime answerDate;
    QString diagnostics = QStringLiteral("mostRecentMusicLibraryPath:\r\n");

    for (int pass = 1; pass <= 2 && answer.isEmpty(); ++pass) {
        for (const QString& folder : folders) {
            const QFileInfoList files = QDir(folder).entryInfoList(QDir::Files, QDir::Name);
            bool sawXML = false;
            for (const QFileInfo& info : files) {
                if (info.suffix().compare(QStringLiteral("xml"), Qt::CaseInsensitive) != 0)
                    continue;
                sawXML = true;
                const QString path = info.absoluteFilePath();
                const bool isLibrary = isLibraryFile(path);
                const QDateTime modified = info.lastModified().toUTC();
                const bool qualifies = isLibrary || info.fileName().startsWith(QStringLiteral("iTunes "));
                if (qualifies && modified.isValid() && modified > threshold) {
                    answer = path;
                    answerDate = modified;
                    threshold = modified;
                } else if (pass == 2 && qualifies && !modified.isValid() && answer.isEmpty()) {
                    answer = path;
                }
                diagnostics += WMFormat::string(" #%d: %d %@ - %@\r\n", pass, isLibrary ? 1 : 0,
                                                modified.toString(Qt::ISODate), path);
            }
            if (!sawXML)
                diagnostics += WMFormat::string(" #%d: 0 (no XML in %@)\r\n", pass, folder);
        }
    }

    LibraryState& s = state();
    {
        std::lock_guard guard(s.lock);
        if (!s.loggedChoice) {
            s.loggedChoice = true;
            WMLog("%@--> %@", diagnostics, answer);
        }
    }
    if (date)
        *date = answerDate;
    return answer;
}

QString iTunesInterface::currentMusicLibraryXMLPath()
{
    return mostRecentMusicLibraryPath(nullptr);
}

QDateTime iTunesInterface::currentMusicLibraryDate()
{
    QDateTime date;
    mostRecentMusicLibraryPath(&date);
    return date;
}

bool iTunesInterface::canGetMusicLibrary()
{
    return currentMusicLibraryDate().isValid();
}

QVariantMap iTunesInterface::getMusicLibraryDictionaryAtPath(const QString& path, QString* error)
{
    LibraryState& s = state();
    const QDateTime modified = QFileInfo(path).lastModified().toUTC();
    {
        std::lock_guard guard(s.lock);
        if (!s.dictionary.isEmpty() && modified.isValid() && modified == s.dictionaryDate &&
            path == s.dictionaryPath) {
            if (error)
                *error = s.dictionaryError;
            return s.dictionary;
        }
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = file.errorString();
        return {};
    }
    const QByteArray bytes = file.readAll();
    file.close();
    QString parseError;
    const QVariantMap library =
        PlistCrashGuard::readWithToggle(QStringLiteral("noSystemDeserialize"), bytes, &parseError).toMap();
    if (error)
        *error = parseError;
    if (library.isEmpty())
        return {};

    std::lock_guard guard(s.lock);
    s.dictionary = library;
    s.dictionaryPath = path;
    s.dictionaryDate = modified;
    s.dictionaryError = parseError;
    s.libraryFolder = parentFolder(path);
    s.persistentID = library.value(QStringLiteral("Library Persistent ID")).toString();
    return library;
}

QVariantMap iTunesInterface::getMusicLibraryDictionary(QString* error)
{
    const QString path = mostRecentMusicLibraryPath(nullptr);
    if (path.isEmpty()) {
        if (error)
            *error = QStringLiteral("Can't find library XML");
        return {};
    }
    return getMusicLibraryDictionaryAtPath(path, error);
}

QString iTunesInterface::musicLibraryPath()
{
    std::lock_guard guard(state().lock);
    return state().libraryFolder;
}

QString iTunesInterface::musicLibraryPersistentID()
{
    std::lock_guard guard(state().lock);
    return state().persistentID;
}

QString iTunesInterface::pathFromLocation(const QString& location)
{
    if (location.isEmpty())
        return {};
    const QUrl url(location);
    if (url.isLocalFile() || url.scheme() == QStringLiteral("file"))
        return url.path(QUrl::FullyDecoded);
    return location.startsWith(QLatin1Char('/')) ? location : QString();
}

QString iTunesInterface::mediaFolderPathFromDictionary(const QVariantMap& libraryArgument,
                                                       const QString& libraryPathArgument)
{
    QVariantMap library = libraryArgument;
    if (library.isEmpty()) {
        std::lock_guard guard(state().lock);
        library = state().dictionary;
    }
    QString libraryPath = libraryPathArgument;
    if (libraryPath.isEmpty())
        libraryPath = musicLibraryPath();
    if (libraryPath.isEmpty())
        libraryPath = parentFolder(mostRecentMusicLibraryPath(nullptr));

    QString location = library.value(QStringLiteral("Music Folder")).toString();
    if (location.isEmpty())
        location = library.value(QStringLiteral("Media Folder")).toString();
    QString media = fixedWindowsPath(pathFromLocation(location));
    if (media.isEmpty() || !QFileInfo::exists(media))
        media = guessedMusicLibraryPath(false);

    // A library on another volume whose media folder is recorded as a path
    // of the startup disk: look for the media folder on that volume.
    const QStringList parts = libraryPath.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (libraryPath.startsWith(QStringLiteral("/Volumes/")) && parts.size() >= 3 && !media.isEmpty() &&
        !media.startsWith(QStringLiteral("/Volumes/"))) {
        const QString volume = parts.at(1);
        media = QStringLiteral("/Volumes/") + volume + QLatin1Char('/') +
                (media.startsWith(QLatin1Char('/')) ? media.mid(1) : media);
    }
    return media;
}

QString iTunesInterface::playlistTypeForKind(const QString& kind)
{
    static const QHash<QString, QString> names = {{QStringLiteral("2"), QStringLiteral("Movies")},
                                                  {QStringLiteral("3"), QStringLiteral("TV Shows")},
                                                  {QStringLiteral("4"), QStringLiteral("Music")},
                                                  {QStringLiteral("5"), QStringLiteral("Books")},
                                                  {QStringLiteral("10"), QStringLiteral("Podcasts")},
                                                  {QStringLiteral("19"), QStringLiteral("Purchased")},
                                                  {QStringLiteral("22"), QStringLiteral("Party Shuffle")},
                                                  {QStringLiteral("26"), QStringLiteral("Genius")},
                                                  {QStringLiteral("31"), QStringLiteral("iTunes U")}};
    return names.value(kind, kind);
}

QString iTunesInterface::validateXMLAtPath(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists())
        return WMFormat::string("%@: no such file", path);
    QString text = WMFormat::string("%@: %lld bytes, modified %@, %@\n", path, info.size(),
                                    info.lastModified().toUTC().toString(Qt::ISODate),
                                    isLibraryFile(path) ? "library export" : "not a library export");
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return text + WMFormat::string("cannot be read: %@", file.errorString());
    QString error;
    const QVariant root = PropertyListReader::mutablePropertyListFromData(file.readAll(), false, &error);
    const QVariantMap library = root.toMap();
    text += WMFormat::string("tracks: %ld, playlists: %ld, music folder: %@, persistent ID: %@",
                             library.value(QStringLiteral("Tracks")).toMap().size(),
                             library.value(QStringLiteral("Playlists")).toList().size(),
                             library.value(QStringLiteral("Music Folder")).toString(),
                             library.value(QStringLiteral("Library Persistent ID")).toString());
    if (!error.isEmpty())
        text += WMFormat::string("\nerror: %@", error);
    return text;
}

void iTunesInterface::resetCaches()
{
    LibraryState& s = state();
    std::lock_guard guard(s.lock);
    s.guessedPath.clear();
    s.dictionary.clear();
    s.dictionaryPath.clear();
    s.dictionaryDate = {};
    s.dictionaryError.clear();
    s.libraryFolder.clear();
    s.persistentID.clear();
    s.loggedChoice = false;
}

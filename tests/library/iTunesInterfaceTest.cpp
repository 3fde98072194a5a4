#include "TestSupport.h"

#include "library/AliasResolver.h"
#include "library/iTunesInterface.h"
#include "library/iTunesLibInterface.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QSettings>
#include <QtEndian>

#include <gtest/gtest.h>

namespace {

QByteArray libraryExport(const QByteArray& musicFolder, const QByteArray& tracks,
                         const QByteArray& padding = {})
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + padding +
           "\t<key>Library Persistent ID</key><string>0123456789ABCDEF</string>\n"
           "\t<key>Music Folder</key><string>" +
           musicFolder + "</string>\n\t<key>Tracks</key>\n\t<dict>\n" + tracks +
           "\t</dict>\n\t<key>Playlists</key>\n\t<array>\n"
           "\t\t<dict><key>Name</key><string>Library</string><key>Master</key><true/>"
           "<key>Playlist Items</key><array><dict><key>Track "
           "ID</key><integer>1</integer></dict></array></dict>\n"
           "\t\t<dict><key>Name</key><string>Music</string><key>Distinguished "
           "Kind</key><integer>4</integer></dict>\n"
           "\t</array>\n</dict>\n</plist>\n";
}

QByteArray track(int id, const QByteArray& name)
{
    return "\t\t<key>" + QByteArray::number(id) + "</key>\n\t\t<dict><key>Track ID</key><integer>" +
           QByteArray::number(id) + "</integer><key>Name</key><string>" + name +
           "</string><key>Location</key><string>file://localhost/Music/a%20b.mp3</string></dict>\n";
}

class HomeFolderTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mOldHome = qgetenv("HOME");
        mHome = TestSupport::scratchFolder() + QStringLiteral("/home-") +
                QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name());
        QDir(mHome).removeRecursively();
        QDir().mkpath(mHome);
        qputenv("HOME", QFile::encodeName(mHome));
        iTunesInterface::resetCaches();
    }
    void TearDown() override
    {
        qputenv("HOME", mOldHome);
        iTunesInterface::resetCaches();
    }
    QString put(const QString& relative, const QByteArray& bytes, qint64 ageSeconds)
    {
        const QString path = mHome + QLatin1Char('/') + relative;
        EXPECT_TRUE(TestSupport::writeFile(path, bytes));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(QDateTime::currentDateTimeUtc().addSecs(-ageSeconds),
                                     QFileDevice::FileModificationTime));
        return path;
    }

    QByteArray mOldHome;
    QString mHome;
};

constexpr qint64 kDay = 86400;

} // namespace

TEST_F(HomeFolderTest, NamePrefixQualifiesAndOldExportsNeverDo)
{
    put(QStringLiteral("Music/iTunes/iTunes Music Library.xml"), "<plist>no marker</plist>", 2 * kDay);
    put(QStringLiteral("Documents/iTunes/Newer.xml"), libraryExport("x", {}), 40 * kDay);
    EXPECT_TRUE(
        iTunesInterface::mostRecentMusicLibraryPath().endsWith(QStringLiteral("/iTunes Music Library.xml")));

    iTunesInterface::resetCaches();
    QFile::remove(mHome + QStringLiteral("/Music/iTunes/iTunes Music Library.xml"));
    EXPECT_TRUE(iTunesInterface::mostRecentMusicLibraryPath().isEmpty()) << "older than 30 days";
    EXPECT_FALSE(iTunesInterface::canGetMusicLibrary());
}

TEST_F(HomeFolderTest, RecognisesTheMarkerAtTheEndOrInTheMiddle)
{
    const QByteArray filler(5000, ' ');
    const QString atEnd = put(QStringLiteral("a.xml"), filler + "<key>Music Folder</key>", 0);
    const QString inMiddle = put(QStringLiteral("b.xml"), filler + "<key>Music Folder</key>" + filler, 0);
    const QString split =
        put(QStringLiteral("c.xml"), QByteArray((1 << 20) - 10, ' ') + "<key>Music Folder</key>" + filler, 0);
    const QString none = put(QStringLiteral("d.xml"), filler + "<key>Music</key>" + filler, 0);
    EXPECT_TRUE(iTunesInterface::isLibraryFile(atEnd));
    EXPECT_TRUE(iTunesInterface::isLibraryFile(inMiddle));
    EXPECT_TRUE(iTunesInterface::isLibraryFile(split)) << "a marker across the read chunks";
    EXPECT_FALSE(iTunesInterface::isLibraryFile(none));
}

TEST_F(HomeFolderTest, TheFolderNamedInThePreferencesIsACandidate)
{
    const QString custom = mHome + QStringLiteral("/Elsewhere/My Lib");
    put(QStringLiteral("Elsewhere/My Lib/export.xml"), libraryExport("x", {}), kDay);
    const QByteArray url = QUrl::fromLocalFile(custom + QStringLiteral("/export.xml")).toEncoded();
    put(QStringLiteral("Library/Preferences/com.apple.iApps.plist"),
        "<?xml version=\"1.0\"?><plist "
        "version=\"1.0\"><dict><key>iTunesRecentDatabases</key><array><string>" +
            url + "</string></array></dict></plist>",
        0);
    EXPECT_EQ(iTunesInterface::currentMusicLibraryPathFromPrefs(), custom);
    EXPECT_EQ(iTunesInterface::mostRecentMusicLibraryPath(), custom + QStringLiteral("/export.xml"));
}

TEST_F(HomeFolderTest, ATruncatedExportLoadsWhatItCan)
{
    QByteArray bytes = libraryExport("x", track(1, "One") + track(2, "Two"));
    bytes.truncate(bytes.indexOf("<key>2</key>") + 20);
    const QString path = put(QStringLiteral("Music/iTunes/Library.xml"), bytes, 60);
    QString error;
    const QVariantMap library = iTunesInterface::getMusicLibraryDictionaryAtPath(path, &error);
    const QVariantMap first =
        library.value(QStringLiteral("Tracks")).toMap().value(QStringLiteral("1")).toMap();
    EXPECT_EQ(first.value(QStringLiteral("Name")), QStringLiteral("One"));
}

TEST_F(HomeFolderTest, NoExportAtAllSaysSo)
{
    QString error;
    EXPECT_TRUE(iTunesInterface::getMusicLibraryDictionary(&error).isEmpty());
    EXPECT_EQ(error, QStringLiteral("Can't find library XML"));
    EXPECT_TRUE(iTunesInterface::guessedMusicLibraryPath(true).isEmpty());
}

TEST_F(HomeFolderTest, MediaFolderFallsBackAndFollowsExternalVolumes)
{
    const QString media = mHome + QStringLiteral("/Media");
    QDir().mkpath(media);
    QDir().mkpath(mHome + QStringLiteral("/Music/iTunes"));
    const QVariantMap library{{QStringLiteral("Music Folder"), QUrl::fromLocalFile(media).toString()}};
    EXPECT_EQ(
        iTunesInterface::mediaFolderPathFromDictionary(library, mHome + QStringLiteral("/Music/iTunes")),
        media);
    EXPECT_EQ(iTunesInterface::mediaFolderPathFromDictionary(library, QStringLiteral("/Volumes/Ext/iTunes")),
              QStringLiteral("/Volumes/Ext") + media);
    const QVariantMap older{
        {QStringLiteral("Media Folder"), QStringLiteral("file://localhost/nowhere/at/all/")}};
    EXPECT_EQ(iTunesInterface::mediaFolderPathFromDictionary(older, mHome + QStringLiteral("/Music/iTunes")),
              iTunesInterface::guessedMusicLibraryPath(false));
    EXPECT_EQ(iTunesInterface::pathFromLocation(QStringLiteral("file://localhost/Users/me/a%20b%C3%A9.mp3")),
              QStringLiteral("/Users/me/a bé.mp3"));
}

TEST(iTunesInterface, NamesPlaylistKinds)
{
    EXPECT_EQ(iTunesInterface::playlistTypeForKind(QStringLiteral("4")), QStringLiteral("Music"));
    EXPECT_EQ(iTunesInterface::playlistTypeForKind(QStringLiteral("26")), QStringLiteral("Genius"));
    EXPECT_EQ(iTunesInterface::playlistTypeForKind(QStringLiteral("7")), QStringLiteral("7"));
}

TEST(iTunesLibInterface, AnswersNothingWithoutTheFramework)
{
    QString error;
    EXPECT_FALSE(iTunesLibInterface::canAccessLibrary());
    EXPECT_TRUE(iTunesLibInterface::getMusicLibraryDictionary(&error).isEmpty());
    EXPECT_FALSE(error.isEmpty());
    EXPECT_EQ(iTunesLibInterface::persistentIDString(0xABC), QStringLiteral("             ABC"));
}

namespace {

void append32le(QByteArray& d, quint32 v)
{
    char b[4];
    qToLittleEndian(v, b);
    d.append(b, 4);
}

// A bookmark holding the path components of /Users/me/Music.
QByteArray bookmark()
{
    QByteArray data;
    QList<quint32> offsets;
    append32le(data, 0); // offset of the first table, filled in below
    for (const char* part : {"Users", "me", "Music"}) {
        offsets << quint32(data.size());
        append32le(data, quint32(qstrlen(part)));
        append32le(data, 0x0101);
        data.append(part);
        while (data.size() % 4)
            data.append('\0');
    }
    const quint32 array = quint32(data.size());
    append32le(data, quint32(offsets.size() * 4));
    append32le(data, 0x0601);
    for (quint32 o : offsets)
        append32le(data, o);
    const quint32 toc = quint32(data.size());
    append32le(data, 32);
    append32le(data, 0xfffffffe);
    append32le(data, 1);
    append32le(data, 0);
    append32le(data, 1);
    append32le(data, 0x1004);
    append32le(data, array);
    append32le(data, 0);
    qToLittleEndian(toc, data.data());
    QByteArray header("book");
    append32le(header, quint32(48 + data.size()));
    append32le(header, 0x10040000);
    append32le(header, 48);
    header.append(QByteArray(32, '\0'));
    return header + data;
}

QByteArray aliasRecord(const QByteArray& path, const QByteArray& mountPoint)
{
    QByteArray data(150, '\0');
    data[7] = 2; // version
    auto field = [&](quint16 tag, const QByteArray& value) {
        data.append(char(tag >> 8)).append(char(tag & 0xff));
        data.append(char(value.size() >> 8)).append(char(value.size() & 0xff));
        data.append(value);
        if (value.size() & 1)
            data.append('\0');
    };
    field(2, "ignored");
    field(18, path);
    field(19, mountPoint);
    data.append("\xff\xff\0\0", 4);
    return data;
}

} // namespace

TEST(AliasResolver, ReadsBookmarksAndAliasRecords)
{
    EXPECT_EQ(AliasResolver::pathFromReferenceData(bookmark()), QStringLiteral("/Users/me/Music"));
    EXPECT_EQ(AliasResolver::pathFromReferenceData(aliasRecord("Users/me/Music/iTunes", "/")),
              QStringLiteral("/Users/me/Music/iTunes"));
    EXPECT_EQ(AliasResolver::pathFromReferenceData(aliasRecord("/Music", "/Volumes/Ext")),
              QStringLiteral("/Volumes/Ext/Music"));
}

TEST(AliasResolver, SurvivesDamagedData)
{
    const QByteArray good = bookmark();
    for (qsizetype cut = 0; cut < good.size(); cut += 3)
        AliasResolver::pathFromReferenceData(good.left(cut));
    QByteArray looping = good;
    // A table of contents pointing at itself ends, it does not loop forever.
    const quint32 toc = qFromLittleEndian<quint32>(good.constData() + 48);
    qToLittleEndian(toc, looping.data() + 48 + toc + 12);
    AliasResolver::pathFromReferenceData(looping);
    EXPECT_TRUE(AliasResolver::pathFromReferenceData(QByteArray("book\xff\xff\xff\xff", 8)).isEmpty());
    EXPECT_TRUE(AliasResolver::pathFromReferenceData(QByteArray(200, '\xff')).isEmpty());
}

// A song written while a media player of the session bus plays it: the
// player is paused before the file changes and resumed after; players of
// other files, or paused ones, are left alone. A bus of the test's own
// (dbus-daemon) carries a player that lives on a thread of its own.
#include "SongTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "library/MprisPlayers.h"
#include "songs/SongFile.h"
#include "tags/AudioInfoTag.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QFileInfo>
#include <QMutex>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>
#include <QUrl>

#include <gtest/gtest.h>

#include <ostream>

inline void PrintTo(const QString& text, std::ostream* os)
{
    *os << '"' << text.toStdString() << '"';
}

namespace {

// org.mpris.MediaPlayer2.Player as much as the pause needs.
class FakePlayer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(QVariantMap Metadata READ metadata)

public:
    QString playbackStatus() const
    {
        QMutexLocker locker(&mLock);
        return mStatus;
    }
    QVariantMap metadata() const
    {
        QMutexLocker locker(&mLock);
        return {{QStringLiteral("xesam:url"), QUrl::fromLocalFile(mFile).toString()}};
    }
    void play(const QString& file, const QString& status)
    {
        QMutexLocker locker(&mLock);
        mFile = file;
        mStatus = status;
        mCalls.clear();
    }
    // The calls received, each with the title the file held at that moment.
    QStringList calls() const
    {
        QMutexLocker locker(&mLock);
        return mCalls;
    }

public slots:
    void Pause() { note(QStringLiteral("Pause"), QStringLiteral("Paused")); }
    void Play() { note(QStringLiteral("Play"), QStringLiteral("Playing")); }

private:
    void note(const QString& call, const QString& status)
    {
        std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(mFile);
        QMutexLocker locker(&mLock);
        mCalls.append(call + QLatin1Char(' ') + (tag ? tag->title() : QString()));
        mStatus = status;
    }

    mutable QMutex mLock;
    QString mFile;
    QString mStatus;
    QStringList mCalls;
};

class MprisPauseTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
        if (daemon.isEmpty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        mDaemon.start(daemon, {QStringLiteral("--session"), QStringLiteral("--nofork"),
                               QStringLiteral("--print-address=1")});
        ASSERT_TRUE(mDaemon.waitForStarted());
        ASSERT_TRUE(mDaemon.waitForReadyRead(5000));
        mAddress = QString::fromUtf8(mDaemon.readLine()).trimmed();
        ASSERT_FALSE(mAddress.isEmpty());

        // The player answers on its own thread and its own connection.
        mPlayer = new FakePlayer;
        mPlayer->moveToThread(&mThread);
        mThread.start();
        QDBusConnection bus = QDBusConnection::connectToBus(mAddress, QStringLiteral("fake player"));
        ASSERT_TRUE(bus.isConnected());
        ASSERT_TRUE(bus.registerService(QStringLiteral("org.mpris.MediaPlayer2.fakeplayer")));
        ASSERT_TRUE(
            bus.registerObject(QStringLiteral("/org/mpris/MediaPlayer2"), mPlayer,
                               QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties));
        MprisPlayers::setBusAddress(mAddress);

        const QString folder = SongTestFiles::folder(QStringLiteral("mpris"));
        mSong = SongTestFiles::writeMp3(folder + QStringLiteral("/played.mp3"),
                                        {{QStringLiteral("title"), QStringLiteral("Before")}});
        mOther = SongTestFiles::writeMp3(folder + QStringLiteral("/other.mp3"),
                                         {{QStringLiteral("title"), QStringLiteral("Other")}});
        ASSERT_FALSE(mSong.isEmpty());
        ASSERT_FALSE(mOther.isEmpty());
    }

    void TearDown() override
    {
        MprisPlayers::setBusAddress(QString());
        if (mPlayer) {
            QDBusConnection::disconnectFromBus(QStringLiteral("fake player"));
            mThread.quit();
            mThread.wait();
            delete mPlayer;
        }
        if (mDaemon.state() != QProcess::NotRunning) {
            mDaemon.kill();
            mDaemon.waitForFinished();
        }
    }

    // Writes a new title into the song the way the program does.
    bool writeTitle(const QString& title)
    {
        std::shared_ptr<SongFile> song = SongFile::songWithPath(mSong);
        if (!song || !song->infotag())
            return false;
        song->infotag()->setTitle(title);
        QString error;
        return song->writeToOriginalPath(&error, false);
    }

    QProcess mDaemon;
    QString mAddress;
    QThread mThread;
    FakePlayer* mPlayer = nullptr;
    QString mSong;
    QString mOther;
};

} // namespace

TEST_F(MprisPauseTest, APlayerPlayingTheSongIsPausedWhileItIsWritten)
{
    mPlayer->play(mSong, QStringLiteral("Playing"));
    ASSERT_TRUE(writeTitle(QStringLiteral("After")));
    // The resume is sent without waiting for the player's answer.
    ASSERT_TRUE(TestHttpServer::waitFor([this] { return mPlayer->calls().size() >= 2; }, 5000));
    // Paused while the file still held the old title, resumed with the new.
    EXPECT_EQ(mPlayer->calls(), (QStringList{QStringLiteral("Pause Before"), QStringLiteral("Play After")}));
}

#include "MprisPauseTest.moc"

#include "TestSupport.h"

#include "support/LocalizedStrings.h"
#include "tags/FileIdentity.h"
#include "tags/FileWriteLock.h"
#include "tags/JournalChecksum.h"
#include "tags/RewriteJournal.h"
#include "tags/SafeFileRewriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <csignal>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace {

using Fault = SafeFileRewriter::FaultPoint;

QByteArray pattern(int size, int seed)
{
    return TestSupport::pattern(size, seed);
}

// What the edits should produce from `original`, computed independently.
QByteArray applied(const QByteArray& original, const QList<FileEdit>& edits)
{
    QByteArray result;
    qint64 at = 0;
    for (const FileEdit& edit : edits) {
        result += original.mid(at, edit.offset - at);
        result += edit.bytes;
        at = edit.offset + edit.length;
    }
    return result + original.mid(at);
}

class SafeFileRewriterTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFolder = TestSupport::testFolder(QStringLiteral("rewrite"));
        SafeFileRewriter::setJournalFolder(mFolder + QStringLiteral("/journals"));
        SafeFileRewriter::setFaultPoint(Fault::None);
    }
    void TearDown() override
    {
        SafeFileRewriter::setFaultPoint(Fault::None);
        SafeFileRewriter::setFlushToDisk(true);
    }

    QString makeFile(const QString& name, const QByteArray& bytes)
    {
        const QString path = mFolder + QLatin1Char('/') + name;
        EXPECT_TRUE(TestSupport::writeFile(path, bytes));
        return path;
    }
    // Applies the edits; the reason of a refusal is left in mError.
    bool apply(const QString& path, const QList<FileEdit>& edits, const FileIdentity& read = FileIdentity())
    {
        mError.clear();
        return SafeFileRewriter::apply(path, edits, read, &mError);
    }
    QStringList journals() const { return SafeFileRewriter::pendingJournals(); }
    QStringList setAside() const { return QDir(setAsideFolder()).entryList(QDir::Files); }
    static QString setAsideFolder()
    {
        return SafeFileRewriter::journalFolder() + QStringLiteral("/Set Aside");
    }

    QString mFolder;
    QString mError;
};

// The edit shapes a tag writer produces: a grown tag, a shrunk tag, a tag of
// the same length, and several edits at once (tag in front, trailer at the end).
QList<QList<FileEdit>> editShapes(const QByteArray& original)
{
    const qint64 size = original.size();
    return {
        {{0, 3000, pattern(8120, 1)}},
        {{0, 9000, pattern(200, 2)}},
        {{0, 3000,
          original.left(100) + pattern(3, 3) + original.mid(103, 2000) + pattern(5, 4) +
              original.mid(2108, 892)}},
        {{10, 90, pattern(5210, 5)}, {size - 128, 128, pattern(128, 6)}},
        {{4000, 0, pattern(700, 7)}, {size, 0, pattern(128, 8)}},
    };
}

} // namespace

TEST_F(SafeFileRewriterTest, EditsGiveTheExpectedBytesInTheSameInode)
{
    const QByteArray original = pattern(60000, 0);
    const qint64 memoryLimit = RewriteJournal::inMemoryLimit();
    int shape = 0;
    // Every shape twice: with the saved bytes kept in memory, and copied back
    // from the journal as for large files.
    for (const QList<FileEdit>& edits : editShapes(original) + editShapes(original)) {
        SCOPED_TRACE(shape);
        RewriteJournal::setInMemoryLimit(shape < 5 ? memoryLimit : 0);
        const QString path = makeFile(QStringLiteral("song%1.mp3").arg(shape), original);
        const QString link = path + QStringLiteral(".link");
        ASSERT_EQ(::link(QFile::encodeName(path).constData(), QFile::encodeName(link).constData()), 0);
        QFile openHandle(path);
        ASSERT_TRUE(openHandle.open(QIODevice::ReadOnly));
        const FileIdentity before = FileIdentity::of(path);

        ASSERT_TRUE(apply(path, edits, before)) << mError.toStdString();
        const QByteArray expected = applied(original, edits);
        EXPECT_EQ(TestSupport::readFile(path), expected);
        EXPECT_EQ(TestSupport::readFile(link), expected);
        EXPECT_EQ(openHandle.readAll(), expected);
        EXPECT_EQ(FileIdentity::of(path).inode, before.inode);
        EXPECT_TRUE(journals().isEmpty());
        ++shape;
    }
    RewriteJournal::setInMemoryLimit(memoryLimit);
}

TEST_F(SafeFileRewriterTest, RecoveryAfterEveryFaultGivesBackTheOriginalBytes)
{
    const QByteArray original = pattern(60000, 0);
    const Fault faults[] = {Fault::AfterJournal, Fault::AfterWrite, Fault::AfterTruncate, Fault::AfterFlush};
    int shape = 0;
    for (const QList<FileEdit>& edits : editShapes(original)) {
        for (Fault fault : faults) {
            SCOPED_TRACE(QStringLiteral("shape %1 fault %2").arg(shape).arg(int(fault)).toStdString());
            const QString path = makeFile(QStringLiteral("song.mp3"), original);
            const FileIdentity before = FileIdentity::of(path);
            SafeFileRewriter::setFaultPoint(fault);
            EXPECT_FALSE(apply(path, edits, before));
            SafeFileRewriter::setFaultPoint(Fault::None);
            EXPECT_FALSE(mError.isEmpty());
            ASSERT_EQ(journals().size(), 1);
            if (fault != Fault::AfterJournal) {
                EXPECT_NE(TestSupport::readFile(path), original);
            }

            const int restored = SafeFileRewriter::recoverInterruptedWrites();
            EXPECT_EQ(restored, fault == Fault::AfterJournal ? 0 : 1);
            EXPECT_EQ(TestSupport::readFile(path), original);
            EXPECT_EQ(FileIdentity::of(path).inode, before.inode);
            EXPECT_TRUE(journals().isEmpty());
            EXPECT_TRUE(setAside().isEmpty());
        }
        ++shape;
    }
}

TEST_F(SafeFileRewriterTest, RecoveryNeverPutsBackOverAnotherProgramsChange)
{
    // Interrupted, and then, before the next start, another program changes
    // a byte the write changes too: its byte must stay.
    const QByteArray original = pattern(60000, 0);
    const QList<FileEdit> same = {{0, 3000, pattern(3000, 9)}};
    const QList<FileEdit> grow = {{0, 3000, pattern(8000, 9)}};
    const QList<FileEdit> shrink = {{0, 9000, pattern(200, 9)}};
    const struct
    {
        const char* name;
        Fault fault;
        const QList<FileEdit>& edits;
    } rows[] = {
        {"same length, not yet written", Fault::AfterJournal, same},
        {"same length, written", Fault::AfterWrite, same},
        {"same length, flushed", Fault::AfterFlush, same},
        {"growing, not yet written", Fault::AfterJournal, grow},
        {"growing, written", Fault::AfterWrite, grow},
        {"shrinking, truncated", Fault::AfterTruncate, shrink},
    };
    for (const auto& row : rows) {
        const QString path = makeFile(QStringLiteral("theirs.mp3"), original);
        SafeFileRewriter::setFaultPoint(row.fault);
        EXPECT_FALSE(apply(path, row.edits, FileIdentity::of(path))) << row.name;
        SafeFileRewriter::setFaultPoint(Fault::None);
        QByteArray theirs = TestSupport::readFile(path);
        char value = 0;
        while (value == original[100] || value == row.edits.first().bytes[100])
            ++value;
        theirs[100] = value;
        ASSERT_TRUE(TestSupport::writeFile(path, theirs)) << row.name;

        EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0) << row.name;
        EXPECT_EQ(TestSupport::readFile(path), theirs) << row.name << ": the other program's change is lost";
        EXPECT_TRUE(journals().isEmpty()) << row.name;
        EXPECT_EQ(setAside().size(), 1) << row.name;
        QDir(setAsideFolder()).removeRecursively();
    }
}

TEST_F(SafeFileRewriterTest, AJournalOfTheFirstVersionIsStillUndone)
{
    // Left by a build that wrote one file per journal, without change times
    // and edits: the file is half written.
    const QByteArray original = pattern(20000, 0);
    const QString path = makeFile(QStringLiteral("old.mp3"), original);
    const FileIdentity before = FileIdentity::of(path);
    const auto put = [](QByteArray& out, auto value) {
        char bytes[sizeof value];
        qToLittleEndian(value, bytes);
        out.append(bytes, sizeof value);
    };
    QByteArray journal("QBJOURNL");
    put(journal, quint32(1));
    put(journal, quint32(QFile::encodeName(path).size()));
    journal += QFile::encodeName(path);
    for (qint64 size : {before.size, before.size + 5000}) {
        put(journal, before.device);
        put(journal, before.inode);
        put(journal, size);
        put(journal, size == before.size ? before.mtimeNs : qint64(0));
    }
    put(journal, before.size);
    put(journal, quint32(1));
    put(journal, qint64(100));
    put(journal, before.size - 100);
    journal += original.mid(100);
    JournalChecksum checksum;
    checksum.update(journal.constData(), journal.size());
    put(journal, checksum.value());
    ASSERT_TRUE(TestSupport::writeFile(SafeFileRewriter::journalFolder() + QStringLiteral("/slot-0.journal"),
                                       journal));
    ASSERT_TRUE(TestSupport::writeFile(path, original.left(100) + pattern(7000, 1) + original.mid(7100)));

    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 1);
    EXPECT_EQ(TestSupport::readFile(path), original);
    EXPECT_TRUE(journals().isEmpty());
}

TEST_F(SafeFileRewriterTest, WithoutFlushingTheJournalStillUndoes)
{
    const QByteArray original = pattern(60000, 0);
    const QList<FileEdit> grow = editShapes(original).first();
    SafeFileRewriter::setFlushToDisk(false);
    const QString path = makeFile(QStringLiteral("noflush.mp3"), original);
    EXPECT_TRUE(apply(path, grow));
    EXPECT_EQ(TestSupport::readFile(path), applied(original, grow));
    ASSERT_TRUE(TestSupport::writeFile(path, original));
    SafeFileRewriter::setFaultPoint(Fault::AfterTruncate);
    EXPECT_FALSE(apply(path, grow));
    SafeFileRewriter::setFlushToDisk(true);
    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 1);
    EXPECT_EQ(TestSupport::readFile(path), original);
}

TEST_F(SafeFileRewriterTest, SameLengthEditJournalsAndWritesOnlyTheDifferences)
{
    const QByteArray original = pattern(200000, 0);
    const QString path = makeFile(QStringLiteral("same.mp3"), original);
    QByteArray tag = original.left(100000);
    tag[10] = char(tag[10] ^ 0x55);
    tag[20] = char(tag[20] ^ 0x55); // merged with the one above
    tag[90000] = char(tag[90000] ^ 0x55);
    SafeFileRewriter::setFaultPoint(Fault::AfterJournal);
    EXPECT_FALSE(apply(path, {{0, 100000, tag}}));
    const QStringList left = journals();
    ASSERT_EQ(left.size(), 1);
    // A header of about 200 bytes and two small regions, not 100 KB.
    EXPECT_LT(QFileInfo(left.first()).size(), 400);
    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0);

    SafeFileRewriter::setFaultPoint(Fault::None);
    const FileIdentity before = FileIdentity::of(path);
    ASSERT_TRUE(apply(path, {{0, 100000, tag}}, before));
    EXPECT_EQ(TestSupport::readFile(path), tag + original.mid(100000));

    // Nothing differs: nothing is written, not even the time.
    const FileIdentity unchanged = FileIdentity::of(path);
    ASSERT_TRUE(apply(path, {{0, 100000, tag}}, unchanged));
    EXPECT_EQ(FileIdentity::of(path), unchanged);
}

TEST_F(SafeFileRewriterTest, RefusesFilesChangedSinceTheyWereRead)
{
    const QByteArray original = pattern(30000, 0);
    const QString path = makeFile(QStringLiteral("changed.mp3"), original);
    const FileIdentity read = FileIdentity::of(path);
    QByteArray other = original;
    other[5] = 'x';
    // Same length, new time.
    ASSERT_TRUE(TestSupport::writeFile(path, other));
    struct timespec times[2] = {{0, UTIME_OMIT}, {read.mtimeNs / 1000000000 + 5, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
    EXPECT_FALSE(apply(path, {{0, 100, pattern(5000, 1)}}, read));
    EXPECT_TRUE(mError.contains(path));
    EXPECT_TRUE(mError.contains(QStringLiteral("changed")));
    EXPECT_EQ(TestSupport::readFile(path), other);

    // Same length and the time put back: only the change time tells.
    const FileIdentity beforeQuietChange = FileIdentity::of(path);
    other[6] = 'y';
    ASSERT_TRUE(TestSupport::writeFile(path, other));
    struct timespec back[2] = {
        {0, UTIME_OMIT}, {beforeQuietChange.mtimeNs / 1000000000, beforeQuietChange.mtimeNs % 1000000000}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), back, 0), 0);
    ASSERT_TRUE(FileIdentity::of(path).hasSameContentStamp(beforeQuietChange));
    EXPECT_FALSE(apply(path, {{0, 100, pattern(5000, 1)}}, beforeQuietChange));
    EXPECT_EQ(TestSupport::readFile(path), other);

    // Replaced by another file under the same name.
    const FileIdentity current = FileIdentity::of(path);
    ASSERT_TRUE(QFile::remove(path));
    makeFile(QStringLiteral("changed.mp3"), other);
    EXPECT_FALSE(apply(path, {{0, 100, pattern(5000, 1)}}, current));
    EXPECT_EQ(TestSupport::readFile(path), other);
    EXPECT_TRUE(journals().isEmpty());
}

TEST_F(SafeFileRewriterTest, RejectsEditsThatDoNotFitAndUnwritableFiles)
{
    const QByteArray original = pattern(1000, 0);
    const QString path = makeFile(QStringLiteral("bad.mp3"), original);
    // Overlapping, past the end, negative offset or length.
    for (const QList<FileEdit>& edits : QList<QList<FileEdit>>{
             {{0, 10, "a"}, {5, 10, "b"}}, {{990, 11, "a"}}, {{-1, 1, "a"}}, {{10, -1, "a"}}})
        EXPECT_FALSE(apply(path, edits)) << edits.first().offset;
    EXPECT_FALSE(apply(mFolder + QStringLiteral("/missing.mp3"), {{0, 0, "a"}}));
    EXPECT_FALSE(mError.isEmpty());
    if (::geteuid() != 0) {
        QFile::setPermissions(path, QFileDevice::ReadOwner);
        EXPECT_FALSE(apply(path, {{0, 1, "a"}}));
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    }
    EXPECT_EQ(TestSupport::readFile(path), original);
    EXPECT_TRUE(journals().isEmpty());
}

TEST_F(SafeFileRewriterTest, WriteErrorPutsTheOriginalBack)
{
    // A file-size limit makes the growing write fail half-way (EFBIG) while
    // the small journal still fits.
    const QByteArray original = pattern(50000, 0);
    const QString path = makeFile(QStringLiteral("limit.mp3"), original);
    struct rlimit saved;
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limited = saved;
    limited.rlim_cur = 52000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    const bool written = apply(path, {{45000, 10, pattern(5000, 1)}});
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previousHandler);
    EXPECT_FALSE(written);
    EXPECT_TRUE(mError.contains(QStringLiteral("put back"))) << mError.toStdString();
    EXPECT_EQ(TestSupport::readFile(path), original);
    EXPECT_TRUE(journals().isEmpty());
}

TEST_F(SafeFileRewriterTest, JournalsThatMatchNeitherStateAreSetAside)
{
    const QByteArray original = pattern(40000, 0);
    const QList<FileEdit> grow = {{0, 1000, pattern(6000, 1)}};

    // The file was replaced after the interruption.
    const QString replaced = makeFile(QStringLiteral("replaced.mp3"), original);
    SafeFileRewriter::setFaultPoint(Fault::AfterWrite);
    EXPECT_FALSE(apply(replaced, grow));
    ASSERT_TRUE(QFile::remove(replaced));
    makeFile(QStringLiteral("replaced.mp3"), "someone else's file");
    // The file's length is outside anything the write could have left.
    const QString cut = makeFile(QStringLiteral("cut.mp3"), original);
    EXPECT_FALSE(apply(cut, grow));
    ASSERT_EQ(::truncate(QFile::encodeName(cut).constData(), 100), 0);
    const QByteArray cutBytes = TestSupport::readFile(cut);
    // The file is gone.
    const QString gone = makeFile(QStringLiteral("gone.mp3"), original);
    EXPECT_FALSE(apply(gone, grow));
    ASSERT_TRUE(QFile::remove(gone));
    SafeFileRewriter::setFaultPoint(Fault::None);
    ASSERT_EQ(journals().size(), 3);

    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0);
    EXPECT_EQ(TestSupport::readFile(replaced), QByteArray("someone else's file"));
    EXPECT_EQ(TestSupport::readFile(cut), cutBytes);
    EXPECT_FALSE(QFileInfo::exists(gone));
    EXPECT_TRUE(journals().isEmpty());
    EXPECT_EQ(setAside().size(), 3);
    // Set aside for good: a second start does not look at them again.
    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0);
}

TEST_F(SafeFileRewriterTest, DamagedOrBusyJournalsAreNeverApplied)
{
    const QByteArray original = pattern(40000, 0);
    const QString path = makeFile(QStringLiteral("damaged.mp3"), original);
    SafeFileRewriter::setFaultPoint(Fault::AfterWrite);
    EXPECT_FALSE(apply(path, {{0, 1000, pattern(6000, 1)}}));
    SafeFileRewriter::setFaultPoint(Fault::None);
    const QByteArray written = TestSupport::readFile(path);
    ASSERT_EQ(journals().size(), 1);
    const QString journalPath = journals().first();
    const QByteArray good = TestSupport::readFile(journalPath);

    // Held by a live writer: left alone.
    {
        const int fd = ::open(QFile::encodeName(journalPath).constData(), O_RDONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::flock(fd, LOCK_EX), 0);
        EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0);
        ::close(fd);
        EXPECT_EQ(journals().size(), 1);
        EXPECT_EQ(TestSupport::readFile(path), written);
    }

    // One flipped byte in the saved data, a cut journal, a huge region length.
    QByteArray flipped = good;
    flipped[good.size() - 100] = char(flipped[good.size() - 100] ^ 1);
    QByteArray huge = good;
    // The first region's length: after the path, the identity (40 bytes),
    // the new length, flags and two counts (20), and the region's offset.
    const int lengthField = good.indexOf(QFile::encodeName(path)) + QFile::encodeName(path).size() + 60 + 8;
    for (int i = 0; i < 8; ++i)
        huge[lengthField + i] = char(0x7F);
    const QByteArray damaged[] = {flipped, good.left(good.size() - 10), huge, good.left(20), QByteArray()};
    for (const QByteArray& bytes : damaged) {
        ASSERT_TRUE(TestSupport::writeFile(journalPath, bytes));
        EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 0);
        EXPECT_EQ(TestSupport::readFile(path), written);
        EXPECT_TRUE(journals().isEmpty());
    }

    // The intact journal still restores.
    ASSERT_TRUE(TestSupport::writeFile(journalPath, good));
    EXPECT_EQ(SafeFileRewriter::recoverInterruptedWrites(), 1);
    EXPECT_EQ(TestSupport::readFile(path), original);
}

TEST_F(SafeFileRewriterTest, WritersWaitForTheWriteLockOfAnotherWriter)
{
    const QByteArray original = pattern(20000, 0);
    const QString path = makeFile(QStringLiteral("locked.mp3"), original);
    // Another process's lock: a descriptor of its own, locked.
    const int other = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(other, 0);
    ASSERT_EQ(::flock(other, LOCK_EX | LOCK_NB), 0);

    QString error;
    EXPECT_FALSE(FileWriteLock::acquire(path, &error, 50).isLocked());
    EXPECT_EQ(error, LocalizedStrings::format(QStringLiteral("RewriteErrorBusy"), path, 1));
    // Released while the write waits: the write goes ahead.
    std::thread releaser([other] {
        ::usleep(100 * 1000);
        ::flock(other, LOCK_UN);
    });
    const QList<FileEdit> edit = {{0, 10, pattern(10, 1)}};
    EXPECT_TRUE(apply(path, edit, FileIdentity::of(path))) << mError.toStdString();
    releaser.join();
    ::close(other);
    EXPECT_EQ(TestSupport::readFile(path), applied(original, edit));

    // Taken again by the thread holding it (a command around the tag's own
    // write); other threads wait like other processes.
    {
        const FileWriteLock held = FileWriteLock::acquire(path, &error, 50);
        ASSERT_TRUE(held.isLocked());
        const QList<FileEdit> inner = {{20, 10, pattern(10, 2)}};
        EXPECT_TRUE(apply(path, inner, FileIdentity::of(path))) << mError.toStdString();
        bool lockedElsewhere = true;
        std::thread([&] { lockedElsewhere = FileWriteLock::acquire(path, nullptr, 50).isLocked(); }).join();
        EXPECT_FALSE(lockedElsewhere);
    }
    bool lockedAfter = false;
    std::thread([&] { lockedAfter = FileWriteLock::acquire(path, nullptr, 50).isLocked(); }).join();
    EXPECT_TRUE(lockedAfter);
}

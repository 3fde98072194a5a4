// Write batches: several MP3 and MPEG-4 files written by the tag writers in
// one batch, interrupted between any two of its steps, and recovered.
#include "ID3TestData.h"
#include "MpegTestFiles.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"
#include "tags/AudioInfoTag.h"
#include "tags/FileWriteLock.h"
#include "tags/MP3InfoTag.h"
#include "tags/SafeFileRewriter.h"
#include "tags/WriteBatch.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>

#include <gtest/gtest.h>

namespace {

using Fault = SafeFileRewriter::FaultPoint;

enum class Edit
{
    SameLength = 0,
    Growing = 1
};

QString newTitle(const QString& title, Edit edit)
{
    if (edit == Edit::Growing)
        return title + QString(3000, QLatin1Char('x'));
    QString changed = title;
    return changed.replace(QStringLiteral("Old"), QStringLiteral("New"));
}

class WriteBatchTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        mFolder = TestSupport::testFolder(QStringLiteral("batch"));
        SafeFileRewriter::setJournalFolder(mFolder + QStringLiteral("/journals"));
        SafeFileRewriter::setFaultPoint(Fault::None);
    }
    void TearDown() override { SafeFileRewriter::setFaultPoint(Fault::None); }

    // A song made by our own writers (so that a title of the same length
    // is a write of the same length): MPEG audio with an ID3v2 tag, or an
    // M4A file with an item list and some free space after it.
    QString makeSong(const QString& name, const QString& title)
    {
        const QString path = mFolder + QLatin1Char('/') + name;
        if (name.endsWith(QLatin1String(".m4a")))
            return ID3TestData::song(path, {.title = title, .length = 12, .freeSpace = 200});
        EXPECT_TRUE(MpegTestFiles::writeSimpleMp3(path, 80));
        MP3InfoTag tag;
        tag.setTitle(title);
        tag.setArtist(QStringLiteral("The Testers"));
        QString error;
        EXPECT_TRUE(tag.modifySongFileAtPath(path, &error)) << error.toStdString();
        return path;
    }

    // Changes the title of every song in one batch, as `set` does. Stops at
    // the first write refused (a fault point kills the batch). The outcomes
    // the completions reported, or nullopt for a song never reported.
    QList<std::optional<bool>> writeInOneBatch(const QStringList& paths, const QList<Edit>& edits,
                                               int filesAtATime = 64)
    {
        QList<std::optional<bool>> outcomes(paths.size());
        WriteBatch batch({filesAtATime, 600000, 1 << 30});
        {
            const WriteBatch::Scope writing(batch);
            for (qsizetype i = 0; i < paths.size(); ++i) {
                const auto tag = AudioInfoTag::tagFromFileAtPath(paths[i], false);
                EXPECT_TRUE(tag) << paths[i].toStdString();
                if (!tag)
                    break;
                tag->setTitle(newTitle(tag->title(), edits[i]));
                QString error;
                if (!tag->modifySongFileAtPath(paths[i], &error)) {
                    outcomes[i] = false;
                    break;
                }
                WriteBatch::afterWrite(
                    paths[i], [&outcomes, i](bool written, const QString&) { outcomes[i] = written; });
            }
        }
        batch.commit();
        return outcomes;
    }

    QString mFolder;
};

const QStringList kNames = {QStringLiteral("a.mp3"), QStringLiteral("b.m4a"), QStringLiteral("c.mp3"),
                            QStringLiteral("d.m4a")};

} // namespace

TEST_F(WriteBatchTest, EveryInterruptionLeavesEachFileAsItWasOrCompletelyWritten)
{
    // Four files at a time, or two (the first two are then written on the
    // worker thread while the last two are staged; each write stops at the
    // point).
    const struct
    {
        const char* name;
        QList<Edit> edits;
        int filesAtATime;
    } batches[] = {
        {"same length", {Edit::SameLength, Edit::SameLength, Edit::SameLength, Edit::SameLength}, 4},
        {"growing", {Edit::Growing, Edit::Growing, Edit::Growing, Edit::Growing}, 4},
        {"mixed", {Edit::Growing, Edit::SameLength, Edit::SameLength, Edit::Growing}, 4},
        {"mixed, two at a time", {Edit::Growing, Edit::SameLength, Edit::SameLength, Edit::Growing}, 2},
    };

    for (const auto& batch : batches) {
        // Every step of a write, in order.
        QList<std::pair<Fault, int>> steps;
        for (int file = 1; file <= batch.filesAtATime; ++file)
            steps.append({Fault::AfterStage, file});
        steps.append({Fault::AfterJournal, 1});
        for (int file = 1; file <= batch.filesAtATime; ++file) {
            steps.append({Fault::AfterWrite, file});
            steps.append({Fault::AfterTruncate, file});
        }
        steps.append({Fault::AfterFlush, 1});

        // The files as a whole batch leaves them.
        QStringList paths;
        QList<QByteArray> originals, complete;
        for (const QString& name : kNames) {
            paths.append(makeSong(name, QStringLiteral("Old title of ") + name));
            originals.append(TestSupport::readFile(paths.last()));
        }
        const auto written = writeInOneBatch(paths, batch.edits);
        for (qsizetype i = 0; i < paths.size(); ++i) {
            ASSERT_EQ(written[i], std::optional<bool>(true)) << batch.name << " " << kNames[i].toStdString();
            complete.append(TestSupport::readFile(paths[i]));
            ASSERT_NE(complete.last(), originals[i]) << batch.name;
        }

        for (const auto& [fault, occurrence] : steps) {
            const std::string row = std::string(batch.name) + ", stopped at point " +
                                    std::to_string(int(fault)) + " #" + std::to_string(occurrence);
            for (qsizetype i = 0; i < paths.size(); ++i)
                ASSERT_TRUE(TestSupport::writeFile(paths[i], originals[i])) << row;
            SafeFileRewriter::setFaultPoint(fault, occurrence);
            const auto outcomes = writeInOneBatch(paths, batch.edits, batch.filesAtATime);
            SafeFileRewriter::setFaultPoint(Fault::None);
            for (const std::optional<bool>& outcome : outcomes)
                EXPECT_NE(outcome, std::optional<bool>(true)) << row << ": reported written";
            EXPECT_EQ(SafeFileRewriter::pendingJournals().size(),
                      fault == Fault::AfterStage ? 0 : 4 / batch.filesAtATime)
                << row;
            if (fault == Fault::AfterWrite || fault == Fault::AfterTruncate) {
                EXPECT_NE(TestSupport::readFile(paths[occurrence - 1]), originals[occurrence - 1])
                    << row << ": stopped before the file was written";
            }

            SafeFileRewriter::recoverInterruptedWrites();
            for (qsizetype i = 0; i < paths.size(); ++i) {
                const QByteArray now = TestSupport::readFile(paths[i]);
                EXPECT_TRUE(now == originals[i] || TestSupport::isCompleteWrite(now, complete[i]))
                    << row << ": " << kNames[i].toStdString() << " is neither as it was nor complete";
            }
            EXPECT_TRUE(SafeFileRewriter::pendingJournals().isEmpty()) << row;
            EXPECT_TRUE(QDir(SafeFileRewriter::journalFolder() + QStringLiteral("/Set Aside")).isEmpty())
                << row;
        }
    }
}

TEST_F(WriteBatchTest, RecoveryPutsBackOnlyWhatTheBatchWrote)
{
    // Killed after the second of three files was written; then another
    // program changes one of them (in the bytes the batch writes, or in the
    // audio), and recovery runs.
    enum class Where
    {
        Nowhere = 0,
        Tag = 1,
        Audio = 2
    };
    const struct
    {
        const char* name;
        int changed; // which file the other program changes
        Where where;
    } rows[] = {
        {"no other change", -1, Where::Nowhere},
        {"the written file's tag changed", 0, Where::Tag},
        {"the written file's audio changed", 0, Where::Audio},
        {"the unwritten file's tag changed", 2, Where::Tag},
        {"the unwritten file's audio changed", 2, Where::Audio},
    };
    for (const auto& row : rows) {
        QStringList paths;
        QList<QByteArray> originals;
        for (int i = 0; i < 3; ++i) {
            paths.append(
                makeSong(QStringLiteral("song%1.mp3").arg(i), QStringLiteral("Old title %1").arg(i)));
            originals.append(TestSupport::readFile(paths.last()));
        }
        SafeFileRewriter::setFaultPoint(Fault::AfterTruncate, 2);
        writeInOneBatch(paths, {Edit::SameLength, Edit::SameLength, Edit::SameLength});
        SafeFileRewriter::setFaultPoint(Fault::None);
        // The files are alike: the first byte the batch changed in the
        // first file is one it writes in every file.
        const QByteArray first = TestSupport::readFile(paths[0]);
        qint64 tagByte = 0;
        while (tagByte < first.size() && first[tagByte] == originals[0][tagByte])
            ++tagByte;
        ASSERT_LT(tagByte, first.size()) << row.name << ": nothing was written";
        QByteArray changed;
        qint64 at = -1;
        if (row.changed >= 0) {
            changed = TestSupport::readFile(paths[row.changed]);
            at = row.where == Where::Tag ? tagByte : changed.size() - 1000;
            changed[at] = char(changed[at] ^ 0x5A);
            ASSERT_TRUE(TestSupport::writeFile(paths[row.changed], changed)) << row.name;
        }

        SafeFileRewriter::recoverInterruptedWrites();
        for (int i = 0; i < 3; ++i) {
            const QByteArray now = TestSupport::readFile(paths[i]);
            if (i != row.changed) {
                EXPECT_EQ(now, originals[i]) << row.name << ": file " << i << " is not as it was";
                continue;
            }
            EXPECT_EQ(now.size(), changed.size()) << row.name;
            EXPECT_EQ(now.at(at), changed.at(at)) << row.name << ": the other program's change is lost";
            if (row.where == Where::Audio) {
                // Whatever of ours it held is put back around it.
                QByteArray expected = originals[i];
                expected[at] = changed[at];
                EXPECT_EQ(now, expected) << row.name;
            }
        }
        EXPECT_TRUE(SafeFileRewriter::pendingJournals().isEmpty()) << row.name;
        QDir(SafeFileRewriter::journalFolder() + QStringLiteral("/Set Aside")).removeRecursively();
    }
}

TEST_F(WriteBatchTest, AFileChangedWhileItWaitsIsLeftAloneAndTheOthersAreWritten)
{
    QStringList paths;
    for (const QString& name : kNames)
        paths.append(makeSong(name, QStringLiteral("Old title")));
    WriteBatch batch;
    QStringList results(paths.size());
    {
        const WriteBatch::Scope writing(batch);
        for (qsizetype i = 0; i < paths.size(); ++i) {
            const auto tag = AudioInfoTag::tagFromFileAtPath(paths[i], false);
            ASSERT_TRUE(tag);
            tag->setTitle(QStringLiteral("New title"));
            QString error;
            ASSERT_TRUE(tag->modifySongFileAtPath(paths[i], &error)) << error.toStdString();
            WriteBatch::afterWrite(paths[i], [&results, i](bool written, const QString& error) {
                results[i] = written ? QStringLiteral("written") : error;
            });
        }
    }
    EXPECT_EQ(batch.pendingFiles(), 4);
    // Another program (which takes no lock of ours) rewrites one file.
    QByteArray theirs = TestSupport::readFile(paths[1]);
    theirs.append("their trailer");
    ASSERT_TRUE(TestSupport::writeFile(paths[1], theirs));
    EXPECT_FALSE(batch.commit());

    EXPECT_EQ(results[1], LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), paths[1]));
    EXPECT_EQ(TestSupport::readFile(paths[1]), theirs);
    for (int i : {0, 2, 3}) {
        EXPECT_EQ(results[i], QStringLiteral("written")) << i;
        EXPECT_EQ(AudioInfoTag::tagWithPath(paths[i])->title(), QStringLiteral("New title")) << i;
    }
    EXPECT_TRUE(SafeFileRewriter::pendingJournals().isEmpty());
}

TEST_F(WriteBatchTest, ABatchCommitsWhenFullWhenDueAndBeforeItsFilesAreTakenAgain)
{
    QStringList paths;
    for (int i = 0; i < 5; ++i)
        paths.append(makeSong(QStringLiteral("song%1.mp3").arg(i), QStringLiteral("Old title")));
    QList<bool> done(paths.size(), false);
    const auto write = [&](qsizetype i, const QString& title) {
        const auto tag = AudioInfoTag::tagFromFileAtPath(paths[i], false);
        ASSERT_TRUE(tag);
        tag->setTitle(title);
        QString error;
        ASSERT_TRUE(tag->modifySongFileAtPath(paths[i], &error)) << error.toStdString();
        WriteBatch::afterWrite(paths[i], [&done, i](bool written, const QString&) { done[i] = written; });
    };

    {
        WriteBatch batch({2, 600000, 1 << 30});
        const WriteBatch::Scope writing(batch);
        // Full: two files wait, the third sends them off to be written.
        write(0, QStringLiteral("New title"));
        write(1, QStringLiteral("New title"));
        EXPECT_EQ(batch.pendingFiles(), 2);
        EXPECT_FALSE(done[0] || done[1]);
        write(2, QStringLiteral("New title"));
        EXPECT_EQ(batch.pendingFiles(), 1);

        // Taken again: a writer of this thread that locks a waiting file
        // finds it written, so a second write works on the first one's result.
        {
            const FileWriteLock lock = FileWriteLock::acquire(paths[2], nullptr);
            EXPECT_TRUE(done[0] && done[1] && done[2]);
            EXPECT_EQ(AudioInfoTag::tagWithPath(paths[2])->title(), QStringLiteral("New title"));
        }
        write(2, QStringLiteral("Newer title"));
        write(3, QStringLiteral("New title"));
    }
    // Ended: what waited is written.
    EXPECT_EQ(AudioInfoTag::tagWithPath(paths[2])->title(), QStringLiteral("Newer title"));
    EXPECT_TRUE(done[3]);

    // Due: a file waits no longer than the batch's delay while the event
    // loop runs.
    WriteBatch batch({64, 50, 1 << 30});
    const WriteBatch::Scope writing(batch);
    write(4, QStringLiteral("New title"));
    EXPECT_FALSE(done[4]);
    const QDeadlineTimer patience(10000);
    while (!done[4] && !patience.hasExpired())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    EXPECT_TRUE(done[4]);
    EXPECT_EQ(batch.pendingFiles(), 0);
}

// The change history: what set and regenerate record, undo (and undo of an
// undo) and redo read back from disk, files changed since, the size limit,
// damaged and locked databases, and two processes recording at once.
#include "CommandCapture.h"
#include "ID3TestData.h"
#include "Mp4TestFiles.h"
#include "TestSupport.h"

#include "cli/HistoryCommand.h"
#include "cli/RegenerateCommand.h"
#include "cli/SetCommand.h"
#include "cli/UndoCommand.h"
#include "history/ChangeHistory.h"
#include "history/HistoryRecorder.h"
#include "history/HistoryUndo.h"
#include "history/UnrecordedChanges.h"
#include "tags/AudioInfoTag.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>

#include <sqlite3.h>

#include <gtest/gtest.h>

namespace {

using T = ID3TestData;
using F = Mp4TestFiles;

// A song with a title, a year and one picture; MP3 or MPEG-4.
QString songWithPicture(const QString& name, const QByteArray& picture)
{
    if (name.endsWith(QLatin1String(".mp3")))
        return T::writeMp3(name,
                           T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("Old Title"))),
                                      T::frame("TYER", T::textBody(QStringLiteral("1971"))),
                                      T::frame("APIC", QByteArray("\0image/png\0\x03\0", 13) + picture)}));
    F::Options options;
    options.items = {F::textItem(QStringLiteral("\u00A9nam"), QStringLiteral("Old Title")),
                     F::textItem(QStringLiteral("\u00A9day"), QStringLiteral("1971")),
                     F::coverItem({picture}, 14)};
    const QString path = T::scratchPath(name);
    EXPECT_TRUE(TestSupport::writeFile(path, F::m4a(options)));
    return path;
}

TagSnapshot snapshotOf(const QString& path)
{
    const std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagFromFileAtPath(path, false);
    EXPECT_TRUE(tag) << path.toStdString();
    return tag ? TagSnapshot::of(*tag) : TagSnapshot();
}

// Sets the year of the song at `path`, then answers the operation recorded.
qint64 setYear(const QString& path, const char* year)
{
    EXPECT_EQ(CommandCapture::run<SetCommand>({path, QStringLiteral("--year"), QLatin1String(year)}).status,
              0);
    return ChangeHistory::shared().lastOperationID();
}

// Another program changes the year, unseen by the history.
void changeYearElsewhere(const QString& path)
{
    auto tag = AudioInfoTag::tagFromFileAtPath(path, false);
    tag->setYear(QStringLiteral("2020"));
    QString error;
    ASSERT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
}

// A fresh folder of its own for a history database.
QString freshHistoryPath(const QString& name)
{
    const QString folder = TestSupport::scratchFolder() + QStringLiteral("/history-") + name;
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    return folder + QStringLiteral("/History.sqlite");
}

// The title changed from "a" to "b", with `picture` given.
FileChangeRecord titleChange(const QString& path, const QByteArray& picture = "png")
{
    TagSnapshot before, after;
    before.setText(TagAttribute::Title, QStringLiteral("a"));
    after.setText(TagAttribute::Title, QStringLiteral("b"));
    after.pictures = {*ID3Image::imageWithData(picture, QStringLiteral("image/png"))};
    return FileChangeRecord::between(path, before, after, ChangeOrigin{});
}

} // namespace

TEST(ChangeHistory, SetRecordedThenUndoneAndRedoneByteForByte)
{
    for (const char* name : {"undo.mp3", "undo.m4a"}) {
        SCOPED_TRACE(name);
        const QByteArray picture = T::png(31, 29);
        const QString path = songWithPicture(QLatin1String(name), picture);
        const TagSnapshot original = snapshotOf(path);

        const CommandCapture set = CommandCapture::run<SetCommand>(
            {path, QStringLiteral("--title"), QStringLiteral("New \u00DCtitle"), QStringLiteral("--year"),
             QStringLiteral("2001"), QStringLiteral("--remove-pictures")});
        ASSERT_EQ(set.status, 0) << set.err.toStdString();
        const qint64 id = ChangeHistory::shared().lastOperationID();

        // The operation lists each change with its old and new value and origin.
        const CommandCapture shown =
            CommandCapture::run<HistoryCommand>({QString::number(id), QStringLiteral("--json")});
        ASSERT_EQ(shown.status, 0) << shown.err.toStdString();
        const QJsonObject file = QJsonDocument::fromJson(shown.out.toUtf8()).object();
        EXPECT_EQ(file.value(QStringLiteral("path")).toString(), path);
        const QJsonArray changes = file.value(QStringLiteral("changes")).toArray();
        ASSERT_EQ(changes.size(), 3) << shown.out.toStdString();
        EXPECT_EQ(changes.at(0).toObject().value(QStringLiteral("old")).toString(),
                  QStringLiteral("Old Title"));
        EXPECT_EQ(changes.at(0).toObject().value(QStringLiteral("origin")).toString(),
                  QStringLiteral("user"));
        EXPECT_EQ(changes.at(2).toObject().value(QStringLiteral("attribute")).toString(),
                  QStringLiteral("artwork"));

        // Undo gives back every value, the picture to the byte.
        const CommandCapture undo = CommandCapture::run<UndoCommand>({QStringLiteral("--last")});
        ASSERT_EQ(undo.status, 0) << undo.err.toStdString();
        const TagSnapshot undone = snapshotOf(path);
        EXPECT_TRUE(undone.differencesFrom(original).isEmpty());
        ASSERT_EQ(undone.pictures.size(), 1);
        EXPECT_EQ(undone.pictures.first().imageData(), picture);

        // The undo is an operation too: undoing it brings the new values back.
        const CommandCapture redo = CommandCapture::run<UndoCommand>({QStringLiteral("--last")});
        ASSERT_EQ(redo.status, 0) << redo.out.toStdString() << redo.err.toStdString();
        const TagSnapshot redone = snapshotOf(path);
        EXPECT_EQ(redone.text(TagAttribute::Title), QStringLiteral("New \u00DCtitle"));
        EXPECT_TRUE(redone.pictures.isEmpty());
    }
}

TEST(ChangeHistory, FileChangedSinceIsLeftAloneUnlessForced)
{
    const QString path = songWithPicture(QStringLiteral("changed-since.mp3"), T::png(8, 8));
    const qint64 id = setYear(path, "1999");
    ASSERT_NO_FATAL_FAILURE(changeYearElsewhere(path));
    const QByteArray before = TestSupport::readFile(path);

    const CommandCapture refused = CommandCapture::run<UndoCommand>({QString::number(id)});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.err.contains(path)) << refused.err.toStdString();
    EXPECT_EQ(TestSupport::readFile(path), before);

    const CommandCapture forced =
        CommandCapture::run<UndoCommand>({QString::number(id), QStringLiteral("--force")});
    EXPECT_EQ(forced.status, 0) << forced.err.toStdString();
    EXPECT_EQ(snapshotOf(path).text(TagAttribute::Year), QStringLiteral("1971"));
}

TEST(ChangeHistory, RedoWritesTheNewValuesAgainUnlessChangedSince)
{
    const QString path = songWithPicture(QStringLiteral("redo.mp3"), T::png(8, 8));
    const qint64 id = setYear(path, "1999");
    ChangeHistory& history = ChangeHistory::shared();
    ASSERT_TRUE(HistoryUndo::undo(history, id, false, false).complete());
    ASSERT_EQ(snapshotOf(path).text(TagAttribute::Year), QStringLiteral("1971"));
    ASSERT_NO_FATAL_FAILURE(changeYearElsewhere(path)); // after the undo

    const HistoryUndo::Result refused = HistoryUndo::redo(history, id, false, false);
    ASSERT_EQ(refused.files.size(), 1);
    EXPECT_EQ(refused.files.first().outcome, HistoryUndo::Outcome::ChangedSince);
    EXPECT_EQ(snapshotOf(path).text(TagAttribute::Year), QStringLiteral("2020"));

    const HistoryUndo::Result forced = HistoryUndo::redo(history, id, false, true);
    EXPECT_TRUE(forced.complete());
    EXPECT_EQ(snapshotOf(path).text(TagAttribute::Year), QStringLiteral("1999"));
    // Listed as a redo of the operation, its change from where it first came.
    const CommandCapture listed = CommandCapture::run<HistoryCommand>({QStringLiteral("--json")});
    const QJsonObject newest =
        QJsonDocument::fromJson(listed.out.section(QLatin1Char('\n'), 0, 0).toUtf8()).object();
    EXPECT_EQ(newest.value(QStringLiteral("kind")).toString(), QStringLiteral("redo"));
    EXPECT_EQ(newest.value(QStringLiteral("redoes")).toInteger(), id);
    const QList<FileChangeRecord> redone = history.filesOf(forced.undoOperation);
    ASSERT_EQ(redone.size(), 1);
    EXPECT_EQ(redone.first().originOf(TagAttribute::Year).kind, ChangeOrigin::Kind::User);
}

TEST(ChangeHistory, RegenerateRecordedAsARebuiltTag)
{
    const QString path = T::writeMp3(
        QStringLiteral("regenerate.mp3"),
        T::tag(3, {T::frame("TIT2", T::textBody(QStringLiteral("Kept"))),
                   T::frame("TALB", T::textBody(QStringLiteral("Lost"))).left(14) + QByteArray(4, '\x7f')}));
    const CommandCapture regenerate = CommandCapture::run<RegenerateCommand>({path});
    ASSERT_EQ(regenerate.status, 0) << regenerate.err.toStdString();
    const QList<HistoryOperation> operations = ChangeHistory::shared().operations(1);
    ASSERT_EQ(operations.size(), 1);
    EXPECT_EQ(operations.first().kind, OperationKind::Regenerate);
    EXPECT_EQ(operations.first().files, 1);
}

TEST(ChangeHistory, OldestOperationsDroppedBeyondTheLimit)
{
    ChangeHistory history(freshHistoryPath(QStringLiteral("limit")));
    history.setSizeLimitBytes(600 * 1024);
    QList<qint64> ids;
    for (int i = 0; i < 8; ++i) {
        HistoryRecorder recorder(OperationKind::Set, QStringLiteral("limit"), 0, history);
        // Every operation stores a different picture of about 100 KB.
        QByteArray picture = F::fakePng(100 * 1024);
        picture[200] = static_cast<char>(i);
        recorder.record(titleChange(QStringLiteral("/music/%1.mp3").arg(i), picture));
        recorder.finish();
        ids.append(recorder.operationID());
    }
    const QList<HistoryOperation> kept = history.operations();
    ASSERT_FALSE(kept.isEmpty());
    EXPECT_LT(kept.size(), 8);
    EXPECT_EQ(kept.first().id, ids.last()); // the newest stays
    EXPECT_GT(kept.last().id, ids.first()); // the oldest went
    EXPECT_LE(history.sizeInBytes(), 600 * 1024);
}

TEST(ChangeHistory, DamagedDatabaseIsSetAsideAndANewOneStarted)
{
    const QString path = freshHistoryPath(QStringLiteral("damaged"));
    QByteArray garbage(64 * 1024, '\0');
    for (qsizetype i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<char>((i * 7919) % 251);
    ASSERT_TRUE(TestSupport::writeFile(path, garbage));

    ChangeHistory history(path);
    HistoryRecorder recorder(OperationKind::Set, QStringLiteral("damaged"), 0, history);
    recorder.record(titleChange(QStringLiteral("/music/x.mp3")));
    recorder.finish();
    EXPECT_EQ(recorder.recordedFiles(), 1);
    EXPECT_TRUE(recorder.problem().contains(history.setAsidePath())) << recorder.problem().toStdString();
    EXPECT_EQ(TestSupport::readFile(history.setAsidePath()), garbage); // the old file is kept aside
    EXPECT_EQ(history.operations().size(), 1);
}

TEST(ChangeHistory, LockedDatabaseKeepsChangesAsideUntilItIsFree)
{
    const QString path = freshHistoryPath(QStringLiteral("locked"));
    ASSERT_TRUE(ChangeHistory(path).open());
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
    {
        ChangeHistory history(path, 50);
        HistoryRecorder recorder(OperationKind::Set, QStringLiteral("locked"), 0, history);
        recorder.record(titleChange(QStringLiteral("/music/y.mp3")));
        recorder.finish();
        EXPECT_EQ(recorder.unrecordedFiles(), 1) << recorder.problem().toStdString();
        EXPECT_FALSE(recorder.problem().isEmpty());
    }
    sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(other);

    // The next opening takes the kept change in, noted as recorded late.
    ChangeHistory later(path);
    const QList<HistoryOperation> operations = later.operations();
    ASSERT_EQ(operations.size(), 1);
    EXPECT_FALSE(operations.first().note.isEmpty());
    const QList<FileChangeRecord> files = later.filesOf(operations.first().id);
    ASSERT_EQ(files.size(), 1);
    EXPECT_EQ(files.first().after.text(TagAttribute::Title), QStringLiteral("b"));
    EXPECT_EQ(files.first().after.pictures.first().imageData(), QByteArray("png"));
    EXPECT_EQ(TestSupport::readFile(UnrecordedChanges(path).path()), QByteArray());
}

TEST(ChangeHistory, TwoProcessesRecordAtOnce)
{
    const QString data = TestSupport::scratchFolder() + QStringLiteral("/two-writers-data");
    QDir(data).removeRecursively();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("XDG_DATA_HOME"), data);
    constexpr int kFiles = 12;
    QList<QProcess*> writers;
    for (int w = 0; w < 2; ++w) {
        QStringList arguments{QStringLiteral("set")};
        for (int i = 0; i < kFiles; ++i)
            arguments.append(songWithPicture(QStringLiteral("writer%1-%2.mp3").arg(w).arg(i), T::png(4, 4)));
        arguments << QStringLiteral("--album") << QStringLiteral("Writer %1").arg(w);
        auto* process = new QProcess;
        process->setProcessEnvironment(env);
        process->start(QStringLiteral(QB_CLI_PATH), arguments);
        writers.append(process);
    }
    for (QProcess* process : std::as_const(writers)) {
        EXPECT_TRUE(process->waitForFinished(60000));
        EXPECT_EQ(process->exitCode(), 0) << process->readAllStandardError().toStdString();
        delete process;
    }
    QProcess list;
    list.setProcessEnvironment(env);
    list.start(QStringLiteral(QB_CLI_PATH), {QStringLiteral("history"), QStringLiteral("--json")});
    ASSERT_TRUE(list.waitForFinished(60000));
    const QList<QByteArray> lines = list.readAllStandardOutput().trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2);
    for (const QByteArray& line : lines)
        EXPECT_EQ(QJsonDocument::fromJson(line).object().value(QStringLiteral("files")).toInt(), kFiles);
}

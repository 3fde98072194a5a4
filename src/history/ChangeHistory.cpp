#include "ChangeHistory.h"

#include "UnrecordedChanges.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QStandardPaths>

namespace {

constexpr qint64 kSchemaVersion = 1;
// Pages of the write-ahead log an operation may leave behind (of 4 KB).
constexpr qint64 kLargestKeptLogBytes = 64 * 4096;
constexpr qint64 kDefaultLimitMB = 500;
const char* const kDamagedKey = "historyDamaged";

const char* const kSchema = R"(
CREATE TABLE IF NOT EXISTS operations(
  id INTEGER PRIMARY KEY,
  time TEXT NOT NULL,
  kind TEXT NOT NULL,
  source TEXT,
  undoes INTEGER,
  note TEXT);
CREATE TABLE IF NOT EXISTS files(
  id INTEGER PRIMARY KEY,
  operation INTEGER NOT NULL REFERENCES operations(id) ON DELETE CASCADE,
  path TEXT NOT NULL,
  device INTEGER, inode INTEGER, size INTEGER, mtime INTEGER);
CREATE INDEX IF NOT EXISTS files_by_operation ON files(operation);
CREATE TABLE IF NOT EXISTS changes(
  file INTEGER NOT NULL REFERENCES files(id) ON DELETE CASCADE,
  attribute TEXT NOT NULL,
  old TEXT,
  new TEXT,
  origin TEXT NOT NULL,
  origin_detail TEXT);
CREATE INDEX IF NOT EXISTS changes_by_file ON changes(file);
CREATE TABLE IF NOT EXISTS contents(
  hash TEXT PRIMARY KEY,
  bytes BLOB NOT NULL);
CREATE TABLE IF NOT EXISTS content_refs(
  file INTEGER NOT NULL REFERENCES files(id) ON DELETE CASCADE,
  hash TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS content_refs_by_file ON content_refs(file);
CREATE INDEX IF NOT EXISTS content_refs_by_hash ON content_refs(hash);
PRAGMA user_version = 1;
)";

QString isoTime(const QDateTime& time)
{
    return time.toUTC().toString(Qt::ISODateWithMs);
}

} // namespace

ChangeHistory::ChangeHistory(QString path, int busyMilliseconds)
    : mPath(std::move(path)), mBusyMilliseconds(busyMilliseconds)
{}

ChangeHistory::~ChangeHistory() = default;

ChangeHistory& ChangeHistory::shared()
{
    static ChangeHistory history;
    return history;
}

QString ChangeHistory::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QStringLiteral("/History.sqlite");
}

qint64 ChangeHistory::sizeLimitBytes()
{
    const qint64 megabytes = QSettings().value(QStringLiteral("historySizeMB"), kDefaultLimitMB).toLongLong();
    return std::max<qint64>(megabytes, 1) * 1024 * 1024;
}

bool ChangeHistory::open(QString* problem)
{
    if (mDatabase.isOpen())
        return true;
    return openFile(problem);
}

bool ChangeHistory::openFile(QString* problem)
{
    QDir().mkpath(QFileInfo(mPath).absolutePath());
    // A history found damaged while in use is set aside at its next opening
    // (other processes may still have it open now).
    QSettings settings;
    if (settings.value(QLatin1String(kDamagedKey)).toString() == mPath && QFile::exists(mPath))
        setAside();
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (mDatabase.open(mPath, mBusyMilliseconds) && createSchema()) {
            const int taken = UnrecordedChanges(mPath).takeInto(*this);
            if (taken > 0)
                WMLog("History: took in %ld change(s) recorded while it was unavailable", static_cast<qint64>(taken));
            return true;
        }
        const bool damaged = mDatabase.lastFailure() == SqliteConnection::Failure::Damaged;
        if (mNewerFormat) {
            WMLog("History: %@ was written by a newer version", mPath);
            if (problem)
                *problem = QStringLiteral("the history was written by a newer version of Quillbeat");
        } else {
            fail(problem);
        }
        mDatabase.close();
        if (!damaged || attempt > 0)
            return false;
        setAside();
    }
    return false;
}

bool ChangeHistory::createSchema()
{
    if (!mDatabase.execute("PRAGMA synchronous = NORMAL") || !mDatabase.execute("PRAGMA foreign_keys = ON"))
        return false;
    // SQLite's own checkpoints leave the write-ahead log at 1 MB at the most.
    if (!mDatabase.execute("PRAGMA journal_size_limit = 1048576"))
        return false;
    const qint64 version = mDatabase.integerValue("PRAGMA user_version", -1);
    if (version < 0)
        return false;
    if (version > kSchemaVersion) {
        mNewerFormat = true;
        return false;
    }
    if (version == kSchemaVersion)
        return true;
    // A new file gets incremental vacuuming, so that dropping old operations
    // gives the space back (the setting must come before the first table),
    // and the write-ahead log, so that readers never wait for a writer.
    if (!mDatabase.execute("PRAGMA auto_vacuum = INCREMENTAL") || !mDatabase.execute("PRAGMA journal_mode = WAL"))
        return false;
    if (!mDatabase.begin())
        return false;
    if (!mDatabase.execute(kSchema) || !mDatabase.commit()) {
        mDatabase.rollback();
        return false;
    }
    return true;
}

void ChangeHistory::setAside()
{
    const QFileInfo info(mPath);
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh.mm.ss"));
    const QString aside = info.absolutePath() + QLatin1Char('/') + info.completeBaseName() +
                          QStringLiteral(" (damaged ") + stamp + QStringLiteral(").") + info.suffix();
    mDatabase.close();
    if (!QFile::rename(mPath, aside)) {
        WMLog("Could not move the damaged history %@ aside", mPath);
        QFile::remove(mPath);
    }
    for (const char* suffix : {"-wal", "-shm"}) {
        const QString side = mPath + QLatin1String(suffix);
        if (QFile::exists(side) && !QFile::rename(side, aside + QLatin1String(suffix)))
            QFile::remove(side);
    }
    mSetAsidePath = aside;
    mSetAsideTold = false;
    QSettings settings;
    if (settings.value(QLatin1String(kDamagedKey)).toString() == mPath)
        settings.remove(QLatin1String(kDamagedKey));
    WMLog("The history was damaged; it was moved to %@ and a new one started", aside);
}

QString ChangeHistory::takeSetAsideNotice()
{
    if (mSetAsidePath.isEmpty() || mSetAsideTold)
        return QString();
    mSetAsideTold = true;
    return LocalizedStrings::format(QStringLiteral("HistorySetAside"), mSetAsidePath);
}

bool ChangeHistory::fail(QString* problem)
{
    if (mDatabase.lastFailure() == SqliteConnection::Failure::Damaged)
        QSettings().setValue(QLatin1String(kDamagedKey), mPath);
    const QString reason = mDatabase.lastError().isEmpty() ? QStringLiteral("unknown error") : mDatabase.lastError();
    WMLog("History: %@ (%@)", reason, mPath);
    if (problem)
        *problem = reason;
    return false;
}

std::optional<qint64> ChangeHistory::beginOperation(OperationKind kind, const QString& source, qint64 undoes,
                                                    const QString& note, const QDateTime& time, QString* problem)
{
    if (!open(problem))
        return std::nullopt;
    SqliteConnection::Statement insert =
        mDatabase.prepare("INSERT INTO operations(time, kind, source, undoes, note) VALUES(?, ?, ?, ?, ?)");
    insert.bind(1, isoTime(time.isValid() ? time : QDateTime::currentDateTimeUtc()))
        .bind(2, HistoryOperation::nameOf(kind))
        .bind(3, source)
        .bind(4, undoes > 0 ? QVariant(undoes) : QVariant())
        .bind(5, note.isEmpty() ? QVariant() : QVariant(note));
    if (!insert.run()) {
        fail(problem);
        return std::nullopt;
    }
    return mDatabase.lastInsertedRow();
}

// The statements of one recording transaction, prepared once.
struct ChangeHistory::Inserts
{
    SqliteConnection::Statement file, change, content, reference;
};

QString ChangeHistory::digestOf(const QByteArray& bytes)
{
    // Larger contents are not kept alive for the comparison.
    constexpr qsizetype kLargestRemembered = 4 * 1024 * 1024;
    for (const Digested& known : mDigested) {
        if (!known.hash.isEmpty() && known.bytes == bytes)
            return known.hash;
    }
    QString hash = QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).toHex());
    if (bytes.size() <= kLargestRemembered) {
        mDigested[mNextDigested] = {bytes, hash};
        mNextDigested = (mNextDigested + 1) % mDigested.size();
    }
    return hash;
}

bool ChangeHistory::storeContent(Inserts& inserts, qint64 file, const QByteArray& bytes, QString* hash)
{
    *hash = digestOf(bytes);
    inserts.content.bind(1, *hash).bind(2, bytes);
    if (!inserts.content.run())
        return false;
    inserts.reference.bind(1, file).bind(2, *hash);
    return inserts.reference.run();
}

bool ChangeHistory::storeValue(Inserts& inserts, qint64 file, TagAttribute attribute, const TagSnapshot& values,
                               QVariant* column)
{
    if (attribute == TagAttribute::Lyrics) {
        if (values.lyrics.isEmpty()) {
            *column = QVariant();
            return true;
        }
        QString hash;
        if (!storeContent(inserts, file, values.lyrics.toUtf8(), &hash))
            return false;
        *column = hash;
        return true;
    }
    if (attribute == TagAttribute::Artwork) {
        QJsonArray pictures;
        for (const ID3Image& picture : values.pictures) {
            QString hash;
            if (!storeContent(inserts, file, picture.imageData(), &hash))
                return false;
            pictures.append(QJsonObject{{QStringLiteral("hash"), hash},
                                        {QStringLiteral("mime"), picture.mimeFormat()},
                                        {QStringLiteral("type"), picture.pictureType()},
                                        {QStringLiteral("description"), picture.pictureDescription()},
                                        {QStringLiteral("bytes"), picture.imageData().size()}});
        }
        *column = QString::fromUtf8(QJsonDocument(pictures).toJson(QJsonDocument::Compact));
        return true;
    }
    const QString text = values.text(attribute);
    *column = text.isEmpty() ? QVariant() : QVariant(text);
    return true;
}

bool ChangeHistory::insertFile(Inserts& inserts, qint64 operation, const FileChangeRecord& record)
{
    inserts.file.bind(1, operation).bind(2, record.path);
    if (record.identityAfter.isValid()) {
        inserts.file.bind(3, static_cast<qint64>(record.identityAfter.device))
            .bind(4, static_cast<qint64>(record.identityAfter.inode))
            .bind(5, record.identityAfter.size)
            .bind(6, record.identityAfter.mtimeNs);
    }
    if (!inserts.file.run())
        return false;
    const qint64 file = mDatabase.lastInsertedRow();
    for (TagAttribute attribute : record.attributes) {
        QVariant before, after;
        if (!storeValue(inserts, file, attribute, record.before, &before) ||
            !storeValue(inserts, file, attribute, record.after, &after))
            return false;
        const ChangeOrigin origin = record.originOf(attribute);
        inserts.change.bind(1, file)
            .bind(2, TagSnapshot::nameOf(attribute))
            .bind(3, before)
            .bind(4, after)
            .bind(5, ChangeOrigin::nameOf(origin.kind))
            .bind(6, origin.detail.isEmpty() ? QVariant() : QVariant(origin.detail));
        if (!inserts.change.run())
            return false;
    }
    return true;
}

bool ChangeHistory::recordFile(qint64 operation, const FileChangeRecord& record, QString* problem)
{
    return recordFiles(operation, {record}, problem);
}

bool ChangeHistory::recordFiles(qint64 operation, const QList<FileChangeRecord>& records, QString* problem)
{
    if (!open(problem))
        return false;
    if (!mDatabase.begin())
        return fail(problem);
    Inserts inserts{
        mDatabase.prepare("INSERT INTO files(operation, path, device, inode, size, mtime) VALUES(?, ?, ?, ?, ?, ?)"),
        mDatabase.prepare(
            "INSERT INTO changes(file, attribute, old, new, origin, origin_detail) VALUES(?, ?, ?, ?, ?, ?)"),
        mDatabase.prepare("INSERT OR IGNORE INTO contents(hash, bytes) VALUES(?, ?)"),
        mDatabase.prepare("INSERT INTO content_refs(file, hash) VALUES(?, ?)")};
    bool ok = true;
    for (const FileChangeRecord& record : records) {
        if (!(ok = insertFile(inserts, operation, record)))
            break;
    }
    if (!ok || !mDatabase.commit()) {
        fail(problem);
        mDatabase.rollback();
        return false;
    }
    return true;
}

bool ChangeHistory::finishOperation(qint64 operation, QString* problem)
{
    if (!open(problem))
        return false;
    {
        SqliteConnection::Statement count = mDatabase.prepare("SELECT count(*) FROM files WHERE operation = ?");
        count.bind(1, operation);
        if (count.next() && count.integer(0) == 0) {
            SqliteConnection::Statement drop = mDatabase.prepare("DELETE FROM operations WHERE id = ?");
            drop.bind(1, operation);
            if (!drop.run())
                return fail(problem);
        }
    }
    if (!pruneToLimit(operation))
        return fail(problem);
    // Each command that opens the history first reads the whole write-ahead
    // log (closing leaves it in place, to spare a flush per command): a log
    // of SQLite's 1,000 pages cost a one-song command 3 ms. An operation that
    // leaves more than 64 pages in it checkpoints once at its end, so that
    // the next command reads little, and a long operation flushes once.
    const qint64 logBytes = QFileInfo(mPath + QStringLiteral("-wal")).size();
    if (logBytes > kLargestKeptLogBytes)
        mDatabase.execute("PRAGMA wal_checkpoint(TRUNCATE)");
    return true;
}

qint64 ChangeHistory::sizeInBytes()
{
    if (!open())
        return 0;
    const qint64 pageSize = mDatabase.integerValue("PRAGMA page_size", 0);
    const qint64 pages = mDatabase.integerValue("PRAGMA page_count", 0);
    const qint64 freePages = mDatabase.integerValue("PRAGMA freelist_count", 0);
    return (pages - freePages) * pageSize;
}

bool ChangeHistory::pruneToLimit(qint64 keep)
{
    const qint64 limit = mSizeLimit >= 0 ? mSizeLimit : sizeLimitBytes();
    bool dropped = false;
    while (sizeInBytes() > limit) {
        SqliteConnection::Statement oldest =
            mDatabase.prepare("SELECT id FROM operations WHERE id <> ? ORDER BY id LIMIT 1");
        oldest.bind(1, keep);
        if (!oldest.next())
            break;
        const qint64 id = oldest.integer(0);
        if (!mDatabase.begin())
            return false;
        SqliteConnection::Statement drop = mDatabase.prepare("DELETE FROM operations WHERE id = ?");
        drop.bind(1, id);
        if (!drop.run() ||
            !mDatabase.execute("DELETE FROM contents WHERE hash NOT IN (SELECT hash FROM content_refs)") ||
            !mDatabase.commit()) {
            mDatabase.rollback();
            return false;
        }
        WMLog("History: dropped operation %ld to stay within %ld bytes", id, limit);
        dropped = true;
    }
    return !dropped || mDatabase.execute("PRAGMA incremental_vacuum");
}

QList<HistoryOperation> ChangeHistory::operations(int limit, QString* problem)
{
    QList<HistoryOperation> list;
    if (!open(problem))
        return list;
    mDatabase.clearFailure();
    SqliteConnection::Statement query = mDatabase.prepare(
        "SELECT o.id, o.time, o.kind, o.source, o.undoes, o.note,"
        " (SELECT count(*) FROM files f WHERE f.operation = o.id)"
        " FROM operations o ORDER BY o.id DESC LIMIT ?");
    query.bind(1, limit);
    while (query.next()) {
        HistoryOperation operation;
        operation.id = query.integer(0);
        operation.time = QDateTime::fromString(query.text(1), Qt::ISODateWithMs);
        operation.kind = HistoryOperation::kindNamed(query.text(2)).value_or(OperationKind::Set);
        operation.source = query.text(3);
        operation.undoes = query.integer(4);
        operation.note = query.text(5);
        operation.files = query.integer(6);
        list.append(operation);
    }
    if (mDatabase.lastFailure() != SqliteConnection::Failure::None)
        fail(problem);
    return list;
}

std::optional<HistoryOperation> ChangeHistory::operation(qint64 id, QString* problem)
{
    for (const HistoryOperation& operation : operations(1000000, problem)) {
        if (operation.id == id)
            return operation;
    }
    return std::nullopt;
}

qint64 ChangeHistory::lastOperationID()
{
    if (!open())
        return 0;
    return mDatabase.integerValue("SELECT coalesce(max(id), 0) FROM operations", 0);
}

QByteArray ChangeHistory::content(const QString& hash)
{
    SqliteConnection::Statement query = mDatabase.prepare("SELECT bytes FROM contents WHERE hash = ?");
    query.bind(1, hash);
    return query.next() ? query.blob(0) : QByteArray();
}

void ChangeHistory::readValue(TagAttribute attribute, const QString& column, TagSnapshot* values)
{
    if (attribute == TagAttribute::Lyrics) {
        values->lyrics = column.isEmpty() ? QString() : QString::fromUtf8(content(column));
        return;
    }
    if (attribute == TagAttribute::Artwork) {
        values->pictures.clear();
        const QJsonArray pictures = QJsonDocument::fromJson(column.toUtf8()).array();
        for (const QJsonValue& value : pictures) {
            const QJsonObject object = value.toObject();
            std::optional<ID3Image> picture = ID3Image::imageWithData(
                content(object.value(QStringLiteral("hash")).toString()), object.value(QStringLiteral("mime")).toString());
            if (!picture)
                continue;
            picture->setPictureType(object.value(QStringLiteral("type")).toInt());
            picture->setPictureDescription(object.value(QStringLiteral("description")).toString());
            values->pictures.append(*picture);
        }
        return;
    }
    values->setText(attribute, column);
}

QList<FileChangeRecord> ChangeHistory::filesOf(qint64 operation, QString* problem)
{
    QList<FileChangeRecord> records;
    if (!open(problem))
        return records;
    mDatabase.clearFailure();
    SqliteConnection::Statement files = mDatabase.prepare(
        "SELECT id, path, device, inode, size, mtime FROM files WHERE operation = ? ORDER BY id");
    files.bind(1, operation);
    while (files.next()) {
        FileChangeRecord record;
        record.path = files.text(1);
        if (!files.isNull(4)) {
            record.identityAfter.device = static_cast<quint64>(files.integer(2));
            record.identityAfter.inode = static_cast<quint64>(files.integer(3));
            record.identityAfter.size = files.integer(4);
            record.identityAfter.mtimeNs = files.integer(5);
        }
        SqliteConnection::Statement changes = mDatabase.prepare(
            "SELECT attribute, old, new, origin, origin_detail FROM changes WHERE file = ? ORDER BY rowid");
        changes.bind(1, files.integer(0));
        while (changes.next()) {
            const std::optional<TagAttribute> attribute = TagSnapshot::attributeNamed(changes.text(0));
            if (!attribute)
                continue;
            record.attributes.append(*attribute);
            readValue(*attribute, changes.text(1), &record.before);
            readValue(*attribute, changes.text(2), &record.after);
            record.origins.insert(*attribute,
                                  ChangeOrigin{ChangeOrigin::kindNamed(changes.text(3)).value_or(ChangeOrigin::Kind::User),
                                               changes.text(4)});
        }
        records.append(record);
    }
    if (mDatabase.lastFailure() != SqliteConnection::Failure::None)
        fail(problem);
    return records;
}

#include "UnrecordedChanges.h"

#include "ChangeHistory.h"
#include "support/LocalizedStrings.h"
#include "support/WMLog.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

// Holds an exclusive advisory lock on an open file for its lifetime.
class FileLock
{
public:
    explicit FileLock(int fd) : mFd(fd), mLocked(fd >= 0 && ::flock(fd, LOCK_EX) == 0) {}
    ~FileLock()
    {
        if (mLocked)
            ::flock(mFd, LOCK_UN);
    }
    bool isLocked() const { return mLocked; }

private:
    int mFd;
    bool mLocked;
};

QJsonValue valueOf(const TagSnapshot& values, TagAttribute attribute)
{
    if (attribute == TagAttribute::Lyrics)
        return values.lyrics.isEmpty() ? QJsonValue() : QJsonValue(values.lyrics);
    if (attribute == TagAttribute::Artwork) {
        QJsonArray pictures;
        for (const ID3Image& picture : values.pictures)
            pictures.append(QJsonObject{{QStringLiteral("data"), QString::fromLatin1(picture.imageData().toBase64())},
                                        {QStringLiteral("mime"), picture.mimeFormat()},
                                        {QStringLiteral("type"), picture.pictureType()},
                                        {QStringLiteral("description"), picture.pictureDescription()}});
        return pictures;
    }
    const QString text = values.text(attribute);
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

void setValue(TagSnapshot* values, TagAttribute attribute, const QJsonValue& value)
{
    if (attribute != TagAttribute::Artwork) {
        values->setText(attribute, value.toString());
        return;
    }
    for (const QJsonValue& item : value.toArray()) {
        const QJsonObject object = item.toObject();
        std::optional<ID3Image> picture =
            ID3Image::imageWithData(QByteArray::fromBase64(object.value(QStringLiteral("data")).toString().toLatin1()),
                                    object.value(QStringLiteral("mime")).toString());
        if (!picture)
            continue;
        picture->setPictureType(object.value(QStringLiteral("type")).toInt());
        picture->setPictureDescription(object.value(QStringLiteral("description")).toString());
        values->pictures.append(*picture);
    }
}

} // namespace

UnrecordedChanges::UnrecordedChanges(const QString& databasePath)
    : mPath(QFileInfo(databasePath).absolutePath() + QStringLiteral("/History-unrecorded.jsonl"))
{}

QByteArray UnrecordedChanges::encode(const Entry& entry)
{
    QJsonArray changes;
    for (TagAttribute attribute : entry.record.attributes) {
        const ChangeOrigin origin = entry.record.originOf(attribute);
        changes.append(QJsonObject{{QStringLiteral("attribute"), TagSnapshot::nameOf(attribute)},
                                   {QStringLiteral("old"), valueOf(entry.record.before, attribute)},
                                   {QStringLiteral("new"), valueOf(entry.record.after, attribute)},
                                   {QStringLiteral("origin"), ChangeOrigin::nameOf(origin.kind)},
                                   {QStringLiteral("detail"), origin.detail}});
    }
    const FileIdentity& identity = entry.record.identityAfter;
    const QJsonObject object{
        {QStringLiteral("operation"), entry.operationKey},
        {QStringLiteral("time"), entry.time.toUTC().toString(Qt::ISODateWithMs)},
        {QStringLiteral("kind"), HistoryOperation::nameOf(entry.kind)},
        {QStringLiteral("source"), entry.source},
        {QStringLiteral("undoes"), entry.undoes},
        {QStringLiteral("problem"), entry.problem},
        {QStringLiteral("path"), entry.record.path},
        {QStringLiteral("identity"),
         QJsonArray{QString::number(identity.device), QString::number(identity.inode), QString::number(identity.size),
                    QString::number(identity.mtimeNs)}},
        {QStringLiteral("changes"), changes}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<UnrecordedChanges::Entry> UnrecordedChanges::decode(const QByteArray& line)
{
    const QJsonObject object = QJsonDocument::fromJson(line).object();
    const std::optional<OperationKind> kind = HistoryOperation::kindNamed(object.value(QStringLiteral("kind")).toString());
    if (!kind || !object.value(QStringLiteral("path")).isString())
        return std::nullopt;
    Entry entry;
    entry.operationKey = object.value(QStringLiteral("operation")).toString();
    entry.time = QDateTime::fromString(object.value(QStringLiteral("time")).toString(), Qt::ISODateWithMs);
    entry.kind = *kind;
    entry.source = object.value(QStringLiteral("source")).toString();
    entry.undoes = object.value(QStringLiteral("undoes")).toInteger();
    entry.problem = object.value(QStringLiteral("problem")).toString();
    entry.record.path = object.value(QStringLiteral("path")).toString();
    const QJsonArray identity = object.value(QStringLiteral("identity")).toArray();
    if (identity.size() == 4) {
        entry.record.identityAfter.device = identity.at(0).toString().toULongLong();
        entry.record.identityAfter.inode = identity.at(1).toString().toULongLong();
        entry.record.identityAfter.size = identity.at(2).toString().toLongLong();
        entry.record.identityAfter.mtimeNs = identity.at(3).toString().toLongLong();
    }
    for (const QJsonValue& item : object.value(QStringLiteral("changes")).toArray()) {
        const QJsonObject change = item.toObject();
        const std::optional<TagAttribute> attribute =
            TagSnapshot::attributeNamed(change.value(QStringLiteral("attribute")).toString());
        if (!attribute)
            continue;
        entry.record.attributes.append(*attribute);
        setValue(&entry.record.before, *attribute, change.value(QStringLiteral("old")));
        setValue(&entry.record.after, *attribute, change.value(QStringLiteral("new")));
        entry.record.origins.insert(
            *attribute, ChangeOrigin{ChangeOrigin::kindNamed(change.value(QStringLiteral("origin")).toString())
                                         .value_or(ChangeOrigin::Kind::User),
                                     change.value(QStringLiteral("detail")).toString()});
    }
    return entry;
}

bool UnrecordedChanges::append(const Entry& entry) const
{
    QFile file(mPath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append))
        return false;
    const FileLock lock(file.handle());
    const QByteArray line = encode(entry);
    return lock.isLocked() && file.write(line) == line.size() && file.flush();
}

int UnrecordedChanges::takeInto(ChangeHistory& history) const
{
    if (!QFileInfo::exists(mPath))
        return 0;
    QFile file(mPath);
    if (!file.open(QIODevice::ReadWrite))
        return 0;
    const FileLock lock(file.handle());
    if (!lock.isLocked())
        return 0;
    QByteArray kept;
    QString currentKey;
    qint64 currentOperation = 0;
    int taken = 0;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine();
        const std::optional<Entry> entry = decode(line);
        if (!entry) {
            WMLog("History: an unreadable line of %@ was dropped", mPath);
            continue;
        }
        if (currentOperation == 0 || entry->operationKey != currentKey) {
            if (currentOperation != 0)
                history.finishOperation(currentOperation);
            const QString note = LocalizedStrings::format(QStringLiteral("HistoryRecordedLate"), entry->problem);
            const std::optional<qint64> id =
                history.beginOperation(entry->kind, entry->source, entry->undoes, note, entry->time);
            currentKey = entry->operationKey;
            currentOperation = id.value_or(0);
        }
        if (currentOperation != 0 && history.recordFile(currentOperation, entry->record))
            ++taken;
        else
            kept += line.endsWith('\n') ? line : line + '\n';
    }
    if (currentOperation != 0)
        history.finishOperation(currentOperation);
    file.resize(0);
    if (!kept.isEmpty())
        file.write(kept);
    // The file stays, empty: another process may be waiting for its lock,
    // and its line must not go into a file that no longer has a name.
    file.flush();
    return taken;
}

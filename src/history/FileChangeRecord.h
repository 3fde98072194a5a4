#pragma once

#include "ChangeOrigin.h"
#include "TagSnapshot.h"
#include "tags/FileIdentity.h"

#include <QHash>
#include <QList>
#include <QString>

// One file's part of an operation: its path and identity after the write,
// the attributes that changed, their values before and after and where each
// new value came from. Recorded after a write; read back to show or undo it
// (`before` and `after` then hold only the changed attributes' values).
struct FileChangeRecord
{
    QString path;
    FileIdentity identityAfter;
    QList<TagAttribute> attributes;
    TagSnapshot before;
    TagSnapshot after;
    QHash<TagAttribute, ChangeOrigin> origins;

    // The origin of one attribute's new value (the user when none was named).
    ChangeOrigin originOf(TagAttribute attribute) const { return origins.value(attribute); }

    // A record of what changed between two snapshots, every change from
    // `origin` unless `origins` names another.
    static FileChangeRecord between(const QString& path, const TagSnapshot& before, const TagSnapshot& after,
                                    const ChangeOrigin& origin,
                                    const QHash<TagAttribute, ChangeOrigin>& origins = {});
};

inline FileChangeRecord FileChangeRecord::between(const QString& path, const TagSnapshot& before,
                                                  const TagSnapshot& after, const ChangeOrigin& origin,
                                                  const QHash<TagAttribute, ChangeOrigin>& origins)
{
    FileChangeRecord record;
    record.path = path;
    record.identityAfter = FileIdentity::of(path);
    record.attributes = after.differencesFrom(before);
    record.before = before;
    record.after = after;
    for (TagAttribute attribute : std::as_const(record.attributes))
        record.origins.insert(attribute, origins.value(attribute, origin));
    return record;
}

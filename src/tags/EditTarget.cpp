#include "EditTarget.h"

#include "support/LocalizedStrings.h"

#include <fcntl.h>

std::optional<EditTarget> EditTarget::open(const QString& path, const QList<FileEdit>& edits,
                                           const FileIdentity& expected, QString* errorText)
{
    QString reason;
    const auto refused = [&](const QString& text) {
        if (errorText)
            *errorText = text;
        return std::nullopt;
    };
    // Held by the target, also when the caller holds it already (it then
    // covers the caller's read as well).
    FileWriteLock lock = FileWriteLock::acquire(path, &reason);
    if (!lock.isLocked())
        return refused(reason);
    PosixFile file = PosixFile::open(path, O_RDWR);
    if (!file.isOpen())
        return refused(
            LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path, PosixFile::lastError()));
    const FileIdentity before = FileIdentity::ofDescriptor(file.fd());
    if (!before.isValid())
        return refused(LocalizedStrings::format(QStringLiteral("RewriteErrorOpen"), path,
                                                QStringLiteral("not a regular file")));
    if (expected.isValid() && before != expected)
        return refused(LocalizedStrings::format(QStringLiteral("RewriteErrorChanged"), path));
    qint64 previousEnd = 0;
    for (const FileEdit& edit : edits) {
        if (edit.offset < previousEnd || edit.length < 0 || edit.offset > before.size - edit.length)
            return refused(LocalizedStrings::format(QStringLiteral("RewriteErrorBadEdit"), path));
        previousEnd = edit.offset + edit.length;
    }
    return EditTarget{std::move(lock), std::move(file), before};
}

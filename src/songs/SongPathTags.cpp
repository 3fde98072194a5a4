#include "songs/SongPathTags.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

namespace {

// Underscores stand for spaces in names that have none; runs of blanks
// become one.
QString cleaned(QString name)
{
    if (!name.contains(QLatin1Char(' ')))
        name.replace(QLatin1Char('_'), QLatin1Char(' '));
    return name.simplified();
}

bool isDiscFolder(const QString& name)
{
    static const QRegularExpression disc(QStringLiteral("^(cd|disc|disk)\\s*\\d{1,2}$"),
                                         QRegularExpression::CaseInsensitiveOption);
    return disc.match(name.trimmed()).hasMatch();
}

} // namespace

SongPathTags SongPathTags::fromPath(const QString& path, const QString& root)
{
    SongPathTags tags;
    QStringList parts;
    bool rootKnown = false;
    if (!root.isEmpty()) {
        const QString relative = QDir(root).relativeFilePath(path);
        if (!relative.startsWith(QLatin1String("..")) && !QDir::isAbsolutePath(relative)) {
            parts = relative.split(QLatin1Char('/'), Qt::SkipEmptyParts);
            rootKnown = true;
        }
    }
    if (!rootKnown)
        parts = QDir::cleanPath(path).split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.isEmpty())
        return tags;

    // "07 Title", "07 - Title", "07. Title", "07_Title".
    const QString base = QFileInfo(parts.takeLast()).completeBaseName();
    static const QRegularExpression numbered(QStringLiteral("^(\\d{1,3})(?:\\s*[-._)]\\s*|\\s+)(.+)$"));
    const QRegularExpressionMatch match = numbered.match(base);
    if (match.hasMatch()) {
        tags.track = match.captured(1).toInt();
        tags.title = cleaned(match.captured(2));
    } else {
        tags.title = cleaned(base);
    }
    if (!rootKnown) {
        // Any folders above: only a numbered file says they are an album's.
        if (tags.track == 0)
            return tags;
        parts = parts.mid(std::max<qsizetype>(0, parts.size() - 2));
    }
    if (!parts.isEmpty() && isDiscFolder(parts.last()))
        parts.removeLast();
    if (parts.isEmpty())
        return tags;
    const QString folder = parts.takeLast();
    const qsizetype dash = folder.indexOf(QLatin1String(" - "));
    if (dash > 0) {
        tags.artist = cleaned(folder.left(dash));
        tags.album = cleaned(folder.mid(dash + 3));
    } else {
        tags.album = cleaned(folder);
        if (!parts.isEmpty())
            tags.artist = cleaned(parts.last());
    }
    return tags;
}

bool SongPathTags::isFileNameTitle(const QString& title, const QString& path)
{
    // The rule by which a tag takes its file's name for a missing title.
    QString name = QFileInfo(path).fileName().trimmed();
    if (name.size() >= 5 && name.at(name.size() - 4) == QLatin1Char('.'))
        name.chop(4);
    return !title.isEmpty() && title == name;
}
